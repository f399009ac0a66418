#include "server/data_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/server/model_schema.h"

namespace ncdm::server {
namespace {

using ncdm_test::FindNode;

// "name=value", "name{children}", "name.id=value", "name.id{children}".
std::string Text(const DataNode& node) {
  std::string text;
  for (const DataNode* child : node.children) {
    text += (text.empty() ? "" : " ") + child->schema->name;
    text += child->id == 0 ? "" : "." + std::to_string(child->id);
    text += child->schema->is_leaf ? "=" + child->value : "{" + Text(*child) + "}";
  }
  return text;
}

class DataTreeTest : public testing::Test {
 protected:
  Schema schema_ = ncdm_test::MakeSchema(ncdm_test::ModelPaths());
  DataTree data_{schema_};
};

TEST_F(DataTreeTest, ValuesStandBelowTheirEntriesInOrderOfReading) {
  EXPECT_EQ(data_.Add({{"interfaces.interface.7.name", "eth7"},
                       {"system.hostname", "h"},
                       {"interfaces.interface.3.name", "eth3"},
                       {"interfaces.interface.7.ipv4.mtu", "1400"},
                       {"interfaces.interface.7.address.1.ip", "10.0.0.1"},
                       {"interfaces.interface.7.address.2.ip", "10.0.0.2"}}),
            0U);
  EXPECT_EQ(Text(data_.root()),
            "interfaces{interface.7{name=eth7 ipv4{mtu=1400} address.1{ip=10.0.0.1} "
            "address.2{ip=10.0.0.2}} interface.3{name=eth3}} system{hostname=h}");
}

TEST_F(DataTreeTest, LeafListsHaveANodeAValue) {
  data_.Add({{"system.dns.1", "a"}, {"system.dns.2", "b"}});
  data_.Add({{"system.dns.1", "c"}});
  EXPECT_EQ(Text(data_.root()), "system{dns.1=c dns.2=b}");
}

TEST_F(DataTreeTest, ALeafThatIsReadAgainTakesTheLaterValue) {
  data_.Add({{"system.hostname", "a"}, {"system.hostname", "b"}});
  EXPECT_EQ(Text(data_.root()), "system{hostname=b}");
}

TEST_F(DataTreeTest, WhatLeadsNowhereIsLeftOutAndCounted) {
  EXPECT_EQ(data_.Add({{"unknown", "x"},
                       {"interfaces.interface.name", "x"},
                       {"interfaces.interface.3", "x"},
                       {"system", "x"},
                       {"", "x"}}),
            5U);
  EXPECT_EQ(Text(data_.root()), "");
}

TEST_F(DataTreeTest, LeavesOfAnEntryAreFound) {
  data_.Add({{"interfaces.interface.3.mtu", "9000"}});
  const DataNode& entry = *data_.root().children[0]->children[0];
  EXPECT_EQ(entry.id, 3);
  EXPECT_EQ(entry.Leaf(*FindNode(schema_, {"interfaces", "interface", "mtu"}))->value, "9000");
  EXPECT_EQ(entry.Leaf(*FindNode(schema_, {"interfaces", "interface", "name"})), nullptr);
}

TEST_F(DataTreeTest, AMovedTreeKeepsItsNodesAndGrows) {
  data_.Add({{"system.hostname", "a"}});
  DataTree moved = std::move(data_);
  moved.Add({{"system.dns.1", "b"}});
  EXPECT_EQ(Text(moved.root()), "system{hostname=a dns.1=b}");
}

}  // namespace
}  // namespace ncdm::server
