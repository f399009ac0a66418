// What the tests of the registration calls start from: a started library with an empty tree and
// nothing pending.
#ifndef TESTS_NETCONF_DM_AGENT_REGISTRATION_FIXTURE_H_
#define TESTS_NETCONF_DM_AGENT_REGISTRATION_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/model_fixture.h"
#include "support/pending_records.h"

namespace ncdm_test {

class RegistrationTest : public ModelTest {
 protected:
  RegistrationTest() {
    EXPECT_THAT(PendingTexts(), testing::IsEmpty());
    info().agent_init = true;
    info().agent_pid = static_cast<pid_t>(syscall(SYS_gettid));
    g_nc_dm_agent_manage = {};
    g_nc_dm_agent_manage.master = FakePlatform::Master();
  }
  ~RegistrationTest() override {
    FreePendingRecords();
    FreeYangAttributes();
    info().agent_init = false;
    info().agent_tree_init = true;
    info().agent_pid = 0;
    info().data_commit = nullptr;
    info().unreg_rsp_handler = nullptr;
    info().local_dm_reg_over = false;
    g_nc_dm_agent_manage = {};
  }

  static int ModeReg(std::string path, int flag = 0, int index = 0,
                     nc_dm_val_type_t type = NC_DM_VAL_TYPE_STRING) {
    return nc_dm_agent_mode_reg(path.data(), type, flag, index, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr);
  }
  static int PathReg(std::string path, int flag = 0) {
    return nc_dm_agent_path_reg(path.data(), NC_DM_VAL_TYPE_STRING, flag, 0, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr);
  }
  static int MulReg(std::string path, int flag = 0) {
    return nc_dm_agent_mul_reg(path.data(), NC_DM_VAL_TYPE_STRING, flag, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr);
  }
  static int Reg(std::string path) { return nc_dm_agent_reg(path.data()); }
  static int CliReg(std::string path, nc_dm_node_src_t src) {
    return nc_dm_agent_cli_reg(path.data(), src);
  }
  static int Unreg(std::string path) { return nc_dm_agent_unreg(path.data()); }
  static int HashReg(std::string path, unsigned int limit_num) {
    return nc_dm_agent_reg_hash_tab(path.data(), limit_num);
  }

  // Queues an instance path, and applies it to the tree. The result of the latter.
  static int Apply(const std::string& path, nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE) {
    EXPECT_EQ(CliReg(path, src), 0);
    return ApplyFirstPending();
  }
  static int ApplyRemoval(const std::string& path) {
    EXPECT_EQ(Unreg(path), 0);
    return ApplyFirstPending();
  }
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_AGENT_REGISTRATION_FIXTURE_H_
