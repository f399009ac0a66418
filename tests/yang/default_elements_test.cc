// Leaf-lists with defaults.
#include "tests/yang/model_fixture.h"

namespace ncdm::model {
namespace {

constexpr char kMark[] = "lists.by-number.{i}.inner.{i}.mark";

class DefaultElementsTest : public ModelTest {
 protected:
  DefaultElementsTest() {
    EXPECT_EQ(Create("lists.by-number.{i}.id", {}, "7"), 7);
    EXPECT_EQ(Create(kInnerKey, {7}, "k"), 1);
  }

  // All elements, in the order of their ids.
  static std::string Marks() {
    std::string marks;
    nc_int64 at[] = {7, 1, 0};
    while ((at[2] = every_type_lists_by_number_inner_mark_next(at)) != 0) {
      marks += Get(kMark, {7, 1, at[2]}) + " ";
    }
    return marks;
  }
};

TEST_F(DefaultElementsTest, ANewEntryHasThem) { EXPECT_EQ(Marks(), "1 2 "); }

TEST_F(DefaultElementsTest, TheFirstElementOfItsOwnEndsThem) {
  EXPECT_EQ(Create(kMark, {7, 1}, "9"), 3);  // ids are not used again while the agent knows them
  EXPECT_EQ(Marks(), "9 ");
  EXPECT_EQ(Create(kMark, {7, 1}, "8"), 4);
  EXPECT_EQ(Marks(), "9 8 ");
}

TEST_F(DefaultElementsTest, WhatIsThereByDefaultCanBeGiven) {
  const ncdm_path_t& row = PathOf(kMark);
  nc_dm_id_array_t ids = IdArray({7, 1});
  uint16_t value = 2;
  EXPECT_EQ(row.create(&ids, reinterpret_cast<char*>(&value)), 3);
  EXPECT_EQ(ids.output.inst_exist, 0);
  EXPECT_EQ(Marks(), "2 ");
}

TEST_F(DefaultElementsTest, TheyComeBackWithTheLastOneRemoved) {
  ASSERT_EQ(Create(kMark, {7, 1}, "9"), 3);
  ASSERT_EQ(Create(kMark, {7, 1}, "8"), 4);
  EXPECT_EQ(Remove(kMark, {7, 1}, "9"), 3);
  EXPECT_EQ(Marks(), "8 ");
  EXPECT_EQ(Remove(kMark, {7, 1}, "8"), 4);
  EXPECT_EQ(Marks(), "1 2 ");
}

TEST_F(DefaultElementsTest, TheirRemovalHasNoEffect) {
  EXPECT_EQ(Remove(kMark, {7, 1}, "1"), 1);
  EXPECT_EQ(Remove(kMark, {7, 1, 2}), 2);
  EXPECT_EQ(Marks(), "1 2 ");
}

TEST_F(DefaultElementsTest, TheyGoWithTheirEntry) {
  ASSERT_EQ(Remove("lists.by-number.{i}.id", {}, "7"), 7);
  EXPECT_EQ(Marks(), "");
}

TEST_F(DefaultElementsTest, TheApplicationsOwnTakeTheirPlace) {
  every_type_lists_by_number_inner_mark_t mark;
  every_type_lists_by_number_inner_mark_init(&mark);
  mark.value = 1;
  const nc_int64 at[] = {7, 1, 0};
  EXPECT_EQ(every_type_lists_by_number_inner_mark_put(at, &mark), 3);
  EXPECT_EQ(Marks(), "1 ");
}

TEST_F(DefaultElementsTest, WithoutAnEntryAroundThereAreNone) {
  EXPECT_LT(Create(kMark, {7, 2}, "9"), 0);
  EXPECT_EQ(Get(kMark, {7, 2, 1}), "absent");
}

}  // namespace
}  // namespace ncdm::model
