#include "agent_fixture.h"
#include "support/model_app.h"

namespace ncdm_test {
namespace {

class DebugTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    app_.emplace();
  }

  // Has a leaf answer with a text.
  void Gives(const std::string& leaf, const std::string& text) {
    app_->On(Callback::kGet, leaf, [text](const ModelCall& call) {
      WriteText(call.buffer, text);
      return 0;
    });
  }
  static void Register(ModelApp* app, const char* path, int flag = 0) {
    app->Register({.path = path, .flag = flag, .callbacks = static_cast<unsigned>(Callback::kGet)});
  }

  int Debug(int bits, int op) { return Handle(NC_DM_MSG_TYPE_DBG, Body().Int32(bits).Int32(op)); }

  std::optional<ModelApp> app_;
};

// ---- DBG ----

TEST_F(DebugTest, ADebugMessageSwitchesBits) {
  const DebugMask silent(0);
  EXPECT_EQ(Debug(NC_DM_DBG_TIMING | NC_DM_DBG_ERROR, 1), 0);
  EXPECT_EQ(g_nc_dm_agent_dbg, 17);
  EXPECT_EQ(Debug(NC_DM_DBG_PACKET, -5), 0);
  EXPECT_EQ(g_nc_dm_agent_dbg, 25);
  EXPECT_EQ(Debug(NC_DM_DBG_TIMING, 0), 0);
  EXPECT_EQ(g_nc_dm_agent_dbg, 9);
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(DebugTest, AShortDebugMessageIsAFaultWithoutACode) {
  const DebugMask silent(0);
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_DBG, Body().Int32(1), 4), 0);
  EXPECT_EQ(log().Joined(), "Failed to decode debug message.\n");
  EXPECT_EQ(g_nc_dm_agent_dbg, 0);
  ExpectFault(NC_DM_FAULT_CODE_OK, 4);
}

TEST_F(DebugTest, TheTimingLinesFollowTheirBit) {
  const DebugMask silent(0);
  info().exe_time = 1;
  ASSERT_EQ(Debug(NC_DM_DBG_TIMING, 1), 0);
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_EDIT, Body().Int32(NC_DM_PKT_TYPE_COMMIT)), 0);
  EXPECT_TRUE(log().Contains("[exe_cmd time]:1.000000 sec.\n"));
  ASSERT_EQ(Debug(NC_DM_DBG_TIMING, 0), 0);
  log().Clear();
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_EDIT, Body().Int32(NC_DM_PKT_TYPE_COMMIT)), 0);
  EXPECT_TRUE(log().Records().empty());
}

// ---- SHOW ----

TEST_F(DebugTest, AnEmptyTreeIsShownAsSuch) {
  const DebugMask silent(0);
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_SHOW, ""), 0);
  EXPECT_EQ(log().Joined(), "Handle show message successfully, total nodes: 0.\n");
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(DebugTest, EveryValueOfTheTreeIsShown) {
  const DebugMask silent(0);
  Register(&*app_, "sys.host");
  Register(&*app_, "sys.zone");
  Register(&*app_, "net.vrf.{i}.name", NC_DM_FLAG_KEY);
  Register(&*app_, "net.mtu");
  Gives("host", "box");
  Gives("zone", "utc");
  Gives("name", "red");
  Gives("mtu", "1500");
  ASSERT_NE(AddInstance("net.vrf.4"), nullptr);
  NodeAt("sys.host")->src = NC_DM_NODE_SRC_SDN;
  NodeAt("sys.zone")->src = NC_DM_NODE_SRC_CLI;
  NodeAt("net.vrf.4.name")->src = NC_DM_NODE_SRC_CLI_ALW;

  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_SHOW, ""), 0);
  EXPECT_EQ(log().Joined(),
            "Data tree path[1] name: sys.host\n"
            "Data tree path[1] value: box\n"
            "Data tree path[1] src: SDN\n"
            "Data tree path[2] name: sys.zone\n"
            "Data tree path[2] value: utc\n"
            "Data tree path[2] src: CLI\n"
            "Data tree path[3] name: net.mtu\n"
            "Data tree path[3] value: 1500\n"
            "Data tree path[3] src: NONE\n"
            "Data tree path[4] name: net.vrf.4.name\n"
            "Data tree path[4] value: red\n"
            "Data tree path[4] src: CLI_ALW\n"
            "Handle show message successfully, total nodes: " +
                std::to_string(g_nc_agent_dm.total_node) + ".\n");
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(DebugTest, AValueThatCannotBeReadIsLeftOut) {
  const DebugMask silent(0);
  Register(&*app_, "sys.host");
  Register(&*app_, "sys.zone");
  app_->On(Callback::kGet, "host", -1);
  Gives("zone", "utc");
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_SHOW, ""), 0);
  EXPECT_TRUE(log().Contains("Data tree path[1] name: sys.zone\n"));
  EXPECT_FALSE(log().Contains("Data tree path[2] name: sys.host\n"));
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(DebugTest, ATopLevelLeafThatCannotBeReadFailsTheDump) {
  const DebugMask silent(0);
  Register(&*app_, "sys.host");
  Register(&*app_, "lone");
  Gives("host", "box");
  app_->On(Callback::kGet, "lone", -1);
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_SHOW, "", 9), 0);
  EXPECT_EQ(log().Joined(), "Failed to filter subtree.\n");
  ExpectFault(NC_DM_FAULT_CODE_OK, 9);
}

}  // namespace
}  // namespace ncdm_test
