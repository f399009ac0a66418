// The hash table with open addressing: what it holds is what a map of the standard library holds,
// wherever the hashes fall and in whatever order keys come and go.

#include "netconf_dm_util/probe_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "netconf_dm_util/text_hash.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

// A number with a count. Its hash is cut to `kHashes` values, so that keys meet.
struct CountSlot {
  uint32_t key;
  uint32_t count;  // 0: the slot is free
};

template <uint32_t kHashes>
struct CountRules {
  using Key = uint32_t;
  // Ends of the range are homes too, so that runs of slots go round the end of the array.
  static uint32_t Hash(Key key) { return UINT32_MAX - key % kHashes; }
  static uint32_t HashOf(const CountSlot& slot) { return Hash(slot.key); }
  static bool IsFree(const CountSlot& slot) { return slot.count == 0; }
  static bool Holds(const CountSlot& slot, Key key) { return slot.key == key; }
};

template <typename Rules>
class ProbeTableTest : public testing::Test {
 protected:
  // Counts a key once more. False when memory was short.
  bool Count(uint32_t key) {
    CountSlot* slot = table_.Ensure(key);
    if (slot == nullptr) return false;
    slot->key = key;
    ++slot->count;
    ++model_[key];
    return true;
  }

  void Erase(uint32_t key) {
    CountSlot* slot = table_.Find(key);
    ASSERT_EQ(slot != nullptr, model_.erase(key) == 1) << key;
    if (slot != nullptr) table_.Erase(slot);
  }

  // The table has what the model has, and no more.
  void ExpectLikeModel() {
    ASSERT_EQ(table_.size(), model_.size());
    for (const auto& [key, count] : model_) {
      const CountSlot* slot = table_.Find(key);
      ASSERT_NE(slot, nullptr) << key;
      ASSERT_EQ(slot->key, key);
      ASSERT_EQ(slot->count, count) << key;
    }
    size_t taken = 0;
    for (const CountSlot& slot : table_.Slots()) taken += slot.count > 0 ? 1 : 0;
    ASSERT_EQ(taken, model_.size());
    ASSERT_LE(taken * 2, table_.Slots().size());
  }

  nc::ProbeTable<CountSlot, Rules> table_;
  std::map<uint32_t, uint32_t> model_;
};

using HashRanges =
    testing::Types<CountRules<1>, CountRules<5>, CountRules<64>, CountRules<1U << 31>>;
TYPED_TEST_SUITE(ProbeTableTest, HashRanges);

TYPED_TEST(ProbeTableTest, HoldsNothingAtFirstAndTakesNoMemory) {
  EXPECT_EQ(this->table_.Find(0), nullptr);
  EXPECT_EQ(this->table_.size(), 0U);
  EXPECT_TRUE(this->table_.Slots().empty());
}

TYPED_TEST(ProbeTableTest, GivesTheSameSlotForAKeyThatIsThere) {
  for (int round = 0; round < 3; ++round) {
    for (uint32_t key = 0; key < 100; ++key) ASSERT_TRUE(this->Count(key));
    this->ExpectLikeModel();
  }
  EXPECT_EQ(this->table_.Find(100), nullptr);
}

TYPED_TEST(ProbeTableTest, GivesAKeyThatCameBackASlotOfZeroBytes) {
  for (uint32_t key = 0; key < 10; ++key) ASSERT_TRUE(this->Count(key));
  for (uint32_t key = 0; key < 10; key += 2) this->Erase(key);
  for (uint32_t key = 0; key < 10; key += 2) {
    CountSlot* slot = this->table_.Ensure(key);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(slot->key, 0U);
    EXPECT_EQ(slot->count, 0U);
    *slot = {key, 1};
    this->model_[key] = 1;
  }
  this->ExpectLikeModel();
}

TYPED_TEST(ProbeTableTest, HoldsWhatAMapHoldsWhileKeysComeAndGo) {
  std::mt19937 random(11);
  for (int step = 0; step < 4000; ++step) {
    const uint32_t key = static_cast<uint32_t>(random() % 97);
    // It fills at first and empties in the end.
    if (static_cast<int>(random() % 4000) > step) {
      ASSERT_TRUE(this->Count(key));
    } else {
      this->Erase(key);
    }
    if (step % 16 == 0) this->ExpectLikeModel();
    if (this->HasFatalFailure()) return;
  }
  this->ExpectLikeModel();
}

TYPED_TEST(ProbeTableTest, StaysAsLargeAsItsKeysNeedWhenTheyChange) {
  for (uint32_t key = 0; key < 16; ++key) ASSERT_TRUE(this->Count(key));
  const size_t capacity = this->table_.Slots().size();
  for (uint32_t key = 16; key < 5000; ++key) {
    this->Erase(key - 16);
    ASSERT_TRUE(this->Count(key));
  }
  EXPECT_EQ(this->table_.Slots().size(), capacity);
  this->ExpectLikeModel();
}

TYPED_TEST(ProbeTableTest, StaysAsItWasWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  {
    const FailingAlloc failing(0);
    EXPECT_FALSE(this->Count(1));
  }
  this->ExpectLikeModel();
  uint32_t key = 0;
  while (this->table_.Slots().size() != 2 * (this->table_.size()) || key == 0) {
    ASSERT_TRUE(this->Count(key++));
  }
  {
    const FailingAlloc failing(0);
    EXPECT_FALSE(this->Count(key));
    EXPECT_EQ(this->table_.Find(key), nullptr);
  }
  this->ExpectLikeModel();
  EXPECT_TRUE(this->Count(key));
  this->ExpectLikeModel();
}

TYPED_TEST(ProbeTableTest, NeedsNoMemoryForKeysThatItWasToldOf) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  ASSERT_TRUE(this->Count(1000));
  ASSERT_TRUE(this->table_.Reserve(200));
  const CountSlot* slots = this->table_.Slots().data();
  for (uint32_t key = 0; key < 199; ++key) ASSERT_TRUE(this->Count(key));
  EXPECT_EQ(this->table_.Slots().data(), slots);
  EXPECT_TRUE(this->table_.Reserve(10)) << "there is more room already";
  EXPECT_EQ(this->table_.Slots().data(), slots);
  this->ExpectLikeModel();
  const FailingAlloc failing(0);
  EXPECT_FALSE(this->table_.Reserve(1000));
}

TEST(ProbeTableBoundTest, RefusesMoreKeysThanThereCanBeMemory) {
  nc::ProbeTable<CountSlot, CountRules<5>> table;
  EXPECT_FALSE(table.Reserve(SIZE_MAX));
  EXPECT_FALSE(table.Reserve(SIZE_MAX / sizeof(CountSlot)));
  EXPECT_EQ(table.Find(1), nullptr);
}

TEST(TextHashTest, IsFnv1aOfTheBytes) {
  EXPECT_EQ(nc::HashOfText(""), 0x811c9dc5U);
  EXPECT_EQ(nc::HashOfText("a"), 0xe40c292cU);
  EXPECT_EQ(nc::HashOfText("foobar"), 0xbf9cf968U);
  EXPECT_NE(nc::HashOfText("\xc3\xa4"), nc::HashOfText("\x43\x24")) << "bytes have no sign";
}

}  // namespace
}  // namespace ncdm_test
