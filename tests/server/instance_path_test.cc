#include "server/instance_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/server/model_schema.h"

namespace ncdm::server {
namespace {

class InstancePathTest : public testing::Test {
 protected:
  // "NODE [IDS]", or "nothing".
  std::string Found(std::string_view path) const {
    const auto found = FindInstance(schema_, path);
    std::string text = found ? found->node->Path() : "nothing";
    for (const std::int64_t id : found ? found->ids : Ids{}) {
      text += " " + std::to_string(id);
    }
    return text;
  }

  Schema schema_ = ncdm_test::MakeSchema(ncdm_test::ModelPaths());
};

TEST_F(InstancePathTest, ValuesPathsAreFoundWithTheirIds) {
  EXPECT_EQ(Found("system.hostname"), "system.hostname");
  EXPECT_EQ(Found("interfaces.interface.3.mtu"), "interfaces.interface.mtu 3");
  EXPECT_EQ(Found("interfaces.interface.3.address.7.ip"), "interfaces.interface.address.ip 3 7");
  EXPECT_EQ(Found("interfaces.interface.3.tags.2"), "interfaces.interface.tags 3 2");
  EXPECT_EQ(Found("interfaces.interface.3"), "interfaces.interface 3");
  EXPECT_EQ(Found("interfaces.interface.9223372036854775807.mtu"),
            "interfaces.interface.mtu 9223372036854775807");
}

TEST_F(InstancePathTest, ALeafListsValueMayLackItsId) {
  EXPECT_EQ(Found("system.dns"), "system.dns");
  EXPECT_EQ(Found("system.dns.4"), "system.dns 4");
}

TEST_F(InstancePathTest, WhatLeadsNowhereIsNotFound) {
  for (const char* path :
       {"", ".", "unknown", "system.unknown", "system.3.hostname", "system.hostname.3",
        "interfaces.interface", "interfaces.interface.mtu", "interfaces.interface.x.mtu",
        "interfaces.interface.0.mtu", "interfaces.interface.-1.mtu",
        "interfaces.interface.9223372036854775808.mtu", "interfaces.interface.3.4.mtu",
        "interfaces.interface.3..mtu", "system.dns.4.4"}) {
    EXPECT_EQ(Found(path), "nothing") << path;
  }
}

TEST_F(InstancePathTest, IdsStandBehindListsAndLeafLists) {
  const auto path = [&](std::initializer_list<const char*> names, const Ids& ids) {
    return PathWithIds(*ncdm_test::FindNode(schema_, names), ids);
  };
  EXPECT_EQ(path({"interfaces", "interface", "address", "ip"}, {3, 7}),
            "interfaces.interface.3.address.7.ip");
  EXPECT_EQ(path({"interfaces", "interface"}, {3}), "interfaces.interface.3");
  EXPECT_EQ(path({"interfaces", "interface", "mtu"}, {}), "interfaces.interface.mtu");
  EXPECT_EQ(path({"system", "dns"}, {9}), "system.dns.9");
  EXPECT_EQ(path({"system", "hostname"}, {9}), "system.hostname");
}

}  // namespace
}  // namespace ncdm::server
