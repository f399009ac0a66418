// What the tests of the edit engine start from: the recording application on an empty tree, the log
// open for errors and information, and no fault.
#ifndef TESTS_NETCONF_DM_KERNEL_EDIT_EDIT_FIXTURE_H_
#define TESTS_NETCONF_DM_KERNEL_EDIT_EDIT_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_kernel.h"
#include "support/debug_mask.h"
#include "support/fake_platform.h"
#include "support/model_app.h"

namespace ncdm_test {

class EditTest : public testing::Test {
 protected:
  ~EditTest() override { EXPECT_THAT(DataBlocks(), testing::IsEmpty()); }

  static bool LoggedError(std::string_view text) { return LogCapture::Get().ContainsError(text); }
  static bool LoggedInfo(std::string_view text) { return LogCapture::Get().ContainsInfo(text); }

  // The errors in order, but for one that is none: what the removal of an instance says of a list
  // that has no hash table.
  static std::vector<std::string> Errors() {
    const std::string start = std::string(kErrorPrefix) + " ";
    std::vector<std::string> lines;
    for (const std::string& text : LogCapture::Get().Texts()) {
      if (!text.starts_with(start)) continue;
      const std::string line = text.substr(start.size());
      if (line != "The hash_tab input is null!\n") lines.push_back(line);
    }
    return lines;
  }

  // "code path", with an asterisk when it is new.
  std::string Fault() const {
    return std::to_string(fault.fault_code) + " " + fault.path + (fault.new_fault ? "*" : "");
  }

  DebugMask mask{NC_DM_DBG_ERROR | NC_DM_DBG_INFO};
  ModelApp app;
  nc_dm_fault_t fault{};
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_EDIT_EDIT_FIXTURE_H_
