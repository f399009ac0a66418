// What the tests of the edit engine start from: no fault, and what becomes of it.
#ifndef TESTS_NETCONF_DM_KERNEL_EDIT_EDIT_FIXTURE_H_
#define TESTS_NETCONF_DM_KERNEL_EDIT_EDIT_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_kernel.h"
#include "support/model_fixture.h"

namespace ncdm_test {

// An answer that takes some 200 microseconds.
inline Answer Busy(nc_int64 result) {
  return [result](const ModelCall&) {
    const auto begin = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - begin < std::chrono::microseconds(250)) {
    }
    return result;
  };
}

inline nc_dm_path_nodes_t ParsedPath(const char* text) {
  nc_dm_path_nodes_t path = {};
  std::string copy = text;
  EXPECT_EQ(nc_dm_parse(copy.data(), &path, false), 0) << text;
  return path;
}

class EditTest : public ModelTest {
 protected:
  ~EditTest() override { EXPECT_THAT(DataBlocks(), testing::IsEmpty()); }

  static bool LoggedError(std::string_view text) { return LogCapture::Get().ContainsError(text); }
  static bool LoggedInfo(std::string_view text) { return LogCapture::Get().ContainsInfo(text); }

  // The errors in order, but for one that is none: what the removal of an instance says of a list
  // that has no hash table.
  static std::vector<std::string> Errors() {
    std::vector<std::string> lines = ErrorLines();
    std::erase(lines, "The hash_tab input is null!\n");
    return lines;
  }

  // "code path", with an asterisk when it is new.
  std::string Fault() const {
    return std::to_string(fault.fault_code) + " " + fault.path + (fault.new_fault ? "*" : "");
  }

  nc_dm_fault_t fault{};
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_EDIT_EDIT_FIXTURE_H_
