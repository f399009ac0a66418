#include "server/schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/server/model_schema.h"

namespace ncdm::server {
namespace {

using ncdm_test::FindNode;
using ncdm_test::MakeSchema;

TEST(SchemaTest, MarkersMakeLists) {
  const Schema schema = MakeSchema(ncdm_test::ModelPaths());
  const SchemaNode* interface = FindNode(schema, {"interfaces", "interface"});
  ASSERT_NE(interface, nullptr);
  EXPECT_TRUE(interface->is_list);
  EXPECT_FALSE(interface->is_leaf);
  EXPECT_FALSE(FindNode(schema, {"interfaces"})->is_list);
  EXPECT_TRUE(FindNode(schema, {"interfaces", "interface", "address"})->is_list);
  EXPECT_EQ(interface->Path(), "interfaces.interface");
  EXPECT_EQ(FindNode(schema, {"interfaces", "interface", "{i}"}), nullptr);
}

TEST(SchemaTest, AttributesAreThoseOfTheLeaves) {
  const Schema schema = MakeSchema(ncdm_test::ModelPaths());
  const SchemaNode* name = FindNode(schema, {"interfaces", "interface", "name"});
  EXPECT_TRUE(name->is_leaf);
  EXPECT_EQ(name->key_flag(), 1);
  EXPECT_TRUE(name->has_slot());
  EXPECT_FALSE(name->is_leaf_list());
  EXPECT_TRUE(FindNode(schema, {"system", "dns"})->is_leaf_list());
  EXPECT_EQ(FindNode(schema, {"interfaces", "interface", "address", "ip"})->key_flag(), 2);
}

TEST(SchemaTest, KeysComeInOrderOfRegistration) {
  const Schema schema = MakeSchema(ncdm_test::ModelPaths());
  const auto keys = FindNode(schema, {"routes", "route"})->Keys();
  ASSERT_EQ(keys.size(), 2U);
  EXPECT_EQ(keys[0]->name, "vrf");
  EXPECT_EQ(keys[1]->name, "dest");
  EXPECT_TRUE(FindNode(schema, {"routes", "plain"})->Keys().empty());
}

TEST(SchemaTest, AnIdInARegisteredPathMakesAListAndAMarkerBehindALeafDoesNot) {
  const Schema schema = MakeSchema({{"a.b.5.c", 0}, {"a.l.{i}", 4}, {"t.{i}.x", 0}});
  EXPECT_TRUE(FindNode(schema, {"a", "b"})->is_list);
  EXPECT_FALSE(FindNode(schema, {"a", "l"})->is_list);
  EXPECT_TRUE(FindNode(schema, {"a", "l"})->is_leaf_list());
  EXPECT_TRUE(FindNode(schema, {"t"})->is_list);
}

TEST(SchemaTest, ChildrenAreThereByNameAndInOrder) {
  std::vector<std::pair<std::string, std::int32_t>> paths;
  for (int i = 0; i < 1000; ++i) {
    paths.emplace_back("top" + std::to_string(999 - i), 0);
  }
  const Schema schema = MakeSchema(paths);
  ASSERT_EQ(schema.root().children.size(), 1000U);
  EXPECT_EQ(schema.root().children.front()->name, "top999");
  EXPECT_EQ(schema.root().Child("top0"), schema.root().children.back());
  EXPECT_EQ(schema.root().Child("top"), nullptr);
}

TEST(SchemaTest, AMovedSchemaKeepsItsNodes) {
  Schema schema = MakeSchema(ncdm_test::ModelPaths());
  const SchemaNode* mtu = FindNode(schema, {"interfaces", "interface", "mtu"});
  const Schema moved = std::move(schema);
  EXPECT_EQ(FindNode(moved, {"interfaces", "interface", "mtu"}), mtu);
  EXPECT_EQ(mtu->Path(), "interfaces.interface.mtu");
  EXPECT_EQ(moved.root().Path(), "");
}

// Neither making nor releasing one descends.
TEST(SchemaTest, AHundredThousandLevelsNeedNoStack) {
  std::string path = "a";
  for (int i = 1; i < 100000; ++i) {
    path += ".a";
  }
  const Schema schema = MakeSchema({{path, 0}});
  const SchemaNode* node = &schema.root();
  while (!node->children.empty()) {
    node = node->children.front();
  }
  EXPECT_EQ(node->Path(), path);
}

}  // namespace
}  // namespace ncdm::server
