#include "server/console/table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "server/console/output.h"
#include "tests/server/fake_agent.h"

namespace ncdm::console {
namespace {

using server::Ids;
using server::Schema;
using server::SchemaNode;
using testing::ElementsAre;

class EntryTableTest : public testing::Test {
 protected:
  EntryTableTest() {
    std::vector<server::RegisteredPath> paths;
    for (const auto& [path, attributes] : ncdm_test::ModelPaths()) {
      paths.push_back({path, attributes});
    }
    schema_ = std::make_unique<Schema>(paths);
    list_ = schema_->root().Child("interfaces")->Child("interface");
  }

  std::unique_ptr<Schema> schema_;
  const SchemaNode* list_ = nullptr;
};

TEST_F(EntryTableTest, ColumnsAreTheLeavesOfAnEntry) {
  EXPECT_THAT(MakeEntryTable(*list_, {}).columns,
              ElementsAre(EntryColumn{"name", false}, EntryColumn{"mtu", false},
                          EntryColumn{"description", false}, EntryColumn{"tags", true},
                          EntryColumn{"ipv4.mtu", false}));
}

TEST_F(EntryTableTest, RowsAreTheEntriesInOrderOfReading) {
  const EntryTable table = MakeEntryTable(*list_, {{"interfaces.interface.7.name", "eth7"},
                                                   {"interfaces.interface.3.name", "eth3"},
                                                   {"interfaces.interface.7.mtu", "9000"},
                                                   {"interfaces.interface.7.tags.1", "a"},
                                                   {"interfaces.interface.7.tags.2", "b"},
                                                   {"interfaces.interface.3.ipv4.mtu", "1500"}});
  ASSERT_EQ(table.rows.size(), 2U);
  EXPECT_EQ(table.rows[0].ids, Ids{7});
  EXPECT_THAT(table.rows[0].values.at("tags"), ElementsAre("a", "b"));
  EXPECT_THAT(table.rows[0].values.at("mtu"), ElementsAre("9000"));
  EXPECT_EQ(table.rows[1].ids, Ids{3});
  EXPECT_THAT(table.rows[1].values.at("ipv4.mtu"), ElementsAre("1500"));
  EXPECT_FALSE(table.rows[1].values.contains("mtu"));
}

TEST_F(EntryTableTest, WhatIsNoEntrysLeafIsLeftOut) {
  const EntryTable table =
      MakeEntryTable(*list_, {{"interfaces.interface.name", "schema"},
                              {"interfaces.interface.3.address.1.ip", "10.0.0.1"},
                              {"system.hostname", "h"},
                              {"interfaces.interface.3.unknown", "x"}});
  EXPECT_TRUE(table.rows.empty());
}

TEST_F(EntryTableTest, InnerListsHaveTheIdsOfBoth) {
  const EntryTable table =
      MakeEntryTable(*list_->Child("address"), {{"interfaces.interface.3.address.7.ip", "x"}});
  ASSERT_EQ(table.rows.size(), 1U);
  EXPECT_EQ(table.rows[0].ids, (Ids{3, 7}));
  EXPECT_THAT(table.columns, ElementsAre(EntryColumn{"ip", false}, EntryColumn{"prefix", false}));
}

TEST(OutputTest, TablesAreAligned) {
  std::ostringstream stream;
  Output(stream, false)
      .Print(
          Table{{"id", "name", "mtu"}, {{"3", "\xc3\xa4\xc3\xb6", "1500"}, {"10", "longer", ""}}});
  EXPECT_EQ(stream.str(),
            "id  name    mtu\n"
            "3   \xc3\xa4\xc3\xb6      1500\n"
            "10  longer  -\n");
}

TEST(OutputTest, JsonIsOneLineAndAlwaysUtf8) {
  std::ostringstream stream;
  Output(stream, true).Print(Json{{"z", "a\nb"}, {"a", "\xff"}});
  EXPECT_EQ(stream.str(), "{\"z\":\"a\\nb\",\"a\":\"\xef\xbf\xbd\"}\n");
}

}  // namespace
}  // namespace ncdm::console
