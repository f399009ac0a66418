// The file that a model's data is read from at the start and written to at a commit: JSON, as
// RFC 7951 writes YANG's data.
#ifndef YANG_RUNTIME_DATA_FILE_H_
#define YANG_RUNTIME_DATA_FILE_H_

#include <string>

#include "ncdm_model.h"

namespace ncdm::model {

// Reads the file into the application: configuration through its operations, state into the
// store. A file that does not exist is empty. False, with `error`, at the first thing that is not
// as the module says.
bool ReadDataFile(const ncdm_model_t& model, const std::string& file, std::string& error);

// Writes what the application holds, so that a crash leaves the old content or the new.
bool WriteDataFile(const ncdm_model_t& model, const std::string& file, std::string& error);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_DATA_FILE_H_
