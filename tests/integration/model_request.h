// A request of the random stream, and what its answer should be.
#ifndef TESTS_INTEGRATION_MODEL_REQUEST_H_
#define TESTS_INTEGRATION_MODEL_REQUEST_H_

#include <cstdint>
#include <string>
#include <vector>

#include "device_schema.h"
#include "server/answer.h"
#include "server/request.h"

namespace ncdm_test {

struct ModelRequest {
  enum class Kind { kEntry, kSubtree, kRead, kReadOne, kFind };
  Kind kind = Kind::kRead;
  bool as_command = false;
  nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING;
  std::vector<ncdm::server::EditElement> edits{};
  std::vector<ncdm::server::ReadElement> reads{};

  ncdm::server::Request Build() const;
  std::string Text() const;
};

struct Expectation {
  bool ok = true;
  std::int32_t fault_code = 0;
  std::string fault_path{};
  std::int64_t instance = 0;
  std::vector<ncdm::server::Value> values{};
  std::vector<Ids> ids{};

  // What differs; empty when the answer is as expected.
  std::string Compare(const ncdm::server::Answer& answer) const;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_MODEL_REQUEST_H_
