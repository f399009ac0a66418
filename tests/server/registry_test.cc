#include "server/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ncdm::server {
namespace {

using testing::ElementsAre;

TEST(RegistryTest, KeepsTheOrderOfFirstAppearance) {
  Registry registry;
  registry.Add("b", 0);
  registry.Add("a", 1);
  registry.Add("c", 0);
  registry.Add("b", 16);
  EXPECT_THAT(registry.Paths(),
              ElementsAre(RegisteredPath{"b", 16}, RegisteredPath{"a", 1}, RegisteredPath{"c", 0}));
  EXPECT_EQ(registry.path_count(), 3U);
}

TEST(RegistryTest, RemovedPathsAreGoneAndComeBackAtTheEnd) {
  Registry registry;
  registry.Add("a", 0);
  registry.Add("b", 0);
  EXPECT_TRUE(registry.Remove("a"));
  EXPECT_FALSE(registry.Remove("a"));
  EXPECT_EQ(registry.Find("a"), nullptr);
  registry.Add("a", 4);
  EXPECT_THAT(registry.Paths(), ElementsAre(RegisteredPath{"b", 0}, RegisteredPath{"a", 4}));
  ASSERT_NE(registry.Find("a"), nullptr);
  EXPECT_TRUE(registry.Find("a")->is_leaf_list());
}

TEST(RegistryTest, AttributesTellKeysLeafListsAndSlots) {
  EXPECT_TRUE((RegisteredPath{"a", 1}.is_key()));
  EXPECT_TRUE((RegisteredPath{"a", 2}.is_key()));
  EXPECT_FALSE((RegisteredPath{"a", 4 | 16}.is_key()));
  EXPECT_TRUE((RegisteredPath{"a", 17}.has_slot()));
  EXPECT_FALSE((RegisteredPath{"a", 1}.has_slot()));
}

TEST(RegistryTest, YangAttributesAreOnePerModuleAndKind) {
  Registry registry;
  registry.SetYangAttribute("m", 0, "m");
  registry.SetYangAttribute("m", 1, "2023");
  registry.SetYangAttribute("n", 1, "2022");
  registry.SetYangAttribute("m", 1, "2024");
  EXPECT_THAT(registry.yang_attributes(),
              ElementsAre(YangAttribute{0, "m", "m"}, YangAttribute{1, "m", "2024"},
                          YangAttribute{1, "n", "2022"}));
}

TEST(RegistryTest, VersionChangesWithTheContentAndNeverGoesBack) {
  Registry registry;
  const auto start = registry.version();
  registry.Add("a", 0);
  const auto added = registry.version();
  EXPECT_GT(added, start);
  EXPECT_FALSE(registry.Remove("b"));
  EXPECT_EQ(registry.version(), added);
  registry.Clear();
  EXPECT_GT(registry.version(), added);
  EXPECT_EQ(registry.path_count(), 0U);
  EXPECT_TRUE(registry.Paths().empty());
}

TEST(RegistryTest, MemoryFollowsTheContent) {
  Registry registry;
  EXPECT_EQ(registry.memory(), 0U);
  registry.Add("a.b", 0);
  const std::size_t one = registry.memory();
  EXPECT_GT(one, sizeof(RegisteredPath));
  registry.Add("a.b", 1);
  EXPECT_EQ(registry.memory(), one);
  registry.SetYangAttribute("m", 0, std::string(1000, 'x'));
  EXPECT_GT(registry.memory(), one + 1000);
  registry.SetYangAttribute("m", 0, "");
  registry.Remove("a.b");
  registry.Clear();
  EXPECT_EQ(registry.memory(), 0U);
}

TEST(RegistryTest, ARemovedPathMakesRoom) {
  Registry registry;
  for (int i = 0; i < 1000; ++i) {
    registry.Add("a." + std::to_string(i), 0);
    EXPECT_TRUE(registry.Remove("a." + std::to_string(i)));
  }
  EXPECT_EQ(registry.memory(), 0U);
}

TEST(RegistryTest, AttributesOfManyModulesAreToldApartByModuleAndType) {
  Registry registry;
  for (int i = 0; i < 50000; ++i) {  // a second of work if each were looked for among all
    registry.SetYangAttribute("m" + std::to_string(i), 0, "x");
    registry.SetYangAttribute("m" + std::to_string(i), 1, "y");
  }
  registry.SetYangAttribute("m7", 1, "z");
  ASSERT_EQ(registry.yang_attributes().size(), 100000U);
  EXPECT_EQ(registry.yang_attributes()[15], (YangAttribute{1, "m7", "z"}));
}

TEST(RegistryTest, AMovedRegistryFindsItsPaths) {
  Registry registry;
  registry.Add("a", 1);  // short enough to stand in its string's own bytes
  Registry moved = std::move(registry);
  EXPECT_EQ(moved.Find("a")->attributes, 1);
  EXPECT_TRUE(moved.Remove("a"));
}

}  // namespace
}  // namespace ncdm::server
