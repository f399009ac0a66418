// Edits over the socket: each operation through real messages, with what the application was asked,
// what the server was answered and what a read shows afterwards.

#include "device_app.h"
#include "gmock/gmock.h"
#include "harness.h"
#include "support/debug_mask.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers
using testing::ElementsAre;
using testing::IsEmpty;

std::string IdText(std::string_view where, std::string_view key) {
  return std::to_string(DeviceId(where, key));
}

class SocketEditTest : public testing::Test {
 protected:
  SocketEditTest() {
    app_.PutEntry("net.user", {1}, "root");
    app_.PutValue("net.user.uid", {1}, "0");
    app_.PutElement("net.user.group", {1, 5}, "wheel");
    app_.PutEntry("net.user.key", {1, 2}, "100");
    app_.PutEntry("net.port", {4}, "eth0");
    app_.PutValue("net.port.mtu", {4}, "1500");
    app_.PutEntry("net.port.acl", {4, 6}, "in/10");
    app_.PutEntry("net.route", {7}, "default");
  }

  void SetUp() override {
    device_.StartServer();
    ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
    ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
    device_.Forget();
  }

  std::string Edit(const Request& request) {
    app_.ForgetCalls();
    return Summary(device_.Call(request));
  }
  std::string Entry(const std::string& key, const std::string& value, Operation operation,
                    const Ids& ids = {}) {
    return Edit(EditEntry({KeyElement(key, value, ids, operation)}));
  }
  std::string Subtree(const std::vector<EditElement>& elements) {
    return Edit(EditSubtree(elements));
  }
  std::vector<std::string> Read(const std::string& name, const Ids& ids = {}) {
    return Texts(device_.Call(ReadValues({{.name = name, .ids = ids}})).values);
  }

  DeviceApp app_;
  Device device_;
};

// ---- Entries by create and delete ----

TEST_F(SocketEditTest, EntryIsCreatedAndDeleted) {
  const std::int64_t id = DeviceId("net.user", "guest");
  EXPECT_EQ(Entry("net.user.name", "guest", Operation::kCreate), "ok " + std::to_string(id));
  EXPECT_THAT(app_.calls(), ElementsAre("create net.user.name ids=[] src=0 value=guest"));
  EXPECT_THAT(Read("net.user", {id}),
              ElementsAre("net.user." + std::to_string(id) + ".name=guest"));
  EXPECT_EQ(Entry("net.user.name", "guest", Operation::kDelete), "ok " + std::to_string(id));
  EXPECT_THAT(app_.calls(), ElementsAre("delete net.user.name ids=[] value=guest"));
  EXPECT_THAT(Read("net.user", {id}), IsEmpty());
}

TEST_F(SocketEditTest, EntryOperations) {
  EXPECT_EQ(Entry("net.user.name", "root", Operation::kMerge), "ok 1");
  EXPECT_EQ(Entry("net.user.name", "root", Operation::kReplace), "ok 1");
  EXPECT_EQ(Entry("net.user.name", "root", Operation::kCreate), "fault DATA_EXISTS");
  EXPECT_EQ(Entry("net.user.name", "nobody", Operation::kDelete), "fault DATA_MISSING");
  EXPECT_EQ(Entry("net.user.name", "nobody", Operation::kRemove), "ok 0");
  EXPECT_EQ(Entry("net.user.name", "refused", Operation::kMerge), "fault OP_FAILED: user");
  EXPECT_EQ(Entry("net.user.name", "zero", Operation::kMerge), "fault OP_FAILED: user");
  EXPECT_EQ(Entry("net.user.{i}.name", "root", Operation::kMerge), "ok 1");
  EXPECT_EQ(Entry("net.bogus.name", "x", Operation::kMerge), "fault OP_FAILED");
  EXPECT_EQ(Entry("sys", "x", Operation::kMerge), "fault OP_FAILED: sys");
}

TEST_F(SocketEditTest, DefaultOperationsOfAnEntry) {
  const auto edit = [&](const char* name, DefaultOperation operation) {
    EditElement key = KeyElement("net.user.name", name, {}, Operation::kNone);
    key.default_operation = operation;
    return Edit(EditEntry({key}));
  };
  EXPECT_EQ(edit("a", DefaultOperation::kUnset), "ok " + IdText("net.user", "a"));
  EXPECT_EQ(edit("b", DefaultOperation::kMerge), "ok " + IdText("net.user", "b"));
  EXPECT_EQ(edit("c", DefaultOperation::kReplace), "ok " + IdText("net.user", "c"));
  // With "none" the entry is only looked for.
  EXPECT_EQ(edit("root", DefaultOperation::kNone), "ok 1");
  EXPECT_THAT(app_.calls(), IsEmpty());
  EXPECT_EQ(edit("d", DefaultOperation::kNone), "fault OP_FAILED: user");
  EXPECT_THAT(app_.calls(), IsEmpty());
}

TEST_F(SocketEditTest, EntryInAnEntry) {
  const std::string id = IdText("net.user.key", "300");
  EXPECT_EQ(Entry("net.user.key.number", "300", Operation::kCreate, {1}), "ok " + id);
  EXPECT_THAT(app_.calls(), ElementsAre("create net.user.key.number ids=[1] src=0 value=300"));
  EXPECT_THAT(Read("net.user.key.number", {1}),
              ElementsAre("net.user.1.key.2.number=100", "net.user.1.key." + id + ".number=300"));
  EXPECT_EQ(Entry("net.user.key.number", "70000", Operation::kMerge, {1}),
            "fault DATA_INVALID_VALUE: number");
  EXPECT_EQ(Entry("net.user.key.number", "x", Operation::kDelete, {1}),
            "fault DATA_INVALID_VALUE: number");
  // One refused number does not poison the next.
  EXPECT_EQ(Entry("net.user.key.number", "100", Operation::kMerge, {1}), "ok 2");
  EXPECT_EQ(Entry("net.user.key.use.tag", "t", Operation::kMerge, {1, 2}),
            "ok " + IdText("net.user.key.use", "t"));
  EXPECT_EQ(Entry("net.user.key.number", "100", Operation::kDelete, {1}), "ok 2");
  EXPECT_THAT(Read("net.user.key.use", {1, 2}), IsEmpty());
  // The list itself stays ambiguous without the id of the entry around it.
  EXPECT_EQ(Entry("net.user.key.number", "100", Operation::kMerge), "fault OP_FAILED: net");
}

TEST_F(SocketEditTest, EntryOfAHashIndexedList) {
  for (int i = 0; i < 50; ++i) {
    const std::string name = "r" + std::to_string(i);
    ASSERT_EQ(Entry("net.route.dest", name, Operation::kCreate), "ok " + IdText("net.route", name));
  }
  EXPECT_EQ(Read("net.route.dest").size(), 51U);
  for (int i = 0; i < 50; i += 2) {
    const std::string name = "r" + std::to_string(i);
    ASSERT_EQ(Entry("net.route.dest", name, Operation::kDelete), "ok " + IdText("net.route", name));
  }
  EXPECT_EQ(Read("net.route.dest").size(), 26U);
  EXPECT_EQ(Read("net.route.dest", {DeviceId("net.route", "r1")}).size(), 1U);
  EXPECT_THAT(Read("net.route.dest", {DeviceId("net.route", "r2")}), IsEmpty());
}

TEST_F(SocketEditTest, EntryThatExistsByItsOwnIdIsAnswered) {
  EXPECT_EQ(Entry("net.user.name", "root", Operation::kMerge, {1}), "ok 1");
  EXPECT_THAT(app_.calls(), IsEmpty());
}

TEST_F(SocketEditTest, EntryEditWithoutKeysOrElementsFails) {
  EXPECT_EQ(Edit(EditEntry({})), "refused, without a reason");
  EXPECT_EQ(Edit(EditEntry({{.name = "net.user.name", .value = "x"}})),
            "refused, without a reason");
  EXPECT_EQ(Entry("net.user.name", "root", Operation::kMerge), "ok 1") << "and leaves nothing";
}

// ---- Entries by command ----

TEST_F(SocketEditTest, EntryByCommand) {
  const auto port = [&](const char* name, Operation operation, bool as_command,
                        std::vector<EditElement> more = {}) {
    std::vector<EditElement> elements{KeyElement("net.port.name", name, {}, operation)};
    for (EditElement& element : more) {
      element.operation = operation;
      elements.push_back(std::move(element));
    }
    return Edit(EditEntry(elements, as_command));
  };
  const std::string id = IdText("net.port", "eth1");
  for (const bool as_command : {false, true}) {
    EXPECT_EQ(port("eth1", Operation::kCreate, as_command,
                   {{.name = "net.port.mtu", .value = "9000"},
                    {.name = "net.port.speed", .value = "10000000000"},
                    {.name = "net.port.text", .value = "uplink"}}),
              "ok " + id);
    EXPECT_THAT(app_.calls(),
                ElementsAre("exe_cmd net.port ids=[] src=0 op=5 1=eth1 2=9000 3=uplink "
                            "4=10000000000"));
    EXPECT_EQ(port("eth1", Operation::kCreate, as_command), "fault DATA_EXISTS: port");
    EXPECT_EQ(
        port("eth1", Operation::kMerge, as_command, {{.name = "net.port.mtu", .value = "1400"}}),
        "ok " + id);
    EXPECT_THAT(app_.calls(), ElementsAre("exe_cmd net.port ids=[] src=0 op=1 1=eth1 2=1400"));
    EXPECT_THAT(
        Read("net.port", {DeviceId("net.port", "eth1")}),
        ElementsAre("net.port." + id + ".name=eth1", "net.port." + id + ".mtu=1400",
                    "net.port." + id + ".text=uplink", "net.port." + id + ".speed=10000000000"));
    EXPECT_EQ(port("eth1", Operation::kDelete, as_command), "ok " + id);
    EXPECT_THAT(app_.calls(), ElementsAre("exe_cmd net.port ids=[] src=0 op=2 1=eth1"));
    EXPECT_THAT(Read("net.port", {DeviceId("net.port", "eth1")}), IsEmpty());
    EXPECT_EQ(port("eth1", Operation::kDelete, as_command), "fault DATA_MISSING: port");
    EXPECT_EQ(port("eth1", Operation::kRemove, as_command), "ok 0");
  }
  EXPECT_EQ(port("refused", Operation::kMerge, false), "fault OP_FAILED: port");
  EXPECT_EQ(port("zero", Operation::kMerge, false), "fault OP_FAILED: port");
}

TEST_F(SocketEditTest, EntryByCommandIsLookedUpByTheApplication) {
  const auto lookup = [&](const char* name) {
    EditElement key = KeyElement("net.port.name", name, {}, Operation::kNone);
    key.default_operation = DefaultOperation::kNone;
    return Edit(EditEntry({key}));
  };
  EXPECT_EQ(lookup("eth0"), "ok 4");
  EXPECT_THAT(app_.calls(), ElementsAre("get_attr net.port ids=[] op=4 keys=eth0"));
  EXPECT_EQ(lookup("eth9"), "ok 0") << "the application's id 0 is no failure";
}

TEST_F(SocketEditTest, EntryWithTwoKeysInAnEntry) {
  const auto acl = [&](const char* name, const char* order, Operation operation) {
    EditElement second = KeyElement("net.port.acl.order", order, {4}, operation);
    second.key = NC_DM_FLAG_KEY_SETTABLE;
    return Edit(EditEntry({KeyElement("net.port.acl.name", name, {4}, operation), second}));
  };
  EXPECT_EQ(acl("in", "10", Operation::kMerge), "ok 6");
  EXPECT_THAT(app_.calls(), ElementsAre("exe_cmd net.port.acl ids=[4] src=0 op=1 1=in 2=10"));
  EXPECT_EQ(acl("in", "20", Operation::kCreate), "ok " + IdText("net.port.acl", "in/20"));
  EXPECT_EQ(acl("in", "x", Operation::kMerge), "fault DATA_INVALID_VALUE: order");
  EXPECT_EQ(acl("in", "10", Operation::kDelete), "ok 6");
  EXPECT_EQ(Read("net.port.acl.name", {4}).size(), 1U);
}

TEST_F(SocketEditTest, CommandOnAListWithoutOne) {
  EXPECT_EQ(Edit(EditEntry({KeyElement("net.user.name", "x")}, true)), "fault OP_FAILED: user");
  EXPECT_THAT(app_.calls(), IsEmpty());
}

TEST_F(SocketEditTest, ContinueOnErrorGoesOnWithinAnEntry) {
  std::vector<EditElement> elements{KeyElement("net.port.name", "eth0"),
                                    {.name = "net.port.bogus", .value = "1"},
                                    {.name = "net.port.mtu", .value = "many"},
                                    {.name = "net.port.text", .value = "seen"}};
  EXPECT_EQ(Edit(EditEntry(elements)), "fault UNKNOWN_ELEM: bogus");
  EXPECT_THAT(app_.calls(), IsEmpty());
  for (EditElement& element : elements) element.error_option = ErrorOption::kContinue;
  EXPECT_EQ(Edit(EditEntry(elements)), "fault DATA_INVALID_VALUE: mtu");
  EXPECT_THAT(app_.calls(), ElementsAre("exe_cmd net.port ids=[] src=0 op=1 1=eth0 3=seen"));
  EXPECT_EQ(app_.Contents().at("net.port.4.text"), "seen");
}

// ---- Subtrees ----

TEST_F(SocketEditTest, LeavesOutsideLists) {
  EXPECT_EQ(Subtree({{.name = "sys.name", .value = "router"},
                     {.name = "sys.limit", .value = "-5"},
                     {.name = "sys.enabled", .value = "1"},
                     {.name = "sys.secret", .value = "s"}}),
            "ok 0");
  EXPECT_THAT(app_.calls(), ElementsAre("set sys.name ids=[] src=0 value=router",
                                        "set sys.limit ids=[] src=0 value=-5",
                                        "set sys.enabled ids=[] src=0 value=true",
                                        "set sys.secret ids=[] src=0 value=s"));
  EXPECT_THAT(Read("sys"), ElementsAre("sys.name=router", "sys.enabled=true", "sys.limit=-5"));
  EXPECT_EQ(Subtree({{.name = "sys.name", .operation = Operation::kDelete}}), "ok 0");
  EXPECT_EQ(Subtree({{.name = "sys.name", .operation = Operation::kDelete}}),
            "fault DATA_MISSING: name");
  EXPECT_EQ(Subtree({{.name = "sys.name", .operation = Operation::kRemove}}), "ok 0");
  EXPECT_EQ(Subtree({{.name = "sys.enabled", .operation = Operation::kDelete}}),
            "fault OP_FAILED: enabled")
      << "no delete callback";
  EXPECT_EQ(Subtree({{.name = "sys.name", .value = "refused"}}), "fault OP_FAILED: name");
  EXPECT_EQ(Subtree({{.name = "sys.limit", .value = "2147483648"}}),
            "fault DATA_INVALID_VALUE: limit");
  EXPECT_EQ(Subtree({{.name = "sys.limit", .value = "2147483647"}}), "ok 0");
  EXPECT_EQ(Subtree({{.name = "sys.bogus", .value = "x"}}), "fault UNKNOWN_ELEM: bogus");
  EXPECT_EQ(Subtree({{.name = "bogus", .value = "x"}}), "fault UNKNOWN_ELEM: bogus");
  EXPECT_EQ(Subtree({}), "ok 0");
}

TEST_F(SocketEditTest, DefaultNoneSetsNothing) {
  EXPECT_EQ(Subtree({{.name = "sys.name",
                      .value = "x",
                      .operation = Operation::kNone,
                      .default_operation = DefaultOperation::kNone}}),
            "ok 0");
  EXPECT_THAT(app_.calls(), IsEmpty());
  EXPECT_EQ(Subtree({{.name = "sys.name", .value = "x", .operation = Operation::kNone}}), "ok 0");
  EXPECT_EQ(app_.Contents().at("sys.name"), "x");
}

TEST_F(SocketEditTest, LeavesOfEntries) {
  EXPECT_EQ(Subtree({{.name = "net.user.uid", .value = "4294967295", .ids = {1}},
                     {.name = "net.user.quota", .value = "-9223372036854775808", .ids = {1}},
                     {.name = "net.user.prefs.tabs", .value = "8", .ids = {1}},
                     {.name = "net.user.key.text", .value = "AAAA", .ids = {1, 2}}}),
            "ok 0");
  EXPECT_THAT(Read("net.user", {1}),
              ElementsAre("net.user.1.name=root", "net.user.1.uid=4294967295",
                          "net.user.1.quota=-9223372036854775808", "net.user.1.prefs.tabs=8",
                          "net.user.1.group.5=wheel", "net.user.1.key.2.number=100",
                          "net.user.1.key.2.text=AAAA"));
  EXPECT_EQ(Subtree({{.name = "net.user.uid", .value = "1", .ids = {2}}}), "fault OP_FAILED: uid")
      << "the application has no such entry";
  EXPECT_EQ(Subtree({{.name = "net.user.uid", .value = "1"}}), "fault UNKNOWN_ELEM: uid");
  EXPECT_EQ(Subtree({{.name = "net.user", .value = "1", .ids = {1}}}), "fault UNKNOWN_ELEM: user");
}

TEST_F(SocketEditTest, SlottedLeavesOfAnEntryGoInOneCommand) {
  EXPECT_EQ(Subtree({{.name = "net.port.mtu", .value = "9000", .ids = {4}},
                     {.name = "net.port.note", .value = "n", .ids = {4}},
                     {.name = "net.port.text", .value = "t", .ids = {4}}}),
            "ok 4");
  EXPECT_THAT(app_.calls(), ElementsAre("set net.port.note ids=[4] src=0 value=n",
                                        "exe_cmd net.port ids=[4] src=0 op=3 2=9000 3=t"));
  EXPECT_EQ(Subtree({{.name = "net.port.mtu", .ids = {4}, .operation = Operation::kDelete}}),
            "ok 0");
  EXPECT_THAT(app_.calls(), ElementsAre("delete net.port.mtu ids=[4] value=0"));
  EXPECT_EQ(Subtree({{.name = "net.port.note", .value = "only", .ids = {4}}}), "ok 0");
  EXPECT_THAT(app_.calls(), ElementsAre("set net.port.note ids=[4] src=0 value=only"));
  EXPECT_EQ(Subtree({{.name = "net.port.mtu", .value = "13", .ids = {4}}}),
            "fault OP_FAILED: port");
}

TEST_F(SocketEditTest, LeafListElements) {
  const std::string id = IdText("net.user.group", "staff");
  const auto group = [&](const char* value, Operation operation) {
    return Subtree(
        {{.name = "net.user.group", .value = value, .ids = {1}, .operation = operation}});
  };
  EXPECT_EQ(group("staff", Operation::kCreate), "ok " + id);
  EXPECT_EQ(group("staff", Operation::kCreate), "fault DATA_EXISTS: group");
  EXPECT_EQ(group("staff", Operation::kMerge), "ok " + id);
  EXPECT_THAT(Read("net.user.group", {1}),
              ElementsAre("net.user.1.group.5=wheel", "net.user.1.group." + id + "=staff"));
  EXPECT_EQ(group("wheel", Operation::kDelete), "ok 5");
  EXPECT_EQ(group("wheel", Operation::kDelete), "fault DATA_MISSING: group");
  EXPECT_EQ(group("wheel", Operation::kRemove), "ok 0");
  EXPECT_EQ(group("refused", Operation::kMerge), "fault OP_FAILED: group");
  EXPECT_EQ(group("zero", Operation::kMerge), "fault OP_FAILED: group");
  EXPECT_THAT(Read("net.user.group", {1}), ElementsAre("net.user.1.group." + id + "=staff"));
  // A leaf-list with a hash table, outside lists.
  EXPECT_EQ(Subtree({{.name = "sys.dns", .value = "a"}, {.name = "sys.dns", .value = "b"}}),
            "ok " + IdText("sys.dns", "b"));
  EXPECT_EQ(Read("sys.dns").size(), 2U);
  EXPECT_EQ(Subtree({{.name = "sys.dns", .value = "a", .operation = Operation::kDelete}}),
            "ok " + IdText("sys.dns", "a"));
  EXPECT_THAT(Read("sys.dns"), ElementsAre("sys.dns." + IdText("sys.dns", "b") + "=b"));
}

TEST_F(SocketEditTest, ContinueOnErrorGoesOnBehindAFailedGroup) {
  std::vector<EditElement> elements{{.name = "sys.bogus", .value = "x"},
                                    {.name = "net.user.uid", .value = "7", .ids = {1}}};
  EXPECT_EQ(Subtree(elements), "fault UNKNOWN_ELEM: bogus");
  EXPECT_EQ(app_.Contents().at("net.user.1.uid"), "0");
  elements[0].error_option = ErrorOption::kContinue;
  EXPECT_EQ(Subtree(elements), "fault UNKNOWN_ELEM: bogus") << "though the last group ended well";
  EXPECT_EQ(app_.Contents().at("net.user.1.uid"), "7");
  // Within a group the good ones are carried out, and the whole has failed.
  std::vector<EditElement> group{{.name = "sys.name", .value = "refused"},
                                 {.name = "sys.secret", .value = "new"}};
  EXPECT_EQ(Subtree(group), "fault OP_FAILED: name");
  EXPECT_FALSE(app_.Contents().contains("sys.secret"));
  group[0].error_option = ErrorOption::kContinue;
  EXPECT_EQ(Subtree(group), "fault OP_FAILED: name");
  EXPECT_EQ(app_.Contents().at("sys.secret"), "new");
}

TEST_F(SocketEditTest, ContainersAreEmptied) {
  ASSERT_EQ(Subtree({{.name = "net.user.prefs.lang", .value = "en", .ids = {1}}}), "ok 0");
  EXPECT_EQ(Subtree({{.name = "net.user.prefs", .ids = {1}, .operation = Operation::kDelete}}),
            "ok 0");
  EXPECT_THAT(app_.calls(), ElementsAre("delete net.user.prefs.lang ids=[1] value="));
  EXPECT_EQ(Subtree({{.name = "net", .operation = Operation::kDelete}}), "ok 0");
  EXPECT_THAT(app_.calls(), ElementsAre("delete net.user.name ids=[1] value=",
                                        "exe_cmd net.port ids=[4] src=0 op=2",
                                        "delete net.route.dest ids=[7] value="));
  EXPECT_THAT(Read("net"), IsEmpty());
  EXPECT_THAT(app_.Contents(), IsEmpty());
  EXPECT_EQ(g_nc_agent_dm.total_mobject, 0U);
  EXPECT_EQ(g_nc_agent_dm.total_mleaf, 0U);
  EXPECT_EQ(Subtree({{.name = "net", .value = "x"}}), "refused, without a reason")
      << "nothing to write to";
}

// A container that cannot be emptied keeps the command from being called.
TEST_F(SocketEditTest, ContainerThatCannotBeEmptiedStopsTheCommand) {
  std::vector<EditElement> elements{
      {.name = "net.port.limits", .ids = {4}, .operation = Operation::kDelete},
      {.name = "net.port.mtu", .value = "9000", .ids = {4}}};
  EXPECT_EQ(Subtree(elements), "fault OP_FAILED: rate") << "no rate is set";
  EXPECT_THAT(app_.calls(), ElementsAre("delete net.port.limits.rate ids=[4] value=0"));
  elements[0].error_option = ErrorOption::kContinue;
  EXPECT_EQ(Subtree(elements), "fault OP_FAILED: rate");
  EXPECT_THAT(app_.calls(), ElementsAre("delete net.port.limits.rate ids=[4] value=0",
                                        "exe_cmd net.port ids=[4] src=0 op=3 2=9000"))
      << "with continue-on-error the container's failures are passed over";
  ASSERT_EQ(Subtree({{.name = "net.port.limits.rate", .value = "5", .ids = {4}}}), "ok 0");
  elements[0].error_option = ErrorOption::kUnset;
  EXPECT_EQ(Subtree(elements), "ok 4");
}

TEST_F(SocketEditTest, SdnDeletesWhatSdnCreated) {
  ASSERT_TRUE(
      device_.Call(EditEntry({KeyElement("net.user.name", "sdn")}, false, NC_DM_DATASTORE_SDN))
          .ok());
  EXPECT_EQ(
      Edit(EditSubtree({{.name = "net", .operation = Operation::kDelete}}, NC_DM_DATASTORE_SDN)),
      "ok 0");
  EXPECT_THAT(app_.calls(),
              ElementsAre("delete net.user.name ids=[" + IdText("net.user", "sdn") + "] value="));
  EXPECT_EQ(Read("net.user.name").size(), 1U);
}

// What the command line holds for good is not SDN's, though SDN has edited it.
TEST_F(SocketEditTest, EntryOfTheCommandLineKeepsItsSource) {
  const auto announce = [&](const char* name, std::int64_t id, nc_dm_node_src_t src) {
    app_.PutEntry("net.user", {id}, name);
    std::string path = "net.user." + std::to_string(id) + ".";
    ASSERT_EQ(nc_dm_agent_cli_reg(path.data(), src), 0);
  };
  announce("passing", 8, NC_DM_NODE_SRC_CLI);
  announce("lasting", 9, NC_DM_NODE_SRC_CLI_ALW);
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  for (const char* name : {"passing", "lasting"}) {
    ASSERT_TRUE(
        device_.Call(EditEntry({KeyElement("net.user.name", name)}, false, NC_DM_DATASTORE_SDN))
            .ok());
  }
  EXPECT_EQ(
      Edit(EditSubtree({{.name = "net", .operation = Operation::kDelete}}, NC_DM_DATASTORE_SDN)),
      "ok 0");
  EXPECT_THAT(app_.calls(), ElementsAre("delete net.user.name ids=[8] value="));
}

TEST_F(SocketEditTest, LongEditsTravelInManyMessages) {
  std::vector<EditElement> elements;
  for (int i = 0; i < 300; ++i) {
    elements.push_back({.name = "net.user.group", .value = "g" + std::to_string(i), .ids = {1}});
  }
  const Request request = EditSubtree(elements);
  ASSERT_GT(request.frames.size(), 5U);
  EXPECT_EQ(Edit(request), "ok " + IdText("net.user.group", "g299"));
  EXPECT_EQ(Read("net.user.group", {1}).size(), 301U);
}

// ---- Other packet types ----

Frame PacketOf(std::int32_t packet_type, std::int32_t sid) {
  Frame frame;
  frame.head.type = NC_DM_MSG_TYPE_EDIT;
  frame.head.sid = sid;
  frame.body = BodyWriter().Int32(packet_type).Take();
  return frame;
}

TEST_F(SocketEditTest, CommitCallsTheHookAndAnswersNothing) {
  device_.Forget();
  ASSERT_TRUE(device_.Call(Confirmed(Commit())).ok());
  EXPECT_EQ(app_.commits(), 1);
  ASSERT_EQ(device_.frames().size(), 1U);
  EXPECT_EQ(device_.frames()[0].head.type, NC_DM_MSG_TYPE_GETID_RSP);
  ASSERT_EQ(nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, nullptr), 0);
  ASSERT_TRUE(device_.Call(Confirmed(Commit())).ok());
  EXPECT_EQ(app_.commits(), 1);
}

TEST_F(SocketEditTest, CommitPrintsTimes) {
  LogText log;
  const DebugMask mask(NC_DM_DBG_TIMING);
  ASSERT_EQ(Entry("net.user.name", "timed", Operation::kMerge),
            "ok " + IdText("net.user", "timed"));
  ASSERT_TRUE(device_.Call(Confirmed(Commit())).ok());
  EXPECT_EQ(log.Count("[exe_cmd time]:0.000000 sec.\n"), 1);
  EXPECT_EQ(log.Count("[delete time]:"), 1);
  EXPECT_EQ(log.Count("[create time]:"), 1);
}

TEST_F(SocketEditTest, UnknownPacketTypeIsAnswered) {
  for (const std::int32_t packet_type : {0, 2, 3, 4, 12, 1000}) {
    device_.Forget();
    ASSERT_TRUE(device_.server().SendFrame(Device::kName, PacketOf(packet_type, 900)));
    ASSERT_TRUE(device_.RunUntil([&] { return !device_.frames().empty(); }));
    EXPECT_EQ(device_.frames()[0].head.sid, 900);
    const EditAnswer answer = DecodeEditAnswer(device_.frames()[0]);
    EXPECT_EQ(answer.packet_type, NC_DM_PKT_TYPE_RSP);
    EXPECT_EQ(answer.instance, 0);
    EXPECT_EQ(answer.status, 0);
  }
}

}  // namespace
}  // namespace ncdm_test
