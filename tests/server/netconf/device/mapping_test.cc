// Where in the model an agent's paths belong.
#include "server/netconf/device/mapping.h"

#include "tests/server/netconf/device/device_fixture.h"

namespace ncdm::netconf {
namespace {

constexpr char kBase[] = R"(module base {
  yang-version 1.1; namespace "urn:base"; prefix b;
  revision 2026-01-01;
  container system {
    leaf name { type string; }
    choice power {
      case mains { leaf volts { type uint16; } }
      case battery { choice kind { leaf dry { type boolean; } leaf wet { type boolean; } } }
    }
  }
  container odd {
    list free { config true; ordered-by user; key "id"; leaf id { type string; } }
    leaf-list words { type string; }
    leaf word { type string; }
    list pair { key "left right"; leaf left { type string; } leaf right { type string; } }
  }
  list top { key "id"; leaf id { type string; } }
})";
constexpr char kMore[] = R"(module more {
  yang-version 1.1; namespace "urn:more"; prefix m;
  import base { prefix b; }
  container system { leaf name { type string; } leaf own { type string; } }
  augment "/b:system" {
    leaf extra { type string; }
    container depth { leaf level { type int8; } }
  }
})";

class MappingTest : public testing::Test {
 protected:
  MappingTest() {
    std::ofstream(yang_.path() + "/base.yang") << kBase;
    std::ofstream(yang_.path() + "/more.yang") << kMore;
    context_ = std::make_unique<YangContext>(yang_.path());
  }

  using Paths = std::vector<std::pair<std::string, std::int32_t>>;

  void Add(const std::string& name, const Paths& paths, const std::vector<std::string>& modules) {
    server::Agent& agent = *agents_.emplace_back(std::make_unique<server::Agent>());
    agent.name = name;
    for (const auto& [path, attributes] : paths) {
      agent.registry.Add(path, attributes);
    }
    for (const std::string& module : modules) {
      agent.registry.SetYangAttribute(module, NC_DM_YANG_ATTR_MODULE_NAME, module);
    }
  }

  Mapping Map() {
    log_.clear();
    std::vector<const server::Agent*> agents;
    for (const auto& agent : agents_) {
      agents.push_back(agent.get());
    }
    return {*context_, agents, [this](const std::string& line) { log_.push_back(line); }};
  }

  // "module:name" of what serves which registered path of the first agent; empty for nothing.
  std::string Served(const Mapping& mapping, const std::string& path, std::size_t agent = 0) {
    const AgentModel& model = *mapping.agents()[agent];
    const server::SchemaNode* node = &model.schema.root();
    std::string rest = path + ".";
    while (node != nullptr && !rest.empty()) {
      node = node->Child(rest.substr(0, rest.find('.')));
      rest.erase(0, rest.find('.') + 1);
    }
    const lysc_node* yang = node == nullptr ? nullptr : model.Yang(node);
    return yang == nullptr ? "" : std::string(yang->module->name) + ":" + yang->name;
  }

  ncdm_test::TempDir yang_;
  std::unique_ptr<YangContext> context_;
  std::vector<std::unique_ptr<server::Agent>> agents_;
  std::vector<std::string> log_;
};

TEST_F(MappingTest, NamedModuleTellsEqualPathsApart) {
  Add("one", {{"system.name", 0}}, {"base"});
  Add("two", {{"system.name", 0}}, {"more"});
  const Mapping mapping = Map();
  EXPECT_EQ(Served(mapping, "system.name", 0), "base:name");
  EXPECT_EQ(Served(mapping, "system.name", 1), "more:name");
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(MappingTest, AugmentedNodesAreFoundByTheirLocalName) {
  Add("one", {{"system.extra", 0}, {"system.depth.level", 0}}, {"base"});
  const Mapping mapping = Map();
  EXPECT_EQ(Served(mapping, "system.extra"), "more:extra");
  EXPECT_EQ(Served(mapping, "system.depth.level"), "more:level");
}

TEST_F(MappingTest, ChoicesAndCasesDoNotAppear) {
  Add("one", {{"system.volts", 0}, {"system.wet", 0}}, {"base"});
  const Mapping mapping = Map();
  EXPECT_EQ(Served(mapping, "system.volts"), "base:volts");
  EXPECT_EQ(Served(mapping, "system.wet"), "base:wet");
}

TEST_F(MappingTest, AgentWithoutAModuleIsUsedWhereOneModuleHasAll) {
  Add("one", {{"system.own", 0}, {"odd.word", 0}}, {});
  const Mapping mapping = Map();
  EXPECT_EQ(Served(mapping, "system.own"), "more:own");
  EXPECT_EQ(Served(mapping, "odd.word"), "base:word");
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(MappingTest, AgentWithoutAModuleIsNotGuessedAt) {
  Add("one", {{"system.name", 0}}, {});
  Add("two", {{"nowhere.name", 0}}, {});
  const Mapping mapping = Map();
  EXPECT_EQ(Served(mapping, "system.name"), "");
  EXPECT_THAT(log_,
              ElementsAre(HasSubstr("several modules have it"), HasSubstr("no module has it")));
}

TEST_F(MappingTest, AgentOfSeveralModulesIsLookedUpInAll) {
  Add("one", {{"system.volts", 0}, {"system.own", 0}, {"system.nowhere", 0}}, {"base", "more"});
  const Mapping mapping = Map();
  EXPECT_THAT(log_, ElementsAre(HasSubstr("system.nowhere is not served")));
}

TEST_F(MappingTest, WhatTheModelDoesNotHaveIsLoggedAndLeftOut) {
  Add("one", {{"system.nowhere", 0}, {"odd.words", 0}, {"odd.word", NC_DM_FLAG_LEAF_LIST}},
      {"base"});
  const Mapping mapping = Map();
  EXPECT_EQ(log_.size(), 3U);
  EXPECT_THAT(log_, Contains(HasSubstr("system.nowhere is not served: in module base it is no "
                                       "such node")));
  EXPECT_THAT(log_, Contains(HasSubstr("odd.words is not served: in module base it is another "
                                       "kind of node")));
  EXPECT_FALSE(mapping.IsServed(lys_find_path(context_->get(), nullptr, "/base:odd/word", 0)));
}

TEST_F(MappingTest, ListsThatCannotBeServedAreLogged) {
  Add("one", {{"top.{i}.id", NC_DM_FLAG_KEY}, {"odd.free.{i}.id", NC_DM_FLAG_KEY}}, {"base"});
  Map();
  EXPECT_THAT(log_, ElementsAre(HasSubstr("a list at the top of a module"),
                                HasSubstr("ordered by the user")));
}

TEST_F(MappingTest, OtherKeysThanTheModelsAreLoggedAndServed) {
  Add("less", {{"odd.pair.{i}.left", NC_DM_FLAG_KEY}, {"odd.pair.{i}.right", 0}}, {"base"});
  const Mapping mapping = Map();
  EXPECT_EQ(Served(mapping, "odd.pair.right"), "base:right");
  EXPECT_THAT(log_, ElementsAre("agent 'less': entries of odd.pair can be neither created nor "
                                "deleted: the keys are others than in module base"));
}

TEST_F(MappingTest, AListWithoutAKeyOfTheModelIsLogged) {
  Add("none", {{"odd.pair.{i}.left", NC_DM_FLAG_KEY}}, {"base"});
  Map();
  EXPECT_THAT(log_, ElementsAre("agent 'none': odd.pair is not served: in module base it is a "
                                "list with keys that the agent has not got"));
}

TEST_F(MappingTest, LeafBelongsToTheAgentThatWasThereFirst) {
  Add("one", {{"system.name", 0}}, {"base"});
  Add("two", {{"system.name", 0}, {"system.volts", 0}}, {"base"});
  const Mapping mapping = Map();
  const lysc_node* name = lys_find_path(context_->get(), nullptr, "/base:system/name", 0);
  EXPECT_EQ(mapping.OwnerOf(name)->name, "one");
  EXPECT_EQ(mapping.ServersOf(name).size(), 1U);
  EXPECT_EQ(mapping.ServersOf(name->parent).size(), 2U);
  EXPECT_THAT(log_, ElementsAre(HasSubstr("is served by agent 'one', which was there first")));
}

TEST_F(MappingTest, OtherRevisionIsLoggedAndServed) {
  Add("one", {{"system.volts", 0}}, {"base"});
  agents_[0]->registry.SetYangAttribute("base", NC_DM_YANG_ATTR_REVISION, "2020-02-02");
  const Mapping mapping = Map();
  EXPECT_THAT(log_, ElementsAre(HasSubstr("has revision 2020-02-02 of module base")));
  EXPECT_EQ(Served(mapping, "system.volts"), "base:volts");
}

TEST_F(MappingTest, UnknownModuleServesNothing) {
  Add("one", {{"system.volts", 0}}, {"nobody"});
  const Mapping mapping = Map();
  EXPECT_THAT(log_, ElementsAre(HasSubstr("names the module nobody, which is not loaded")));
  EXPECT_EQ(Served(mapping, "system.volts"), "");
}

}  // namespace
}  // namespace ncdm::netconf
