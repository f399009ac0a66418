#include "server/entry_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "server/trace.h"
#include "tests/server/model_schema.h"

namespace ncdm::server {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using Result = EntryLookup::Result;

class EntryKeysTest : public testing::Test {
 protected:
  static std::string Asked(const std::optional<Request>& request) {
    return request ? RenderFrame(Direction::kToAgent, request->frames.front()) : "nothing";
  }

  Schema schema_ = ncdm_test::MakeSchema(ncdm_test::ModelPaths());
  const SchemaNode* route_ = ncdm_test::FindNode(schema_, {"routes", "route"});
  const SchemaNode* address_ = ncdm_test::FindNode(schema_, {"interfaces", "interface", "address"});
};

TEST_F(EntryKeysTest, EachKeyIsAskedForAndTheEntryHasThemAll) {
  EntryLookup lookup(*route_, {{"vrf", "red"}, {"dest", "10.0.0.0/8"}}, {});
  EXPECT_THAT(Asked(lookup.Next()), EndsWith("\"routes.route.vrf\"=\"red\""));
  lookup.Take({{4}, {9}, {2}});
  EXPECT_THAT(Asked(lookup.Next()), EndsWith("\"routes.route.dest\"=\"10.0.0.0/8\""));
  lookup.Take({{9}, {7}});
  EXPECT_EQ(Asked(lookup.Next()), "nothing");
  ASSERT_EQ(lookup.result(), Result::kFound);
  EXPECT_EQ(lookup.id(), 9);
}

TEST_F(EntryKeysTest, NothingMoreIsAskedOnceNoEntryIsLeft) {
  EntryLookup lookup(*route_, {{"vrf", "red"}, {"dest", "x"}}, {});
  lookup.Take({});
  EXPECT_EQ(Asked(lookup.Next()), "nothing");
  EXPECT_EQ(lookup.result(), Result::kMissing);
}

TEST_F(EntryKeysTest, SeveralEntriesAreToldApartFromOneThatIsAnsweredTwice) {
  EntryLookup several(*route_, {{"vrf", "red"}}, {});
  several.Take({{4}, {9}});
  EXPECT_EQ(several.result(), Result::kSeveral);
  EntryLookup twice(*route_, {{"vrf", "red"}}, {});
  twice.Take({{4}, {4}});
  EXPECT_EQ(twice.result(), Result::kFound);
}

TEST_F(EntryKeysTest, TheIdsOfTheListsAroundGoWithTheLookup) {
  EntryLookup lookup(*address_, {{"ip", "10.0.0.1"}}, {3});
  EXPECT_THAT(Asked(lookup.Next()),
              EndsWith("\"interfaces.interface.address.ip\"=\"10.0.0.1\" [3]"));
  lookup.Take({{3, 5}});
  EXPECT_EQ(lookup.id(), 5);
}

TEST_F(EntryKeysTest, AnswersOfAnotherDepthAreNoEntries) {
  EntryLookup lookup(*address_, {{"ip", "10.0.0.1"}}, {3});
  lookup.Take({{3}, {}, {3, 5, 6}});
  EXPECT_EQ(lookup.result(), Result::kMissing);
}

TEST_F(EntryKeysTest, KeysAreReadInOneRequestAndTakenByTheirPaths) {
  EXPECT_THAT(Asked(ReadKeys(*route_, {4})),
              EndsWith("entries=2: \"routes.route.vrf\" [4], \"routes.route.dest\" [4]"));
  const std::vector<Value> values = {{"routes.route.5.vrf", "blue"},
                                     {"routes.route.4.dest", "10.0.0.0/8"},
                                     {"routes.route.4.vrf", "red"}};
  EXPECT_THAT(*KeysFrom(*route_, {4}, values),
              ElementsAre(KeyValue{"vrf", "red"}, KeyValue{"dest", "10.0.0.0/8"}));
  EXPECT_FALSE(KeysFrom(*route_, {5}, values));
}

}  // namespace
}  // namespace ncdm::server
