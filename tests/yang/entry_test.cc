// Entries of lists and leaf-lists, in memory.
#include "tests/yang/model_fixture.h"

namespace ncdm::model {
namespace {

constexpr char kId[] = "lists.by-number.{i}.id";
constexpr char kTag[] = "lists.by-number.{i}.inner.{i}.tag";

TEST_F(ModelTest, ANumberAboveZeroIsTheEntrysId) {
  EXPECT_EQ(Create(kId, {}, "42"), 42);
  EXPECT_EQ(Get(kId, {42}), "42");
  EXPECT_LT(Create(kId, {}, "0"), 0);
}

TEST_F(ModelTest, OtherEntriesAreNumberedWithinTheirList) {
  ASSERT_EQ(Create(kId, {}, "1"), 1);
  ASSERT_EQ(Create(kId, {}, "2"), 2);
  EXPECT_EQ(Create(kInnerKey, {1}, "a"), 1);
  EXPECT_EQ(Create(kInnerKey, {1}, "b"), 2);
  EXPECT_EQ(Create(kInnerKey, {2}, "a"), 1);
  EXPECT_EQ(Get(kInnerKey, {1, 2}), "b");
}

TEST_F(ModelTest, ACreateOfWhatExistsSaysSo) {
  ASSERT_EQ(Create(kId, {}, "5"), 5);
  const ncdm_path_t& row = PathOf(kId);
  nc_dm_id_array_t ids = IdArray({});
  uint32_t key = 5;
  EXPECT_EQ(row.create(&ids, reinterpret_cast<char*>(&key)), 5);
  EXPECT_EQ(ids.output.inst_exist, 1);
  key = 6;
  EXPECT_EQ(row.create(&ids, reinterpret_cast<char*>(&key)), 6);
  EXPECT_EQ(ids.output.inst_exist, 0);
}

TEST_F(ModelTest, AnEntryGoesByItsKeyOrItsIdWithAllBelow) {
  ASSERT_EQ(Create(kId, {}, "1"), 1);
  ASSERT_EQ(Create(kInnerKey, {1}, "a"), 1);
  ASSERT_EQ(Create(kTag, {1, 1}, "t"), 1);
  ASSERT_EQ(Set("lists.by-number.{i}.more.speed", {1}, "77"), 0);
  EXPECT_EQ(Remove(kId, {}, "1"), 1);
  EXPECT_EQ(Remove(kId, {}, "1"), NCDM_NO_SUCH_ENTRY);
  ASSERT_EQ(Create(kId, {}, "1"), 1);
  EXPECT_EQ(Get(kInnerKey, {1, 1}), "absent");
  EXPECT_EQ(Get(kTag, {1, 1, 1}), "absent");
  EXPECT_EQ(Get("lists.by-number.{i}.more.speed", {1}), "10");
  EXPECT_EQ(Remove(kId, {1}), 1);
  EXPECT_EQ(Get(kId, {1}), "absent");
}

TEST_F(ModelTest, LeafListElementsGoByValueOrId) {
  EXPECT_EQ(Create("values.number", {}, "7"), 1);
  EXPECT_EQ(Create("values.number", {}, "9"), 2);
  EXPECT_EQ(Create("values.number", {}, "7"), 1);
  EXPECT_LT(Create("values.number", {}, "256"), 0);
  EXPECT_EQ(Get("values.number", {2}), "9");
  EXPECT_EQ(Remove("values.number", {}, "7"), 1);
  EXPECT_EQ(Remove("values.number", {}, "7"), NCDM_NO_SUCH_ENTRY);
  EXPECT_EQ(Remove("values.number", {2}), 2);
  EXPECT_EQ(Get("values.number", {2}), "absent");
}

TEST_F(ModelTest, ARequestWithTooFewIdsIsRefused) {
  EXPECT_LT(Create(kInnerKey, {}, "a"), 0);
  EXPECT_LT(Set("lists.by-number.{i}.name", {}, "n"), 0);
  EXPECT_EQ(Get("lists.by-number.{i}.name", {}), "failed");
}

TEST_F(ModelTest, NothingIsMadeInAnEntryThatIsNotThere) {
  EXPECT_LT(Create(kInnerKey, {9}, "a"), 0);
  EXPECT_EQ(Get(kInnerKey, {9, 1}), "absent");
  EXPECT_EQ(Set("lists.by-number.{i}.more.speed", {9}, "5"), NCDM_NO_SUCH_ENTRY);
  ASSERT_EQ(Create(kId, {}, "9"), 9);
  EXPECT_EQ(Get("lists.by-number.{i}.more.speed", {9}), "10");
}

TEST_F(ModelTest, AKeyThatItsTypeRefusesNamesNoEntry) {
  EXPECT_EQ(Remove(kId, {}, "0"), NCDM_NO_SUCH_ENTRY);
  Block block(NC_DM_CMD_OP_DELETE, {});
  block.With("lists.by-two.{i}.left", "1").With("lists.by-two.{i}.right", "no-color");
  EXPECT_EQ(block.Execute("lists.by-two.{i}.left"), NCDM_NO_SUCH_ENTRY);
}

TEST_F(ModelTest, ALeafMayAskNotToBeDeleted) {
  EXPECT_EQ(PathOf("values.lasting").remove, nullptr);
  EXPECT_NE(PathOf("values.lasting").set, nullptr);
}

TEST_F(ModelTest, AKeyIsNotSet) {
  ASSERT_EQ(Create(kId, {}, "1"), 1);
  EXPECT_EQ(PathOf(kId).set, nullptr);
}

// ---- Entries applied as a whole ----

constexpr char kLeft[] = "lists.by-two.{i}.left";
constexpr char kRight[] = "lists.by-two.{i}.right";
constexpr char kSpeed[] = "lists.by-two.{i}.speed";
constexpr char kNote[] = "lists.by-two.{i}.note";
constexpr char kWide[] = "1099511627776";  // beyond 32 bits

Block Keys(int operation, const std::string& left, const std::string& right) {
  Block block(operation, {});
  block.With(kLeft, left).With(kRight, right);
  return block;
}

int64_t CreateTwo(const std::string& left, const std::string& right) {
  return Keys(NC_DM_CMD_OP_CREATE, left, right).With(kSpeed, "5").Execute(kLeft);
}

TEST_F(ModelTest, SeveralKeysTellEntriesApart) {
  EXPECT_EQ(CreateTwo(kWide, "every-type:red"), 1);
  EXPECT_EQ(CreateTwo("0", "every-type:red"), 2);
  EXPECT_EQ(CreateTwo(kWide, "every-type:dark-red"), 3);
  EXPECT_EQ(Get(kLeft, {1}), kWide);
  EXPECT_EQ(Get(kRight, {3}), "every-type:dark-red");
  EXPECT_EQ(Keys(NC_DM_CMD_OP_LOOKUP, kWide, "dark-red").Find(kLeft), 3);
  EXPECT_EQ(Keys(NC_DM_CMD_OP_LOOKUP, "1", "red").Find(kLeft), 0);
}

TEST_F(ModelTest, AnEntryWithoutItsMandatoryLeafIsRefused) {
  EXPECT_LT(Keys(NC_DM_CMD_OP_CREATE, "1", "red").Execute(kLeft), 0);
  EXPECT_EQ(Get(kLeft, {1}), "absent");
  ASSERT_EQ(CreateTwo("1", "red"), 1);
  EXPECT_LT(Remove(kSpeed, {1}), 0);
}

TEST_F(ModelTest, ARefusedSlotChangesNothing) {
  EXPECT_EQ(Keys(NC_DM_CMD_OP_CREATE, "1", "no-color").With(kSpeed, "5").Execute(kLeft), -1);
  ASSERT_EQ(CreateTwo("1", "red"), 1);
  Block merge = Keys(NC_DM_CMD_OP_MERGE, "1", "red");
  EXPECT_LT(merge.With(kSpeed, "6").With(kNote, "\x02").Execute(kLeft), 0);
  EXPECT_EQ(Get(kSpeed, {1}), "5");
}

TEST_F(ModelTest, AMergeChangesACreateOfWhatExistsDoesNot) {
  ASSERT_EQ(CreateTwo("1", "red"), 1);
  Block create = Keys(NC_DM_CMD_OP_CREATE, "1", "red");
  EXPECT_EQ(create.With(kSpeed, "9").Execute(kLeft), 1);
  EXPECT_TRUE(create.existed());
  EXPECT_EQ(Get(kSpeed, {1}), "5");
  Block merge = Keys(NC_DM_CMD_OP_MERGE, "1", "red");
  EXPECT_EQ(merge.With(kSpeed, "18446744073709551615").Execute(kLeft), 1);
  EXPECT_TRUE(merge.existed());
  EXPECT_EQ(Get(kSpeed, {1}), "18446744073709551615");
}

TEST_F(ModelTest, AnEditNamesTheEntryByItsId) {
  ASSERT_EQ(CreateTwo("1", "red"), 1);
  EXPECT_EQ(Block(NC_DM_CMD_OP_EDIT, {1}).With(kNote, "n").Execute(kLeft), 1);
  EXPECT_EQ(Get(kNote, {1}), "n");
  EXPECT_EQ(Block(NC_DM_CMD_OP_EDIT, {2}).With(kNote, "n").Execute(kLeft), NCDM_NO_SUCH_ENTRY);
}

TEST_F(ModelTest, ABlockDeletesByKeysByIdOrEditsBesideADeletedLeaf) {
  ASSERT_EQ(CreateTwo("1", "red"), 1);
  ASSERT_EQ(CreateTwo("2", "red"), 2);
  EXPECT_EQ(Block(NC_DM_CMD_OP_DELETE, {1}).With(kNote, "n").Execute(kLeft), 1);
  EXPECT_EQ(Get(kNote, {1}), "n");
  EXPECT_EQ(Keys(NC_DM_CMD_OP_DELETE, "1", "red").Execute(kLeft), 1);
  EXPECT_EQ(Keys(NC_DM_CMD_OP_DELETE, "1", "red").Execute(kLeft), NCDM_NO_SUCH_ENTRY);
  EXPECT_EQ(Block(NC_DM_CMD_OP_DELETE, {2}).Execute(kLeft), 2);
  EXPECT_EQ(Get(kLeft, {2}), "absent");
}

TEST_F(ModelTest, AListMayAskToBeAppliedAsAWhole) {
  const ncdm_path_t& name = PathOf("lists.whole.{i}.name");
  EXPECT_EQ(name.slot, 1);
  EXPECT_NE(name.exe_cmd, nullptr);
  EXPECT_EQ(name.create, nullptr);
}

// ---- The application's own calls ----

TEST_F(ModelTest, EntriesArePutFoundAndDropped) {
  every_type_state_event_t event;
  every_type_state_event_init(&event);
  const nc_int64 any[] = {0};
  EXPECT_EQ(every_type_state_event_put(any, &event), 1);
  EXPECT_EQ(every_type_state_event_put(any, &event), 2);  // without keys each is another one
  EXPECT_EQ(every_type_state_event_next(any), 1);

  every_type_lists_by_number_counter_t counter;
  every_type_lists_by_number_counter_init(&counter);
  ASSERT_EQ(Create(kId, {}, "3"), 3);
  every_type_lists_by_number_counter_set(&counter, "name", "in");
  counter.count = 9;
  counter.has.count = true;
  nc_int64 at[] = {3, 0};
  EXPECT_EQ(every_type_lists_by_number_counter_put(at, &counter), 1);
  EXPECT_EQ(Get("lists.by-number.{i}.counter.{i}.count", {3, 1}), "9");
  counter.count = 10;
  EXPECT_EQ(every_type_lists_by_number_counter_put(at, &counter), 1);
  EXPECT_EQ(Get("lists.by-number.{i}.counter.{i}.count", {3, 1}), "10");
  EXPECT_EQ(every_type_lists_by_number_counter_find(at, &counter), 1);
  at[1] = 2;
  EXPECT_EQ(every_type_lists_by_number_counter_put(at, &counter), -1);  // its keys are entry 1's
  at[1] = 1;
  EXPECT_EQ(every_type_lists_by_number_counter_drop(at), 0);
  EXPECT_EQ(every_type_lists_by_number_counter_drop(at), NCDM_NO_SUCH_ENTRY);
}

}  // namespace
}  // namespace ncdm::model
