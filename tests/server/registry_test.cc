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

}  // namespace
}  // namespace ncdm::server
