// The application's operations: when they are called, with what, and what their answers do.
#include <optional>

#include "tests/yang/model_fixture.h"

namespace ncdm::model {
namespace {

struct Applied {
  int count = 0;
  std::vector<int64_t> ids;
  std::optional<every_type_lists_by_number_t> before;
  every_type_lists_by_number_t record{};
};
Applied g_applied;
int64_t g_answer = 0;

nc_int64 Apply(const nc_dm_id_array_t* ids, const every_type_lists_by_number_t* before,
               every_type_lists_by_number_t* record) {
  ++g_applied.count;
  g_applied.ids.assign(ids->id, ids->id + ids->cnt);
  g_applied.before.reset();
  if (before != nullptr) g_applied.before = *before;
  g_applied.record = *record;
  return g_answer;
}

class ApplyTest : public ModelTest {
 protected:
  ApplyTest() {
    g_applied = {};
    g_answer = 0;
    every_type_lists_by_number_operations.apply = Apply;
  }
};

TEST_F(ApplyTest, ANewEntryComesWithoutItsId) {
  EXPECT_EQ(Create("lists.by-number.{i}.id", {}, "8"), 8);
  EXPECT_EQ(g_applied.count, 1);
  EXPECT_TRUE(g_applied.ids.empty());
  EXPECT_FALSE(g_applied.before.has_value());
  EXPECT_EQ(g_applied.record.id, 8U);
}

TEST_F(ApplyTest, AChangedEntryComesAsItWasAndAsItIsToBe) {
  ASSERT_EQ(Create("lists.by-number.{i}.id", {}, "8"), 8);
  EXPECT_EQ(Set("lists.by-number.{i}.name", {8}, "n"), 0);
  EXPECT_EQ(g_applied.ids, std::vector<int64_t>{8});
  ASSERT_TRUE(g_applied.before.has_value());
  EXPECT_FALSE(g_applied.before->has.name);
  EXPECT_TRUE(g_applied.record.has.name);
  EXPECT_STREQ(g_applied.record.name, "n");
}

TEST_F(ApplyTest, WhatStaysAsItWasIsNotApplied) {
  ASSERT_EQ(Create("lists.by-number.{i}.id", {}, "8"), 8);
  ASSERT_EQ(Set("lists.by-number.{i}.name", {8}, "n"), 0);
  EXPECT_EQ(Set("lists.by-number.{i}.name", {8}, "n"), 0);
  EXPECT_EQ(g_applied.count, 2);
}

TEST_F(ApplyTest, ARefusedEntryIsNotThere) {
  g_answer = -1;
  EXPECT_LT(Create("lists.by-number.{i}.id", {}, "8"), 0);
  EXPECT_EQ(Get("lists.by-number.{i}.id", {8}), "absent");
}

TEST_F(ApplyTest, ARefusedChangeChangesNothing) {
  ASSERT_EQ(Create("lists.by-number.{i}.id", {}, "8"), 8);
  g_answer = -1;
  EXPECT_LT(Set("lists.by-number.{i}.name", {8}, "n"), 0);
  EXPECT_EQ(Get("lists.by-number.{i}.name", {8}), "absent");
}

TEST_F(ApplyTest, TheApplicationMayChooseTheId) {
  g_answer = 1000;
  EXPECT_EQ(Create("lists.by-number.{i}.id", {}, "8"), 1000);
  EXPECT_EQ(Get("lists.by-number.{i}.id", {1000}), "8");
}

TEST_F(ApplyTest, AValueThatTheModelRefusesNeverArrives) {
  EXPECT_LT(Create("lists.by-number.{i}.id", {}, "0"), 0);
  EXPECT_EQ(g_applied.count, 0);
}

TEST_F(ModelTest, WhatApplyWritesIsKept) {
  every_type_values_operations.apply = [](const nc_dm_id_array_t*, const every_type_values_t*,
                                          every_type_values_t* record) -> nc_int64 {
    record->has.class_ = true;
    snprintf(record->class_, sizeof record->class_, "filled in");
    return 0;
  };
  ASSERT_EQ(Set("values.uint16", {}, "1"), 0);
  EXPECT_EQ(Get("values.class", {}), "filled in");
}

TEST_F(ModelTest, ARefusedRemovalKeepsTheEntry) {
  ASSERT_EQ(Create("lists.by-number.{i}.id", {}, "8"), 8);
  every_type_lists_by_number_operations.remove = [](const nc_dm_id_array_t* ids,
                                                    const every_type_lists_by_number_t* record) {
    EXPECT_EQ(ids->id[0], 8);
    EXPECT_EQ(record->id, 8U);
    return -1;
  };
  EXPECT_LT(Remove("lists.by-number.{i}.id", {}, "8"), 0);
  EXPECT_EQ(Get("lists.by-number.{i}.id", {8}), "8");
}

TEST_F(ModelTest, LoadAnswersForTheApplicationsOwnData) {
  every_type_lists_by_number_operations.load = [](const nc_dm_id_array_t* ids,
                                                  every_type_lists_by_number_t* record) {
    if (ids->id[0] != 5) return NCDM_NO_SUCH_ENTRY;
    record->id = 5;
    return 0;
  };
  every_type_lists_by_number_operations.find = [](const nc_dm_id_array_t*,
                                                  const every_type_lists_by_number_t* record) {
    return nc_int64{record->id == 5 ? 5 : 0};
  };
  EXPECT_EQ(Get("lists.by-number.{i}.id", {5}), "5");
  EXPECT_EQ(Get("lists.by-number.{i}.name", {5}), "absent");
  EXPECT_EQ(Get("lists.by-number.{i}.id", {6}), "absent");
  EXPECT_EQ(Create("lists.by-number.{i}.id", {}, "5"), 5);
  EXPECT_EQ(Remove("lists.by-number.{i}.id", {}, "6"), NCDM_NO_SUCH_ENTRY);
}

TEST_F(ModelTest, AMemberThatItsTypeRefusesIsNotRead) {
  every_type_state_operations.load = [](const nc_dm_id_array_t*, every_type_state_t* record) {
    record->uptime = 7;
    record->has.uptime = true;
    return 0;
  };
  EXPECT_EQ(Get("state.uptime", {}), "7");
  every_type_values_operations.load = [](const nc_dm_id_array_t*, every_type_values_t* record) {
    memset(record->text, 'x', sizeof record->text);  // without an end
    record->has.text = true;
    record->enumeration = static_cast<every_type_values_enumeration_t>(3);
    return 0;
  };
  EXPECT_EQ(Get("values.text", {}), "failed");
  EXPECT_EQ(Get("values.enumeration", {}), "failed");
}

}  // namespace
}  // namespace ncdm::model
