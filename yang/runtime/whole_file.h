// Files that a crash leaves as they were or as they are to be.
#ifndef YANG_RUNTIME_WHOLE_FILE_H_
#define YANG_RUNTIME_WHOLE_FILE_H_

#include <string>
#include <string_view>

namespace ncdm::model {

// Replaces the file's content; a draft, FILE.new, stands beside it meanwhile. When this returns
// true data and name are on the disk. False, with what is wrong in `error`, and the file is as it
// was.
bool WriteWholeFile(const std::string& file, std::string_view text, std::string& error);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_WHOLE_FILE_H_
