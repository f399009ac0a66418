#include "server/console/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "server/console/commands.h"
#include "tests/server/fake_agent.h"

namespace ncdm::console {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CompletionTest : public testing::Test {
 protected:
  CompletionTest() {
    std::vector<server::RegisteredPath> paths;
    for (const auto& [path, attributes] : ncdm_test::ModelPaths()) {
      paths.push_back({path, attributes});
    }
    schema_ = std::make_unique<Schema>(paths);
  }

  // Each candidate as the line would become, with the suffix.
  std::vector<std::string> Lines(const std::string& line, bool with_schema = true) {
    const Completion completion =
        Complete(line, with_schema ? schema_.get() : nullptr, {"model", "other"});
    std::vector<std::string> lines;
    for (const Candidate& candidate : completion.candidates) {
      lines.push_back(line.substr(0, completion.begin) + candidate.text + candidate.suffix);
    }
    return lines;
  }

  std::unique_ptr<Schema> schema_;
};

TEST_F(CompletionTest, Commands) {
  EXPECT_THAT(Lines("ag"), ElementsAre("agents"));
  EXPECT_THAT(Lines("se"), ElementsAre("set "));
  EXPECT_THAT(Lines("re"), ElementsAre("replace ", "remove "));
  EXPECT_EQ(Lines("").size(), AllCommands().size());
  EXPECT_THAT(Lines("help comm"), ElementsAre("help commit"));
  EXPECT_THAT(Lines("unknown a"), IsEmpty());
}

TEST_F(CompletionTest, PathsComponentByComponent) {
  EXPECT_THAT(Lines("get "), ElementsAre("get system.", "get interfaces.", "get routes."));
  EXPECT_THAT(Lines("get int"), ElementsAre("get interfaces."));
  EXPECT_THAT(Lines("get interfaces.i"), ElementsAre("get interfaces.interface"));
  EXPECT_THAT(Lines("get system."), ElementsAre("get system.hostname ", "get system.dns "));
  EXPECT_THAT(Lines("get nothing."), IsEmpty());
  EXPECT_THAT(Lines("get interfaces.3."), IsEmpty());
}

TEST_F(CompletionTest, PathsThroughListsInEveryForm) {
  for (const std::string list : {"interfaces.interface.3.", "interfaces.interface.{i}.",
                                 "interfaces.interface.", "interfaces.interface[name=a.b c]."}) {
    EXPECT_THAT(Lines("set " + list + "m"), ElementsAre("set " + list + "mtu ")) << list;
    EXPECT_THAT(Lines("set " + list + "ip"), ElementsAre("set " + list + "ipv4.")) << list;
  }
}

TEST_F(CompletionTest, Keys) {
  EXPECT_THAT(Lines("delete routes.route["),
              ElementsAre("delete routes.route[vrf=", "delete routes.route[dest="));
  EXPECT_THAT(Lines("delete routes.route[vrf=a,d"), ElementsAre("delete routes.route[vrf=a,dest="));
  EXPECT_THAT(Lines("delete routes.route[vrf=a"), IsEmpty());
  EXPECT_THAT(Lines("delete routes.route[vrf=a][d"),
              ElementsAre("delete routes.route[vrf=a][dest="));
  EXPECT_THAT(Lines("get routes.route[vrf=a][dest=b].m"),
              ElementsAre("get routes.route[vrf=a][dest=b].metric "));
}

TEST_F(CompletionTest, WhatATerminalMightObeyIsNotOffered) {
  schema_ = std::make_unique<Schema>(
      std::vector<server::RegisteredPath>{{"good", 0}, {"g\x1b[2J", 0}, {"g\n", 0}});
  EXPECT_THAT(Lines("get g"), ElementsAre("get good "));
}

TEST_F(CompletionTest, LeavesOfAnEntry) {
  const std::string entry = "create interfaces.interface[name=a] ";
  EXPECT_THAT(
      Lines(entry),
      ElementsAre(entry + "mtu=", entry + "description=", entry + "tags=", entry + "ipv4."));
  EXPECT_THAT(Lines(entry + "mtu=5 ipv4.m"), ElementsAre(entry + "mtu=5 ipv4.mtu="));
  EXPECT_THAT(Lines(entry + "mtu=5"), IsEmpty());
  EXPECT_THAT(Lines("create system x"), IsEmpty());
}

TEST_F(CompletionTest, OptionsAndAgents) {
  EXPECT_THAT(Lines("get --a"), ElementsAre("get --agent "));
  EXPECT_THAT(Lines("get --agent m"), ElementsAre("get --agent model "));
  EXPECT_THAT(Lines("get --agent model sys"), ElementsAre("get --agent model system."));
  EXPECT_THAT(Lines("get --table int"), ElementsAre("get --table interfaces."));
  EXPECT_THAT(Lines("use "), ElementsAre("use model ", "use other "));
  EXPECT_THAT(Lines("debug o"), ElementsAre("debug on ", "debug off "));
  EXPECT_THAT(Lines("trace o"), ElementsAre("trace on ", "trace off "));
  EXPECT_THAT(Lines("commit "), IsEmpty());
}

TEST_F(CompletionTest, WithoutAnAgentPathsAreUnknown) {
  EXPECT_THAT(Lines("get s", false), IsEmpty());
  EXPECT_THAT(Lines("create a[b=c] d", false), IsEmpty());
  EXPECT_THAT(Lines("ge", false), ElementsAre("get "));
}

TEST(CompletionPrefixTest, WhatCandidatesHaveInCommon) {
  EXPECT_EQ((Completion{0, {{"replace", " "}, {"remove", " "}}}.CommonPrefix()), "re");
  EXPECT_EQ((Completion{0, {{"one", " "}}}.CommonPrefix()), "one");
  EXPECT_EQ((Completion{0, {{"a", ""}, {"b", ""}}}.CommonPrefix()), "");
  EXPECT_EQ(Completion{}.CommonPrefix(), "");
}

}  // namespace
}  // namespace ncdm::console
