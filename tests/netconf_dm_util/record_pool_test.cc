// Records that lie together: their memory is theirs alone, comes cleared and goes back.

#include "netconf_dm_util/record_pool.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

struct Small {
  int64_t numbers[1];
  void* slab;
};

struct Large {
  int64_t numbers[6];
  void* slab;
};

template <typename Record>
class RecordPoolTest : public testing::Test {
 protected:
  static bool IsClear(const Record& record) {
    static const Record clear = {};
    return memcmp(&record.numbers, &clear.numbers, sizeof(record.numbers)) == 0;
  }

  nc::RecordPool<Record> pool;
};

using Types = testing::Types<Small, Large>;
TYPED_TEST_SUITE(RecordPoolTest, Types);

TYPED_TEST(RecordPoolTest, GivesEachRecordMemoryOfItsOwnCleared) {
  constexpr int kCount = 10'000;
  std::vector<TypeParam*> records;
  for (int i = 0; i < kCount; ++i) {
    TypeParam* record = this->pool.Make();
    ASSERT_NE(record, nullptr);
    ASSERT_TRUE(this->IsClear(*record));
    ASSERT_EQ(reinterpret_cast<uintptr_t>(record) % alignof(TypeParam), 0u);
    memset(&record->numbers, i, sizeof(record->numbers));
    records.push_back(record);
  }
  for (int i = 0; i < kCount; ++i) {
    const auto& numbers = records[static_cast<size_t>(i)]->numbers;
    const auto* bytes = reinterpret_cast<const unsigned char*>(numbers);
    for (size_t at = 0; at < sizeof(numbers); ++at) {
      ASSERT_EQ(bytes[at], static_cast<unsigned char>(i)) << i;
    }
  }
  for (TypeParam* record : records) this->pool.Release(record);
}

TYPED_TEST(RecordPoolTest, UsesWhatCameBackInAnyOrder) {
  std::mt19937 random(7);
  std::vector<TypeParam*> records;
  for (int round = 0; round < 20; ++round) {
    for (int i = 0; i < 3000; ++i) {
      TypeParam* record = this->pool.Make();
      ASSERT_NE(record, nullptr);
      ASSERT_TRUE(this->IsClear(*record));
      memset(&record->numbers, 0xff, sizeof(record->numbers));
      records.push_back(record);
    }
    ASSERT_EQ(std::set<TypeParam*>(records.begin(), records.end()).size(), records.size());
    std::shuffle(records.begin(), records.end(), random);
    for (int i = 0; i < 2500; ++i) {
      this->pool.Release(records.back());
      records.pop_back();
    }
  }
  for (TypeParam* record : records) this->pool.Release(record);
}

TYPED_TEST(RecordPoolTest, TakesRecordsFromMallocBack) {
  this->pool.Release(static_cast<TypeParam*>(calloc(1, sizeof(TypeParam))));
  TypeParam* record = this->pool.Make();
  this->pool.Release(static_cast<TypeParam*>(calloc(1, sizeof(TypeParam))));
  this->pool.Release(record);
  this->pool.Release(nullptr);
}

TYPED_TEST(RecordPoolTest, KeepsNoMemoryWithoutRecords) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  std::vector<TypeParam*> records(5000);
  const FailingAlloc counting(1'000'000);
  for (TypeParam*& record : records) record = this->pool.Make();
  EXPECT_GT(FailingAlloc::Outstanding(), 0);
  for (TypeParam* record : records) this->pool.Release(record);
  EXPECT_EQ(FailingAlloc::Outstanding(), 0);
}

TYPED_TEST(RecordPoolTest, GivesNothingWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  TypeParam* record = nullptr;
  {
    const FailingAlloc failing(0);
    record = this->pool.Make();
  }
  EXPECT_EQ(record, nullptr);
  record = this->pool.Make();
  ASSERT_NE(record, nullptr);
  this->pool.Release(record);
}

}  // namespace
}  // namespace ncdm_test
