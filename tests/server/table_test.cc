#include "server/console/table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
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

  EntryTable Make(const SchemaNode& list, std::vector<server::Value> values) {
    data_.emplace(*schema_);
    data_->Add(std::move(values));
    return MakeEntryTable(list, *data_);
  }

  static std::vector<std::string> ColumnNames(const EntryTable& table) {
    std::vector<std::string> names;
    for (const EntryColumn& column : table.columns) {
      names.push_back(column.name);
    }
    return names;
  }

  // "COLUMN=VALUE"
  static std::vector<std::string> Cells(const EntryTable& table, std::size_t row) {
    std::vector<std::string> cells;
    for (const auto& [place, value] : CellsOf(table, table.rows[row])) {
      cells.push_back(table.columns[place].name + "=" + *value);
    }
    return cells;
  }

  std::unique_ptr<Schema> schema_;
  std::optional<server::DataTree> data_;
  const SchemaNode* list_ = nullptr;
};

TEST_F(EntryTableTest, ColumnsAreTheLeavesOfAnEntry) {
  EXPECT_THAT(ColumnNames(Make(*list_, {})),
              ElementsAre("name", "mtu", "description", "tags", "ipv4.mtu"));
}

TEST_F(EntryTableTest, RowsAreTheEntriesInOrderOfReading) {
  const EntryTable table = Make(*list_, {{"interfaces.interface.7.name", "eth7"},
                                         {"interfaces.interface.3.name", "eth3"},
                                         {"interfaces.interface.7.mtu", "9000"},
                                         {"interfaces.interface.7.tags.1", "a"},
                                         {"interfaces.interface.7.tags.2", "b"},
                                         {"interfaces.interface.3.ipv4.mtu", "1500"}});
  ASSERT_EQ(table.rows.size(), 2U);
  EXPECT_EQ(table.rows[0].ids, Ids{7});
  EXPECT_THAT(Cells(table, 0), ElementsAre("name=eth7", "mtu=9000", "tags=a", "tags=b"));
  EXPECT_EQ(table.rows[1].ids, Ids{3});
  EXPECT_THAT(Cells(table, 1), ElementsAre("name=eth3", "ipv4.mtu=1500"));
}

TEST_F(EntryTableTest, WhatIsNoEntrysLeafIsLeftOut) {
  const EntryTable table = Make(*list_, {{"interfaces.interface.name", "schema"},
                                         {"interfaces.interface.3.address.1.ip", "10.0.0.1"},
                                         {"system.hostname", "h"},
                                         {"interfaces.interface.3.unknown", "x"}});
  ASSERT_EQ(table.rows.size(), 1U);
  EXPECT_THAT(Cells(table, 0), testing::IsEmpty());
}

TEST_F(EntryTableTest, InnerListsHaveTheIdsOfBoth) {
  const EntryTable table =
      Make(*list_->Child("address"), {{"interfaces.interface.3.address.7.ip", "x"}});
  ASSERT_EQ(table.rows.size(), 1U);
  EXPECT_EQ(table.rows[0].ids, (Ids{3, 7}));
  EXPECT_THAT(ColumnNames(table), ElementsAre("ip", "prefix"));
}

TEST(OutputTest, TablesAreAligned) {
  const std::vector<std::vector<std::string>> rows{
      {"3", "\xc3\xa4\xc3\xb6", "1500"}, {"10", "longer", ""}, {"11", "a\nb", "x"}};
  std::ostringstream stream;
  Output(stream, false).Print(Table{{"id", "name", "mtu"}, rows.size(), [&](std::size_t row) {
                                      return rows[row];
                                    }});
  EXPECT_EQ(stream.str(),
            "id  name    mtu\n"
            "3   \xc3\xa4\xc3\xb6      1500\n"
            "10  longer  -\n"
            "11  a\\nb    x\n");
}

TEST(OutputTest, ALineIsOneLine) {
  std::ostringstream stream;
  Output(stream, false).Line("a\nb\x1b[2J");
  EXPECT_EQ(stream.str(), "a\\nb\\x1b[2J\n");
}

TEST(OutputTest, JsonIsOneLineAndAlwaysUtf8) {
  std::ostringstream stream;
  Output(stream, true).Print(Json{{"z", "a\nb"}, {"a", "\xff"}});
  EXPECT_EQ(stream.str(), "{\"z\":\"a\\nb\",\"a\":\"\xef\xbf\xbd\"}\n");
}

}  // namespace
}  // namespace ncdm::console
