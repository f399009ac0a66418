#include "server/console/commands.h"

#include "tests/server/console_fixture.h"

namespace ncdm::console {
namespace {

using ncdm_test::FakeAgent;
using ncdm_test::I32;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using CommandsTest = ncdm_test::ConsoleFixture;

// ---- Lines ----

TEST_F(CommandsTest, EmptyLinesAndCommentsDoNothing) {
  EXPECT_EQ(Run(""), "");
  EXPECT_EQ(Run("   # get a"), "");
}

TEST_F(CommandsTest, UnknownCommandsAreNamed) {
  EXPECT_EQ(Error("put a"), "there is no command 'put'; help lists them");
  EXPECT_EQ(Error("help put"), "there is no command 'put'; help lists them");
}

TEST_F(CommandsTest, CountsOfWordsAreChecked) {
  EXPECT_EQ(Error("get"), "usage: get PATH [VALUE]");
  EXPECT_EQ(Error("get a b c"), "usage: get PATH [VALUE]");
  EXPECT_EQ(Error("find a"), "usage: find PATH VALUE");
  EXPECT_EQ(Error("set a"), "usage: set PATH VALUE");
  EXPECT_EQ(Error("delete a b"), "usage: delete PATH[KEY=VALUE,...]");
  EXPECT_EQ(Error("wait"), "usage: wait AGENT [SECONDS]");
  EXPECT_EQ(Error("show x"), "usage: show");
  EXPECT_EQ(Error("debug on"), "usage: debug on|off BITS");
}

TEST_F(CommandsTest, OptionsOfOtherCommandsAreRefused) {
  EXPECT_EQ(Error("get a --command"), "get does not take the option --command");
  EXPECT_EQ(Error("set a 1 --table"), "set does not take the option --table");
}

TEST_F(CommandsTest, HelpKnowsEveryCommandAndOption) {
  const std::string all = Run("help");
  for (const Command& command : AllCommands()) {
    EXPECT_THAT(all, HasSubstr(std::string(command.summary)));
    const std::string one = Run("help " + std::string(command.name));
    EXPECT_THAT(one, testing::StartsWith(std::string(command.name)));
    for (const OptionSpec& option : command.options) {
      EXPECT_THAT(one, HasSubstr("  " + std::string(option.name) + " "));
    }
  }
  EXPECT_THAT(Run("help edit"), HasSubstr("OPERATION PATH [VALUE]"));
}

TEST_F(CommandsTest, QuitAndExitEnd) {
  for (const char* command : {"quit", "exit"}) {
    UseJson(false);  // a new session
    EXPECT_FALSE(session_->finished());
    Run(command);
    EXPECT_TRUE(session_->finished()) << command;
  }
}

// ---- Agents ----

TEST_F(CommandsTest, AgentsAreListedWithTheirState) {
  EXPECT_EQ(Run("agents"), "no agent has connected yet\n");
  const auto ready = NewModelAgent();
  const auto gone = NewModelAgent("gone");
  agents_.pop_back();
  gone->Close();
  const auto fresh = std::make_unique<FakeAgent>(directory_.path(), "fresh");
  ASSERT_TRUE(
      server_.RunUntil([&] { return server_.IsConnected("fresh") && !server_.IsConnected("gone"); },
                       server::Milliseconds(20000)));
  EXPECT_EQ(Run("agents"),
            "agent  state      paths  modules\n"
            "fresh  connected  0      -\n"
            "gone   gone       13     -\n"
            "model  ready      13     -\n");
  UseJson(true);
  EXPECT_THAT(Run("agents"), HasSubstr(R"({"agent":"model","state":"ready","restarted":false,)"
                                       R"("connections":1,"paths":13,"modules":[]})"));
}

TEST_F(CommandsTest, TwoAgentsOfOneNameAreSaidToBe) {
  const auto first = NewModelAgent();
  EXPECT_THAT(Run("agents"), testing::Not(HasSubstr("two applications")));
  agents_.clear();
  const FakeAgent second(directory_.path(), "model");
  ASSERT_TRUE(server_.RunUntil([&] { return server_.FindAgent("model")->takeovers == 1; },
                               server::Milliseconds(20000)));
  EXPECT_THAT(Run("agents"),
              HasSubstr("\nagent 'model': 1 time a new connection took the place of one that was "
                        "open; do two applications use the name?\n"));
  UseJson(true);
  EXPECT_THAT(Run("agents"), HasSubstr(R"("modules":[],"takeovers":1})"));
}

TEST_F(CommandsTest, ModulesOfManyAttributesAreListedByModule) {
  const auto agent = NewModelAgent();
  agent->Module("a", 1, "2024-01-01");
  agent->Module("b", 0, "b");
  agent->Module("a", 0, "a");
  agent->Module("last", 0, "last");
  ASSERT_TRUE(server_.RunUntil(
      [&] { return server_.FindAgent("model")->registry.yang_attributes().size() == 4; },
      server::Milliseconds(20000)));
  EXPECT_THAT(Run("agents"), HasSubstr("  a@2024-01-01 b last\n"));
}

TEST_F(CommandsTest, UnregisteredAgentsAreSaidToBe) {
  const auto agent = NewModelAgent();
  agent->UnregisterClient();
  ASSERT_TRUE(server_.RunUntil([&] { return server_.FindAgent("model")->unregistered; },
                               server::Milliseconds(20000)));
  EXPECT_THAT(Run("agents"), HasSubstr("model  unregistered  0"));
}

TEST_F(CommandsTest, WaitForAnAgent) {
  EXPECT_EQ(Error("wait model 0.01"), "agent 'model' is not connected");
  const auto silent = std::make_unique<FakeAgent>(directory_.path(), "silent");
  EXPECT_EQ(Error("wait silent 0.05"), "agent 'silent' has not announced its paths");
  const auto agent = NewModelAgent();
  EXPECT_EQ(Run("wait model 5"), "ok\n");
  EXPECT_EQ(Run("wait model"), "ok\n");
  UseJson(true);
  EXPECT_EQ(Run("wait model 5"), "{\"ok\":true}\n");
}

TEST_F(CommandsTest, SecondsAreChecked) {
  for (const char* wrong : {"x", "-1", "5s", "1e9", "nan", ""}) {
    EXPECT_EQ(Error("wait model \"" + std::string(wrong) + "\""),
              "'" + std::string(wrong) + "' is no number of seconds");
  }
  EXPECT_EQ(ParseSeconds("0.25"), server::Milliseconds(250));
  EXPECT_EQ(ParseSeconds("0"), server::Milliseconds(0));
}

TEST_F(CommandsTest, TheOnlyAgentIsImplied) {
  EXPECT_EQ(Error("get system"), "no agent is connected");
  EXPECT_EQ(Error("show"), "no agent is connected");
  const auto agent = NewModelAgent();
  EXPECT_EQ(Run("get system"), "");
  EXPECT_EQ(agent->requests().size(), 1U);
}

TEST_F(CommandsTest, OneOfSeveralAgentsIsNamedOrUsed) {
  const auto one = NewModelAgent("one");
  const auto two = NewModelAgent("two");
  EXPECT_EQ(Error("get system"),
            "several agents are connected (one, two): name one with --agent or use");
  Run("get system --agent two");
  EXPECT_EQ(two->requests().size(), 1U);
  EXPECT_EQ(Run("use one"), "ok\n");
  Run("get system");
  EXPECT_EQ(one->requests().size(), 1U);
  Run("get --agent two system");
  EXPECT_EQ(two->requests().size(), 2U);
  Run("use");
  EXPECT_THAT(Error("get system"), HasSubstr("several agents"));
  EXPECT_EQ(Error("use three"), "agent 'three' is not connected");
  EXPECT_EQ(Error("get system --agent three"), "agent 'three' is not connected");
}

TEST_F(CommandsTest, PathsAndModules) {
  const auto agent = std::make_unique<FakeAgent>(directory_.path(), "model");
  agents_.push_back(agent.get());
  agent->Register("a.{i}.k", 17);
  agent->Register("b", 0);
  agent->Module("m", 0, "m");
  agent->Module("m", 1, "2024-01-01");
  agent->Complete();
  wait_ = server::Milliseconds(20000);
  UseJson(false);
  EXPECT_EQ(Run("paths"), "a.{i}.k  key,slot\nb\n");
  EXPECT_EQ(Run("paths model"), "a.{i}.k  key,slot\nb\n");
  EXPECT_EQ(Run("paths --agent model"), "a.{i}.k  key,slot\nb\n");
  EXPECT_EQ(Error("paths model --agent model"), "the agent is named twice");
  EXPECT_EQ(Run("modules"), "m  module-name = m\nm  revision = 2024-01-01\n");
  EXPECT_EQ(Run("agents"),
            "agent  state  paths  modules\n"
            "model  ready  2      m@2024-01-01\n");
  UseJson(true);
  EXPECT_THAT(Run("agents"), HasSubstr(R"("modules":["m@2024-01-01"])"));
  EXPECT_EQ(Run("paths"), R"([{"path":"a.{i}.k","attributes":["key","slot"]},)"
                          R"({"path":"b","attributes":[]}])"
                          "\n");
  EXPECT_EQ(Run("modules"), R"([{"module":"m","attribute":"module-name","value":"m"},)"
                            R"({"module":"m","attribute":"revision","value":"2024-01-01"}])"
                            "\n");
}

TEST_F(CommandsTest, PathsOfAnAgentThatIsGoneAreStillKnown) {
  auto agent = NewModelAgent();
  agents_.clear();
  agent.reset();
  ASSERT_TRUE(
      server_.RunUntil([&] { return !server_.IsConnected("model"); }, server::Milliseconds(20000)));
  EXPECT_THAT(Run("paths model"), HasSubstr("system.hostname\n"));
}

// ---- Short messages ----

TEST_F(CommandsTest, ShowDebugAndCommitAreSentAndConfirmed) {
  const auto agent = NewModelAgent();
  EXPECT_EQ(Run("show"), "ok\n");
  EXPECT_EQ(Run("debug on 27"), "ok\n");
  EXPECT_EQ(Run("debug off error,timing"), "ok\n");
  EXPECT_EQ(Run("commit"), "sent\n");
  ASSERT_EQ(agent->messages().size(), 4U);  // behind the answer to the registration
  EXPECT_EQ(agent->messages()[1].type, NC_DM_MSG_TYPE_SHOW);
  EXPECT_EQ(agent->messages()[2].body, I32(27) + I32(1));
  EXPECT_EQ(agent->messages()[3].body, I32(17) + I32(0));
  ASSERT_EQ(agent->requests().size(), 1U);
  EXPECT_EQ(agent->requests()[0].packet_type, 11);
}

TEST_F(CommandsTest, DebugChecksItsWords) {
  EXPECT_EQ(Error("debug up 1"), "debug is switched on or off, not 'up'");
  EXPECT_EQ(Error("debug on all"), "'all' is no number and none of error, info, packet and timing");
}

// ---- Reading ----

TEST_F(CommandsTest, GetPrintsPathsAndValues) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerValues(request.sid, {{"interfaces.interface.3.name", "eth3"}});
    self.AnswerValues(request.sid, {{"interfaces.interface.3.mtu", "1500"}});
    self.CloseValues(request.sid);
  });
  EXPECT_EQ(Run("get interfaces.interface.3"),
            "interfaces.interface.3.name = eth3\ninterfaces.interface.3.mtu = 1500\n");
  UseJson(true);
  EXPECT_EQ(Run("get interfaces.interface.3"),
            R"([{"path":"interfaces.interface.3.name","value":"eth3"},)"
            R"({"path":"interfaces.interface.3.mtu","value":"1500"}])"
            "\n");
}

TEST_F(CommandsTest, GetSendsNamesAndIds) {
  const auto agent = NewModelAgent();
  Run("get interfaces.interface.{i}.mtu");
  Run("get interfaces.interface.3.address.7.ip --datastore candidate");
  Run("get interfaces.interface.3.address");
  ASSERT_EQ(agent->requests().size(), 3U);
  EXPECT_EQ(agent->requests()[0].packet_type, 10);
  EXPECT_EQ(agent->requests()[0].ds_type, 3);
  EXPECT_THAT(agent->requests()[0].elements, ElementsAre("interfaces.interface.mtu"));
  EXPECT_EQ(agent->requests()[1].ds_type, 5);
  EXPECT_THAT(agent->requests()[1].elements, ElementsAre("interfaces.interface.address.ip [3,7]"));
  EXPECT_THAT(agent->requests()[2].elements, ElementsAre("interfaces.interface.address [3]"));
}

TEST_F(CommandsTest, GetRefusesWhatCannotBeSent) {
  const auto agent = NewModelAgent();
  EXPECT_EQ(Error("get nothing"), "no registered path begins with 'nothing'");
  EXPECT_EQ(Error("get a..b"), "a component of the path 'a..b' is empty");
  EXPECT_THAT(Error("get interfaces.interface.address.7"), HasSubstr("around it"));
  EXPECT_EQ(Error("get system x"), "'system' is no leaf, so it is read without a value");
  EXPECT_EQ(Error("get system --table"), "'system' is no list, so it makes no table");
  EXPECT_EQ(Error("get system --datastore main"),
            "there is no datastore 'main': it is running, candidate, startup, sdn, config or url");
  EXPECT_EQ(Error("find system.hostname " + std::string(3000, 'x')),
            "'system.hostname' needs 3031 bytes, more than the 2532 that one message carries");
  EXPECT_EQ(Error("get interfaces.interface --table --tree"),
            "--table and --tree exclude each other");
  EXPECT_THAT(agent->requests(), IsEmpty());
}

TEST_F(CommandsTest, GetAsTable) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerValues(request.sid, {{"interfaces.interface.3.name", "eth3"},
                                    {"interfaces.interface.3.mtu", "1500"},
                                    {"interfaces.interface.3.tags.1", "a"},
                                    {"interfaces.interface.3.tags.2", "b"},
                                    {"interfaces.interface.3.address.1.ip", "10.0.0.1"},
                                    {"interfaces.interface.10.name", "eth10"}});
    self.CloseValues(request.sid);
  });
  EXPECT_EQ(Run("get interfaces.interface --table"),
            "id  name   mtu   description  tags  ipv4.mtu\n"
            "3   eth3   1500  -            a,b   -\n"
            "10  eth10  -     -            -     -\n");
  UseJson(true);
  EXPECT_EQ(Run("get interfaces.interface --table"),
            R"([{"ids":[3],"values":{"name":"eth3","mtu":"1500","tags":["a","b"]}},)"
            R"({"ids":[10],"values":{"name":"eth10"}}])"
            "\n");
}

TEST_F(CommandsTest, EachColumnOfATableHasANameOfItsOwn) {
  FakeAgent agent(directory_.path(), "vlans");
  agents_.push_back(&agent);
  agent.Register("vlans.vlan.{i}.id", 1);
  agent.Register("vlans.vlan.{i}.name");
  agent.Complete();
  agent.set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerValues(request.sid, {{"vlans.vlan.3.id", "10"}, {"vlans.vlan.3.name", "office"}});
    self.CloseValues(request.sid);
  });
  EXPECT_EQ(Run("get vlans.vlan --table"),
            "{i}  id  name\n"
            "3    10  office\n");
}

// 1,200 entries with a value each, all of other leaves.
TEST_F(CommandsTest, ATableThatIsNearlyEmptyIsRefused) {
  FakeAgent agent(directory_.path(), "wide");
  agents_.push_back(&agent);
  std::vector<std::pair<std::string, std::string>> values;
  for (int i = 1; i <= 1200; ++i) {
    const std::string leaf = "leaf" + std::to_string(i);
    agent.Register("top.list.{i}." + leaf);
    server_.RunOnce(server::Milliseconds(0));  // makes room on the socket
    values.emplace_back("top.list." + std::to_string(i) + "." + leaf, "x");
  }
  agent.Complete();
  agent.set_answerer([&](FakeAgent& self, const FakeAgent::Request& request) {
    for (std::size_t i = 0; i < values.size(); i += 40) {
      self.AnswerValues(request.sid, {values.begin() + static_cast<std::ptrdiff_t>(i),
                                      values.begin() + static_cast<std::ptrdiff_t>(i + 40)});
    }
    self.CloseValues(request.sid);
  });
  EXPECT_EQ(Error("get top.list --table"),
            "the table would have 1441200 cells for 1200 values: read it without --table");
}

TEST_F(CommandsTest, WithAValueOnlyWhatEqualsItIsPrinted) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerValues(request.sid, {{"interfaces.interface.3.mtu", "1500"},
                                    {"interfaces.interface.5.mtu", "9000"},
                                    {"interfaces.interface.7.mtu", "1500"}});
    self.CloseValues(request.sid);
  });
  EXPECT_EQ(Run("get interfaces.interface.mtu 1500"),
            "interfaces.interface.3.mtu = 1500\ninterfaces.interface.7.mtu = 1500\n");
  EXPECT_EQ(Run("get interfaces.interface.mtu 1"), "");
  EXPECT_THAT(agent->requests().back().elements, ElementsAre("interfaces.interface.mtu"));
}

// ---- Trees ----

class TreeCommandsTest : public CommandsTest {
 protected:
  TreeCommandsTest() : agent_(NewModelAgent()) {
    agent_->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
      self.AnswerValues(request.sid, {{"interfaces.interface.3.name", "eth3"},
                                      {"interfaces.interface.3.mtu", "1500"},
                                      {"interfaces.interface.3.description", "007"},
                                      {"interfaces.interface.3.tags.1", "true"},
                                      {"interfaces.interface.3.tags.2", "b"},
                                      {"interfaces.interface.3.address.1.ip", "10.0.0.1"},
                                      {"interfaces.interface.10.name", "-5"}});
      self.CloseValues(request.sid);
    });
  }

  std::unique_ptr<FakeAgent> agent_;
};

TEST_F(TreeCommandsTest, WhatIsInsideStandsIndented) {
  EXPECT_EQ(Run("get interfaces --tree"),
            "interfaces\n"
            "  interface.3\n"
            "    name = eth3\n"
            "    mtu = 1500\n"
            "    description = 007\n"
            "    tags.1 = true\n"
            "    tags.2 = b\n"
            "    address.1\n"
            "      ip = 10.0.0.1\n"
            "  interface.10\n"
            "    name = -5\n");
}

TEST_F(TreeCommandsTest, JsonIsNestedByThePathsAndTyped) {
  UseJson(true);
  EXPECT_EQ(Run("get interfaces --tree"),
            R"({"interfaces":{"interface":[{"@id":3,"name":"eth3","mtu":1500,)"
            R"("description":"007","tags":[true,"b"],"address":[{"@id":1,"ip":"10.0.0.1"}]},)"
            R"({"@id":10,"name":-5}]}})"
            "\n");
}

TEST_F(TreeCommandsTest, OnlyWhatJsonKeepsIsANumber) {
  agent_->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    int id = 0;
    for (const char* value : {"0", "999999999999999", "1000000000000000", "-0", "-", "", "1.5",
                              "1e3", " 1", "True", "false"}) {
      self.AnswerValues(request.sid, {{"system.dns." + std::to_string(++id), value}});
    }
    self.CloseValues(request.sid);
  });
  UseJson(true);
  EXPECT_EQ(Run("get system --tree"),
            R"({"system":{"dns":[0,999999999999999,"1000000000000000","-0","-","","1.5","1e3",)"
            R"(" 1","True",false]}})"
            "\n");
}

TEST_F(TreeCommandsTest, NothingIsAnEmptyTree) {
  agent_->set_answerer({});
  EXPECT_EQ(Run("get interfaces --tree"), "");
  UseJson(true);
  EXPECT_EQ(Run("get interfaces --tree"), "{}\n");
}

// ---- What agents send is shown, and does nothing ----

TEST_F(CommandsTest, ValuesForgeNoLinesAndJsonIsExact) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerValues(request.sid,
                      {{"system.hostname", "1\nsystem.admin = x\x1b[2J"}, {"system.\x07", "y"}});
    self.CloseValues(request.sid);
  });
  EXPECT_EQ(Run("get system"),
            "system.hostname = 1\\nsystem.admin = x\\x1b[2J\n"
            "system.\\x07 = y\n");
  UseJson(true);
  EXPECT_EQ(Run("get system"),
            R"([{"path":"system.hostname","value":"1\nsystem.admin = x\u001b[2J"},)"
            R"({"path":"system.\u0007","value":"y"}])"
            "\n");
}

TEST_F(CommandsTest, AgentsPathsAndModulesForgeNoLines) {
  const auto agent = std::make_unique<FakeAgent>(directory_.path(), "a\nb");
  agents_.push_back(agent.get());
  agent->Register("p\x1b");
  agent->Module("m\n", 0, "v\n");
  agent->Complete();
  ASSERT_TRUE(server_.WaitForAgent("a\nb", server::Milliseconds(20000)));
  EXPECT_EQ(Run("agents"),
            "agent  state  paths  modules\n"
            "a\\nb   ready  1      m\\n\n");
  EXPECT_EQ(Run("paths"), "p\\x1b\n");
  EXPECT_EQ(Run("modules"), "m\\n  module-name = v\\n\n");
}

TEST_F(CommandsTest, TraceIsSwitchedAtThePrompt) {
  std::vector<std::string> lines;
  session_ = std::make_unique<Session>(
      server_, *output_,
      Session::Options{.timeout = server::Milliseconds(20000),
                       .wait = wait_,
                       .trace = [&](std::string_view agent, std::string_view line) {
                         lines.push_back(std::string(agent) + " " + std::string(line));
                       }});
  const auto agent = NewModelAgent();
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(Run("trace on"), "ok\n");
  Run("get system");
  EXPECT_THAT(lines, testing::Contains(testing::StartsWith("model > FILTER ")));
  EXPECT_EQ(Run("trace off"), "ok\n");
  lines.clear();
  Run("get system");
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(Error("trace maybe"), "trace is switched on or off, not 'maybe'");
}

TEST_F(CommandsTest, GetFindsEntriesByTheirKeys) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    if (request.type == NC_DM_MSG_TYPE_GETID) {
      // Both routes have the vrf, one has the destination; an interface address is [7, 9].
      const std::string& element = request.elements.at(0);
      if (element == "routes.route.vrf=red") {
        self.AnswerIds(request.sid, {{1}, {2}});
      } else if (element == "routes.route.dest=10.0.0.0/8") {
        self.AnswerIds(request.sid, {{2}, {3}});
      } else if (element == "interfaces.interface.name=eth 7") {
        self.AnswerIds(request.sid, {{7}});
      } else if (element == "interfaces.interface.address.ip=::1 [7]") {
        self.AnswerIds(request.sid, {{7, 9}});
      }
      self.CloseIds(request.sid);
    } else {
      self.CloseValues(request.sid);
    }
  });
  Run("get routes.route[dest=10.0.0.0/8,vrf=red].metric");
  EXPECT_THAT(agent->requests().back().elements, ElementsAre("routes.route.metric [2]"));
  Run("get routes.route[vrf='red' and dest='10.0.0.0/8'].metric");
  EXPECT_THAT(agent->requests().back().elements, ElementsAre("routes.route.metric [2]"));
  Run("get routes.route[vrf='red'][dest='10.0.0.0/8'].metric");
  EXPECT_THAT(agent->requests().back().elements, ElementsAre("routes.route.metric [2]"));
  Run("get interfaces.interface[name=\"eth 7\"].address[ip=::1].prefix");
  EXPECT_THAT(agent->requests().back().elements,
              ElementsAre("interfaces.interface.address.prefix [7,9]"));
  EXPECT_EQ(Error("get routes.route[dest=none,vrf=red].metric"),
            "there is no routes.route[vrf=red,dest=none]");
}

TEST_F(CommandsTest, KeysThatFindSeveralEntriesOrNoneAreErrors) {
  const auto agent = NewModelAgent();
  std::vector<std::vector<std::int64_t>> found{{1}, {2}};
  agent->set_answerer([&](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerIds(request.sid, found);
    self.CloseIds(request.sid);
  });
  EXPECT_EQ(Error("get interfaces.interface[name=x]"),
            "there are several interfaces.interface[name=x]");
  found = {{1, 2}};
  EXPECT_EQ(Error("get interfaces.interface[name=x]"), "there is no interfaces.interface[name=x]");
}

TEST_F(CommandsTest, FindPrintsTheInstances) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerIds(request.sid, {{3}, {7}});
    self.CloseIds(request.sid);
  });
  EXPECT_EQ(Run("find interfaces.interface.mtu 1500"),
            "interfaces.interface.3.mtu = 1500\ninterfaces.interface.7.mtu = 1500\n");
  EXPECT_EQ(agent->requests()[0].type, NC_DM_MSG_TYPE_GETID);
  EXPECT_THAT(agent->requests()[0].elements, ElementsAre("interfaces.interface.mtu=1500"));
  EXPECT_EQ(Run("find system.dns 9.9.9.9"), "system.dns.3 = 9.9.9.9\nsystem.dns.7 = 9.9.9.9\n");
  UseJson(true);
  EXPECT_EQ(Run("find interfaces.interface.mtu 1500"),
            R"([{"path":"interfaces.interface.3.mtu","value":"1500","ids":[3]},)"
            R"({"path":"interfaces.interface.7.mtu","value":"1500","ids":[7]}])"
            "\n");
}

TEST_F(CommandsTest, FindNothing) {
  const auto agent = NewModelAgent();
  EXPECT_EQ(Run("find interfaces.interface.3.address.ip ::1"), "");
  EXPECT_THAT(agent->requests()[0].elements,
              ElementsAre("interfaces.interface.address.ip=::1 [3]"));
  EXPECT_EQ(Error("find interfaces.interface x"),
            "'interfaces.interface' is no leaf, so it has no value to look for");
  UseJson(true);
  EXPECT_EQ(Run("find interfaces.interface.name x"), "[]\n");
  EXPECT_EQ(Run("get system"), "[]\n");
}

TEST_F(CommandsTest, FaultsComeByNameWithTheirPath) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerFault(request.sid, -7, "interface");
  });
  try {
    Execute(*session_, "get system");
    ADD_FAILURE() << "the fault is no error";
  } catch (const CommandError& error) {
    EXPECT_STREQ(error.what(), "fault OP_FAILED: interface");
    ASSERT_TRUE(error.fault());
    EXPECT_EQ(error.fault()->code, NC_DM_FAULT_CODE_OP_FAILED);
    EXPECT_EQ(error.fault()->path, "interface");
  }
}

TEST_F(CommandsTest, LaterRegistrationsAreKnownAtOnce) {
  const auto agent = NewModelAgent();
  EXPECT_EQ(Error("get extra.leaf"), "no registered path begins with 'extra'");
  agent->Register("extra.leaf");
  agent->Unregister("system.hostname");
  ASSERT_TRUE(server_.Call("model", server::Barrier()).ok());
  EXPECT_EQ(Run("get extra.leaf"), "");
  EXPECT_EQ(Error("get system.hostname"), "'system' has no 'hostname'");
}

}  // namespace
}  // namespace ncdm::console
