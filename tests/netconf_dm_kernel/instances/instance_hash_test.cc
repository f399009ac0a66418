// Hash tables of instances.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "netconf_dm_kernel.h"
#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/log_lines.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kBits = 12;

nc_dm_agent_node_t Instance(nc_int64 instid) {
  nc_dm_agent_node_t node = {};
  node.instid = instid;
  return node;
}

TEST(Hash32Test, KeepsTheTopBitsOfTheProduct) {
  EXPECT_EQ(nc_dm_hash_32(0, 12), 0u);
  EXPECT_EQ(nc_dm_hash_32(1, 12), 0x9E3u);
  EXPECT_EQ(nc_dm_hash_32(1, 1), 1u);
  EXPECT_EQ(nc_dm_hash_32(1, 31), 0x9E370001u >> 1);
  EXPECT_EQ(nc_dm_hash_32(1, 32), 0x9E370001u);
  EXPECT_EQ(nc_dm_hash_32(2, 32), 0x3C6E0002u);
  EXPECT_EQ(nc_dm_hash_32(UINT32_MAX, 32), 0x61C8FFFFu);
}

TEST(Hash32Test, IsZeroForAShiftBeyondTheWord) {
  EXPECT_EQ(nc_dm_hash_32(1, 0), 0u);
  EXPECT_EQ(nc_dm_hash_32(1, 33), 0u);
  EXPECT_EQ(nc_dm_hash_32(UINT32_MAX, UINT32_MAX), 0u);
}

class InstanceHashTest : public testing::Test {
 protected:
  InstanceHashTest() { MakeBuckets(); }
  ~InstanceHashTest() override { nc_dm_agent_delete_mode_node_hash_tab_all_entries(&table_); }

  void MakeBuckets() {
    table_.size_bits_num = kBits;
    table_.table = static_cast<nc_dm_hash_tab_entry_t*>(
        calloc(size_t{1} << kBits, sizeof(nc_dm_hash_tab_entry_t)));
  }
  nc_dm_agent_node_t* Find(nc_int64 instid) {
    return nc_dm_agent_get_mode_node_inst_by_hash_tab(&table_, instid);
  }
  int Insert(nc_dm_agent_node_t* node) {
    return nc_dm_agent_insert_mode_node_inst_to_hash_tab(&table_, node);
  }
  void Delete(nc_int64 instid) { nc_dm_agent_delete_mode_node_inst_from_hash_tab(&table_, instid); }

  const DebugMask mask_;
  nc_dm_hash_tab_t table_ = {};
};

TEST_F(InstanceHashTest, FindsWhatWasInserted) {
  nc_dm_agent_node_t node = Instance(7);
  EXPECT_EQ(Find(7), nullptr);
  EXPECT_EQ(Insert(&node), 0);
  EXPECT_THAT(InfoLines(), IsEmpty());
  EXPECT_EQ(Find(7), &node);
  EXPECT_EQ(Find(8), nullptr);
  EXPECT_THAT(InfoLines(), ElementsAre("Found dm_node instid: 7 from hash table.\n"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(InstanceHashTest, StandsInTheBucketOfTheLowHalf) {
  nc_dm_agent_node_t node = Instance((nc_int64{5} << 32) + 1);
  EXPECT_EQ(Insert(&node), 0);
  ASSERT_NE(table_.table[0x9E3].first, nullptr);
  EXPECT_EQ(table_.table[0x9E3].first->data_ptr, &node);
  EXPECT_EQ(table_.table[0x9E3].first->next, nullptr);
}

TEST_F(InstanceHashTest, TellsIdsOfOneBucketApart) {
  nc_dm_agent_node_t low = Instance(1);
  nc_dm_agent_node_t high = Instance((nc_int64{1} << 32) + 1);
  nc_dm_agent_node_t negative = Instance(INT64_MIN + 1);
  for (nc_dm_agent_node_t* node : {&low, &high, &negative}) EXPECT_EQ(Insert(node), 0);
  for (nc_dm_agent_node_t* node : {&low, &high, &negative}) EXPECT_EQ(Find(node->instid), node);
  EXPECT_EQ(Find((nc_int64{2} << 32) + 1), nullptr);
  // The last one stands first.
  EXPECT_EQ(table_.table[0x9E3].first->data_ptr, &negative);
  EXPECT_EQ(table_.table[0x9E3].first->next->data_ptr, &high);
}

TEST_F(InstanceHashTest, KeepsTheFirstOfAnId) {
  nc_dm_agent_node_t first = Instance(7);
  nc_dm_agent_node_t second = Instance(7);
  EXPECT_EQ(Insert(&first), 0);
  EXPECT_EQ(Insert(&second), 0);
  EXPECT_THAT(
      InfoLines(),
      ElementsAre("Found dm_node instid: 7 from hash table, no need to create a new one.\n"));
  EXPECT_EQ(Find(7), &first);
  Delete(7);
  EXPECT_EQ(Find(7), nullptr);
}

TEST_F(InstanceHashTest, DeletesFromEachPlaceOfAChain) {
  constexpr nc_int64 kStep = nc_int64{1} << 32;
  for (const nc_int64 victim : {nc_int64{1}, kStep + 1, 2 * kStep + 1}) {
    nc_dm_agent_node_t nodes[] = {Instance(1), Instance(kStep + 1), Instance(2 * kStep + 1)};
    for (nc_dm_agent_node_t& node : nodes) EXPECT_EQ(Insert(&node), 0);
    LogCapture::Get().Clear();
    Delete(victim);
    EXPECT_THAT(InfoLines(), ElementsAre("Found dm_node instid:" + std::to_string(victim) +
                                         " from hash table.\n"));
    for (nc_dm_agent_node_t& node : nodes) {
      EXPECT_EQ(Find(node.instid), node.instid == victim ? nullptr : &node);
    }
    nc_dm_agent_delete_mode_node_hash_tab_all_entries(&table_);
    MakeBuckets();
  }
}

TEST_F(InstanceHashTest, DeletingWhatIsNotThereChangesNothing) {
  nc_dm_agent_node_t node = Instance(1);
  EXPECT_EQ(Insert(&node), 0);
  Delete(2);
  Delete((nc_int64{1} << 32) + 1);
  EXPECT_THAT(InfoLines(), IsEmpty());
  EXPECT_THAT(ErrorLines(), IsEmpty());
  EXPECT_EQ(Find(1), &node);
}

TEST_F(InstanceHashTest, PassesOverAnEntryWithoutInstance) {
  nc_dm_agent_node_t node = Instance(0);
  EXPECT_EQ(Insert(&node), 0);
  table_.table[0].first->data_ptr = nullptr;
  EXPECT_EQ(Find(0), nullptr);
  EXPECT_EQ(Insert(&node), 0);
  EXPECT_EQ(Find(0), &node);
}

TEST_F(InstanceHashTest, ClearingFreesTheBucketsAndKeepsTheSize) {
  std::vector<nc_dm_agent_node_t> nodes;
  for (nc_int64 id = 1; id <= 10000; ++id) nodes.push_back(Instance(id));
  for (nc_dm_agent_node_t& node : nodes) ASSERT_EQ(Insert(&node), 0);
  nc_dm_agent_delete_mode_node_hash_tab_all_entries(&table_);
  EXPECT_EQ(table_.table, nullptr);
  EXPECT_EQ(table_.size_bits_num, kBits);
  EXPECT_EQ(nodes[9999].instid, 10000);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

TEST_F(InstanceHashTest, RefusesNullAndMissingBuckets) {
  nc_dm_hash_tab_t no_buckets = {kBits, nullptr};
  nc_dm_agent_node_t node = Instance(1);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst_by_hash_tab(nullptr, 1), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst_by_hash_tab(&no_buckets, 1), nullptr);
  EXPECT_EQ(nc_dm_agent_insert_mode_node_inst_to_hash_tab(nullptr, &node), -1);
  EXPECT_EQ(nc_dm_agent_insert_mode_node_inst_to_hash_tab(&no_buckets, &node), -1);
  EXPECT_EQ(nc_dm_agent_insert_mode_node_inst_to_hash_tab(&table_, nullptr), -1);
  nc_dm_agent_delete_mode_node_inst_from_hash_tab(nullptr, 1);
  nc_dm_agent_delete_mode_node_inst_from_hash_tab(&no_buckets, 1);
  const std::string no_record = "The hash_tab input is null!\n";
  const std::string no_table = "The hash_tab->table input is null!\n";
  EXPECT_THAT(ErrorLines(), ElementsAre(no_record, no_table, no_record, no_table,
                                        "The dm_node input is null!\n", no_record, no_table));
  EXPECT_THAT(InfoLines(), IsEmpty());
}

TEST_F(InstanceHashTest, ClearingNullIsOnlyTraced) {
  nc_dm_hash_tab_t no_buckets = {kBits, nullptr};
  nc_dm_agent_delete_mode_node_hash_tab_all_entries(nullptr);
  nc_dm_agent_delete_mode_node_hash_tab_all_entries(&no_buckets);
  EXPECT_THAT(InfoLines(),
              ElementsAre("The hash_tab input is null.\n", "The hash_tab->table input is null.\n"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(InstanceHashTest, RefusesASizeBeyondTheWord) {
  nc_dm_agent_node_t node = Instance(1);
  for (const uint32_t bits : {32u, 33u, UINT32_MAX}) {
    LogCapture::Get().Clear();
    table_.size_bits_num = bits;
    EXPECT_EQ(Find(1), nullptr);
    EXPECT_EQ(Insert(&node), -1);
    Delete(1);
    const std::string refused = "The hash table index is more than the hash table size!\n";
    EXPECT_THAT(ErrorLines(), ElementsAre(refused, refused, refused)) << bits;
  }
  table_.size_bits_num = kBits;
}

TEST_F(InstanceHashTest, MayHaveOneBucket) {
  table_.size_bits_num = 0;
  nc_dm_agent_node_t nodes[] = {Instance(1), Instance(2), Instance(3)};
  for (nc_dm_agent_node_t& node : nodes) EXPECT_EQ(Insert(&node), 0);
  for (nc_dm_agent_node_t& node : nodes) EXPECT_EQ(Find(node.instid), &node);
  EXPECT_EQ(table_.table[0].first->data_ptr, &nodes[2]);
}

TEST_F(InstanceHashTest, ReportsShortMemory) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  nc_dm_agent_node_t node = Instance(1);
  {
    const FailingAlloc failing(0);
    EXPECT_EQ(Insert(&node), -1);
  }
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc a new entry node!\n"));
  EXPECT_EQ(Find(1), nullptr);
}

TEST_F(InstanceHashTest, FollowsAMapThroughRandomOperations) {
  g_nc_dm_agent_dbg = 0;
  std::mt19937_64 random(5);
  std::vector<nc_dm_agent_node_t> nodes;
  for (nc_int64 i = 0; i < 3000; ++i) {
    // Many share the low half, and so the bucket.
    nodes.push_back(Instance(((i / 1000) << 32) + i % 1000));
  }
  std::map<nc_int64, nc_dm_agent_node_t*> expected;
  for (int step = 0; step < 100000; ++step) {
    nc_dm_agent_node_t& node = nodes[random() % nodes.size()];
    const auto known = expected.find(node.instid);
    ASSERT_EQ(Find(node.instid), known == expected.end() ? nullptr : known->second);
    if (random() % 2 == 0) {
      ASSERT_EQ(Insert(&node), 0);
      expected[node.instid] = &node;
    } else {
      Delete(node.instid);
      expected.erase(node.instid);
    }
  }
  for (nc_dm_agent_node_t& node : nodes) {
    EXPECT_EQ(Find(node.instid), expected.contains(node.instid) ? &node : nullptr);
  }
}

}  // namespace
}  // namespace ncdm_test
