#include "tests/server/console_fixture.h"

namespace ncdm::console {
namespace {

using ncdm_test::FakeAgent;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class EditCommandsTest : public ncdm_test::ConsoleFixture {
 protected:
  EditCommandsTest() : agent_(NewModelAgent()) {
    agent_->set_answerer(
        [this](FakeAgent& self, const FakeAgent::Request& request) { Answer(self, request); });
  }

  // Entry edits give instance 5; reads what values_ holds; lookups instance 3.
  void Answer(FakeAgent& self, const FakeAgent::Request& request) {
    if (request.type == NC_DM_MSG_TYPE_EDIT) {
      if (static_cast<int>(agent_->requests().size()) == fault_at_) {
        self.AnswerFault(request.sid, -11, "mtu");
      } else {
        self.AnswerEdit(request.sid, request.packet_type == 10 ? 0 : instance_);
      }
    } else if (request.type == NC_DM_MSG_TYPE_FILTER) {
      self.AnswerValues(request.sid, values_);
      self.CloseValues(request.sid);
    } else {
      self.AnswerIds(request.sid, {{3}});
      self.CloseIds(request.sid);
    }
  }

  const FakeAgent::Request& Asked(std::size_t index) { return agent_->requests().at(index); }

  std::int64_t instance_ = 5;
  int fault_at_ = 0;  // the request that fails, counted from 1
  std::vector<std::pair<std::string, std::string>> values_;
  std::unique_ptr<FakeAgent> agent_;
};

// ---- List entries ----

TEST_F(EditCommandsTest, EntryTravelsWithItsKeysAndSlottedLeaves) {
  EXPECT_EQ(Run("create interfaces.interface[name=eth0] mtu=9000"), "ok interfaces.interface.5\n");
  ASSERT_EQ(agent_->requests().size(), 1U);
  EXPECT_EQ(Asked(0).packet_type, 6);
  EXPECT_EQ(Asked(0).ds_type, 3);
  EXPECT_THAT(Asked(0).elements, ElementsAre("3 key1 interfaces.interface.name=eth0",
                                             "3 interfaces.interface.mtu=9000"));
}

TEST_F(EditCommandsTest, OtherLeavesFollowWithTheInstance) {
  EXPECT_EQ(Run("merge interfaces.interface[name=eth0] description=\"up link\" mtu=9000 "
                "tags=a tags=b ipv4.mtu=1400"),
            "ok interfaces.interface.5\n");
  ASSERT_EQ(agent_->requests().size(), 2U);
  EXPECT_THAT(Asked(0).elements, ElementsAre("1 key1 interfaces.interface.name=eth0",
                                             "1 interfaces.interface.mtu=9000"));
  EXPECT_EQ(Asked(1).packet_type, 10);
  EXPECT_THAT(Asked(1).elements,
              ElementsAre("1 interfaces.interface.description=up link [5]",
                          "1 interfaces.interface.tags=a [5]", "1 interfaces.interface.tags=b [5]",
                          "1 interfaces.interface.ipv4.mtu=1400 [5]"));
}

TEST_F(EditCommandsTest, EachCommandHasItsOperation) {
  Run("create interfaces.interface[name=x]");
  Run("merge interfaces.interface[name=x]");
  Run("replace interfaces.interface[name=x]");
  Run("delete interfaces.interface[name=x]");
  Run("remove interfaces.interface[name=x]");
  for (const auto& [index, operation] :
       {std::pair<std::size_t, const char*>{0, "3"}, {1, "1"}, {2, "2"}, {3, "4"}, {4, "5"}}) {
    EXPECT_THAT(Asked(index).elements,
                ElementsAre(operation + std::string(" key1 interfaces.interface.name=x")));
  }
}

TEST_F(EditCommandsTest, OptionsGoWithEveryElement) {
  Run("create interfaces.interface[name=x] mtu=1 description=d --default-operation none "
      "--error-option continue-on-error --datastore sdn --command");
  ASSERT_EQ(agent_->requests().size(), 2U);
  EXPECT_EQ(Asked(0).packet_type, 8);
  EXPECT_EQ(Asked(0).ds_type, 6);
  EXPECT_THAT(Asked(0).elements, ElementsAre("3 key1 interfaces.interface.name=x defop3 erropt2",
                                             "3 interfaces.interface.mtu=1 defop3 erropt2"));
  EXPECT_EQ(Asked(1).ds_type, 6);
  EXPECT_THAT(Asked(1).elements,
              ElementsAre("3 interfaces.interface.description=d [5] defop3 erropt2"));
}

TEST_F(EditCommandsTest, InnerEntryHasTheIdsOfTheListsAroundIt) {
  EXPECT_EQ(Run("create interfaces.interface.3.address[ip=10.0.0.1] prefix=24"),
            "ok interfaces.interface.3.address.5\n");
  EXPECT_THAT(Asked(0).elements, ElementsAre("3 key2 interfaces.interface.address.ip=10.0.0.1 [3]",
                                             "3 interfaces.interface.address.prefix=24 [3]"));
}

TEST_F(EditCommandsTest, ListsAroundAnEntryMayBeNamedByKeys) {
  Run("delete interfaces.interface[name=eth0].address[ip=10.0.0.1]");
  ASSERT_EQ(agent_->requests().size(), 2U);
  EXPECT_EQ(Asked(0).type, NC_DM_MSG_TYPE_GETID);
  EXPECT_THAT(Asked(1).elements,
              ElementsAre("4 key2 interfaces.interface.address.ip=10.0.0.1 [3]"));
}

TEST_F(EditCommandsTest, AllKeysAreSentInOrder) {
  Run("delete routes.route[dest=d,vrf=v]");
  EXPECT_THAT(Asked(0).elements,
              ElementsAre("4 key1 routes.route.vrf=v", "4 key1 routes.route.dest=d"));
}

TEST_F(EditCommandsTest, KeysOfAnEntryNamedByItsIdAreReadFirst) {
  values_ = {{"interfaces.interface.3.name", "eth3"}};
  EXPECT_EQ(Run("delete interfaces.interface.3"), "ok interfaces.interface.5\n");
  ASSERT_EQ(agent_->requests().size(), 2U);
  EXPECT_THAT(Asked(0).elements, ElementsAre("interfaces.interface.name [3]"));
  EXPECT_THAT(Asked(1).elements, ElementsAre("4 key1 interfaces.interface.name=eth3"));
  values_.clear();
  EXPECT_EQ(Error("delete interfaces.interface.3"), "there is no interfaces.interface.3");
  EXPECT_EQ(Error("delete routes.plain.3"), "the list 'routes.plain' has no keys");
}

TEST_F(EditCommandsTest, AnswerWithoutInstanceNamesTheList) {
  instance_ = 0;
  EXPECT_EQ(Run("remove interfaces.interface[name=x]"), "ok interfaces.interface\n");
  UseJson(true);
  EXPECT_EQ(Run("remove interfaces.interface[name=x]"),
            R"({"ok":true,"path":"interfaces.interface","instance":0})"
            "\n");
  instance_ = 7;
  EXPECT_EQ(Run("create interfaces.interface[name=x]"),
            R"({"ok":true,"path":"interfaces.interface.7","instance":7})"
            "\n");
}

TEST_F(EditCommandsTest, FaultOfTheEntryStopsThere) {
  fault_at_ = 1;
  EXPECT_EQ(Error("create interfaces.interface[name=x] description=d"),
            "fault DATA_INVALID_VALUE: mtu");
  EXPECT_EQ(agent_->requests().size(), 1U);
}

TEST_F(EditCommandsTest, FaultOfTheOtherLeavesTellsThatTheEntryIsDone) {
  fault_at_ = 2;
  EXPECT_EQ(Error("create interfaces.interface[name=x] description=d"),
            "fault DATA_INVALID_VALUE: mtu (after the entry itself was done: "
            "interfaces.interface.5)");
}

TEST_F(EditCommandsTest, EntryRefusals) {
  EXPECT_EQ(Error("create system.hostname"), "'system.hostname' is no list: use set");
  EXPECT_EQ(Error("delete system"), "'system' is no list: use unset");
  EXPECT_EQ(Error("create interfaces.interface mtu=1"),
            "name the entry of 'interfaces.interface' by its keys: "
            "interfaces.interface[key=value]");
  EXPECT_EQ(Error("create interfaces.interface.3"),
            "an entry is created by its keys, not by an id: interfaces.interface[key=value]");
  EXPECT_EQ(Error("delete interfaces.interface.address[ip=x]"),
            "'interfaces.interface' is a list: name an entry by its id or by [key=value]");
  EXPECT_EQ(Error("delete routes.route[vrf=v]"), "the list 'routes.route' needs its key 'dest'");
  EXPECT_EQ(Error("create routes.plain[value=1]"), "'value' is no key of the list 'routes.plain'");
  EXPECT_THAT(agent_->requests(), IsEmpty());
}

TEST_F(EditCommandsTest, AssignmentRefusals) {
  const std::string entry = "create interfaces.interface[name=x] ";
  EXPECT_EQ(Error(entry + "mtu"), "'mtu' is no leaf=value");
  EXPECT_EQ(Error(entry + "=5"), "'=5' is no leaf=value");
  EXPECT_EQ(Error(entry + "speed=5"), "an entry of 'interfaces.interface' has no leaf 'speed'");
  EXPECT_EQ(Error(entry + "address.ip=5"),
            "an entry of 'interfaces.interface' has no leaf 'address.ip'");
  EXPECT_EQ(Error(entry + "ipv4=5"),
            "'interfaces.interface.ipv4' is a container: assign to one of its leaves");
  EXPECT_EQ(Error(entry + "name=y"), "the key 'name' stands in the brackets alone");
  EXPECT_EQ(Error(entry + "--default-operation create"),
            "there is no default operation 'create': it is merge, replace or none");
  EXPECT_EQ(Error(entry + "--error-option continue"),
            "there is no error option 'continue': it is stop-on-error, continue-on-error or "
            "rollback-on-error");
  EXPECT_EQ(Error(entry + "mtu=" + std::string(3000, '9')),
            "'interfaces.interface.mtu' needs 3060 bytes, more than the 2532 that one message "
            "carries");
  EXPECT_THAT(agent_->requests(), IsEmpty());
}

TEST_F(EditCommandsTest, EmptyValuesAreValues) {
  Run("merge interfaces.interface[name=] mtu=");
  EXPECT_THAT(Asked(0).elements,
              ElementsAre("1 key1 interfaces.interface.name=", "1 interfaces.interface.mtu="));
}

// ---- Leaves, leaf-lists, containers ----

TEST_F(EditCommandsTest, SetALeaf) {
  EXPECT_EQ(Run("set system.hostname \"r 1\""), "ok\n");
  EXPECT_EQ(Run("set interfaces.interface.3.address.4.prefix -5 --operation replace "
                "--error-option stop-on-error --datastore startup"),
            "ok\n");
  EXPECT_EQ(Asked(0).packet_type, 10);
  EXPECT_THAT(Asked(0).elements, ElementsAre("1 system.hostname=r 1"));
  EXPECT_EQ(Asked(1).ds_type, 4);
  EXPECT_THAT(Asked(1).elements,
              ElementsAre("2 interfaces.interface.address.prefix=-5 [3,4] erropt1"));
}

TEST_F(EditCommandsTest, SetByKeys) {
  Run("set interfaces.interface[name=eth0].mtu 1");
  ASSERT_EQ(agent_->requests().size(), 2U);
  EXPECT_THAT(Asked(1).elements, ElementsAre("1 interfaces.interface.mtu=1 [3]"));
}

TEST_F(EditCommandsTest, UnsetALeafAContainerAndAValueOfALeafList) {
  EXPECT_EQ(Run("unset system.hostname"), "ok\n");
  Run("unset interfaces.interface.3.ipv4");
  Run("unset system.dns 9.9.9.9 --operation remove");
  Run("set system.dns 1.1.1.1 --operation create");
  EXPECT_THAT(Asked(0).elements, ElementsAre("4 system.hostname"));
  EXPECT_THAT(Asked(1).elements, ElementsAre("4 interfaces.interface.ipv4 [3]"));
  EXPECT_THAT(Asked(2).elements, ElementsAre("5 system.dns=9.9.9.9"));
  EXPECT_THAT(Asked(3).elements, ElementsAre("3 system.dns=1.1.1.1"));
}

TEST_F(EditCommandsTest, SettableKeysAreSetAndOthersAreNot) {
  EXPECT_EQ(Run("set interfaces.interface.3.address.4.ip ::2"), "ok\n");
  EXPECT_EQ(Error("set interfaces.interface.3.name x"),
            "'interfaces.interface.name' is a key: it cannot be set");
}

TEST_F(EditCommandsTest, LeafRefusals) {
  EXPECT_EQ(Error("set interfaces.interface.3 x"),
            "'interfaces.interface' is a list: use create, merge or replace");
  EXPECT_EQ(Error("set system x"), "'system' is a container: set one of its leaves");
  EXPECT_EQ(Error("set interfaces.interface.mtu 5"),
            "'interfaces.interface' is a list: name an entry by its id or by [key=value]");
  EXPECT_EQ(Error("unset interfaces.interface.3"),
            "'interfaces.interface' is a list: use delete or remove");
  EXPECT_EQ(Error("unset system.dns"), "'system.dns' is a leaf-list: give the value to take out");
  EXPECT_EQ(Error("unset system.hostname x"),
            "'system.hostname' is a leaf: it is unset without a value");
  EXPECT_EQ(Error("unset system x"), "'system' is a container: it is unset without a value");
  EXPECT_EQ(Error("set system.hostname x --operation delete"),
            "set does not take the operation delete");
  EXPECT_EQ(Error("unset system.hostname --operation merge"),
            "unset does not take the operation merge");
  EXPECT_EQ(Error("set system.hostname x --operation put"),
            "there is no operation 'put': it is merge, replace, create, delete, remove or none");
  EXPECT_THAT(agent_->requests(), IsEmpty());
}

TEST_F(EditCommandsTest, NoOperationLeavesItToTheDefault) {
  Run("set system.hostname x --operation none --default-operation replace");
  EXPECT_THAT(Asked(0).elements, ElementsAre("0 system.hostname=x defop2"));
}

TEST_F(EditCommandsTest, AgentThatGoesAwayIsAnError) {
  agent_->set_answerer([this](FakeAgent& self, const FakeAgent::Request&) {
    agents_.clear();
    self.Close();
  });
  EXPECT_EQ(Error("set system.hostname x"), "agent 'model' went away before it answered");
}

// ---- Files ----

TEST_F(EditCommandsTest, FileIsOneRequest) {
  const std::string file = WriteFile("edits",
                                     "# two leaves and a container\n"
                                     "merge interfaces.interface.3.mtu 1500\n"
                                     "- system.hostname \"r 1\"\n"
                                     "remove interfaces.interface[name=x].ipv4\n");
  EXPECT_EQ(Run("edit " + file + " --default-operation merge"), "ok\n");
  ASSERT_EQ(agent_->requests().size(), 2U);  // the key is looked up first
  EXPECT_EQ(Asked(1).packet_type, 10);
  EXPECT_THAT(Asked(1).elements, ElementsAre("1 interfaces.interface.mtu=1500 [3] defop1",
                                             "0 system.hostname=r 1 defop1",
                                             "5 interfaces.interface.ipv4 [3] defop1"));
}

TEST_F(EditCommandsTest, FileRefusals) {
  const std::string file = WriteFile("edits", "merge system.hostname x\nmerge system.dns\n");
  EXPECT_EQ(Error("edit " + file), file + ":2: 'system.dns' needs a value");
  WriteFile("edits", "merge nothing x\n");
  EXPECT_EQ(Error("edit " + file), file + ":1: no registered path begins with 'nothing'");
  WriteFile("edits", "put system.hostname x\n");
  EXPECT_THAT(Error("edit " + file), StartsWith(file + ":1: there is no operation 'put'"));
  WriteFile("edits", "# nothing\n");
  EXPECT_EQ(Error("edit " + file), "the file '" + file + "' holds no edits");
  EXPECT_EQ(Error("edit " + file + "x"), "cannot read the file '" + file + "x'");
  EXPECT_THAT(agent_->requests(), IsEmpty());
}

TEST_F(EditCommandsTest, LargeFilesAreSplit) {
  std::string text;
  for (int i = 1; i <= 500; ++i) {
    text += "merge interfaces.interface." + std::to_string(i) + ".mtu 1500\n";
  }
  EXPECT_EQ(Run("edit " + WriteFile("edits", text)), "ok\n");
  ASSERT_EQ(agent_->requests().size(), 1U);
  EXPECT_EQ(Asked(0).elements.size(), 500U);
  EXPECT_EQ(Asked(0).elements.back(), "1 interfaces.interface.mtu=1500 [500]");
}

}  // namespace
}  // namespace ncdm::console
