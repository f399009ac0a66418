#ifndef TESTS_NETCONF_DM_KERNEL_INSTANCES_INSTANCE_TREE_FIXTURE_H_
#define TESTS_NETCONF_DM_KERNEL_INSTANCES_INSTANCE_TREE_FIXTURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "netconf_dm_kernel.h"

namespace ncdm_test {

using Entry = nc_dm_bin_tree_node_t;

// An entry with its subtrees as text: (left count|left)id(right count|right), sides that are empty
// and count 0 left out.
inline std::string Shape(const Entry* entry) {
  if (entry == nullptr) return "";
  const auto side = [](const Entry* child, nc_int32 count) {
    if (child == nullptr && count == 0) return std::string();
    return "(" + std::to_string(count) + "|" + Shape(child) + ")";
  };
  return side(entry->left, entry->left_cnt) + std::to_string(entry->id) +
         side(entry->right, entry->right_cnt);
}

inline int Depth(const Entry* entry) {
  return entry == nullptr ? 0 : 1 + std::max(Depth(entry->left), Depth(entry->right));
}

// The number of entries; -1 where a count is not true.
inline nc_int32 CountedSize(const Entry* entry) {
  if (entry == nullptr) return 0;
  const bool is_true =
      CountedSize(entry->left) == entry->left_cnt && CountedSize(entry->right) == entry->right_cnt;
  return is_true ? entry->left_cnt + entry->right_cnt + 1 : -1;
}

// The deepest that the library's own trees of `size` entries may be.
inline double MaxDepth(nc_int32 size) { return 2 * std::log2(size + 1.0) + 2; }

// Entries, freed with the fixture whether they are in a tree or not.
class InstanceTreeTest : public testing::Test {
 protected:
  ~InstanceTreeTest() override {
    for (Entry* entry : entries_) free(entry);
  }

  Entry* New(nc_int64 id) {
    auto* entry = static_cast<Entry*>(calloc(1, sizeof(Entry)));
    entry->id = id;
    entry->data = &instance_;
    entries_.insert(entry);
    return entry;
  }

  void Free(Entry* entry) {
    entries_.erase(entry);
    free(entry);
  }

  // Inserts below the root, without rebalancing.
  Entry* Insert(nc_int64 id) {
    Entry* entry = New(id);
    if (root_ == nullptr) {
      root_ = entry;
    } else {
      EXPECT_EQ(nc_dm_agent_insert_bin_tree_node(root_, entry), 0);
    }
    return entry;
  }

  Entry* InsertAndAdjust(nc_int64 id) {
    Entry* entry = Insert(id);
    Entry* root = nc_dm_agent_adjust_bin_tree(root_, 1);
    if (root != nullptr) root_ = root;
    return entry;
  }

  Entry* Find(nc_int64 id) { return nc_dm_agent_search_bin_tree_node_by_instid(root_, id); }

  // Deletes an id that is there. The entry that took its place.
  Entry* Delete(nc_int64 id) {
    Entry* entry = Find(id);
    if (entry == nullptr) {
      ADD_FAILURE() << id << " is not there";
      return nullptr;
    }
    Entry* replacement = nc_dm_agent_delete_bin_tree_node(entry);
    EXPECT_EQ(entry->left, nullptr);
    EXPECT_EQ(entry->right, nullptr);
    EXPECT_EQ(entry->parent, nullptr);
    if (entry == root_) root_ = replacement;
    Free(entry);
    return replacement;
  }

  // The ids in order; fails the test where links, parents or the order are wrong.
  std::vector<nc_int64> Ids() const {
    std::vector<nc_int64> ids;
    EXPECT_TRUE(root_ == nullptr || root_->parent == nullptr);
    Collect(root_, &ids);
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
    return ids;
  }

  Entry* root_ = nullptr;
  nc_dm_agent_node_t instance_ = {};

 private:
  static void Collect(const Entry* entry, std::vector<nc_int64>* ids) {
    if (entry == nullptr) return;
    EXPECT_TRUE(entry->left == nullptr || entry->left->parent == entry);
    EXPECT_TRUE(entry->right == nullptr || entry->right->parent == entry);
    Collect(entry->left, ids);
    ids->push_back(entry->id);
    Collect(entry->right, ids);
  }

  std::set<Entry*> entries_;
};

// Sources of ids.
enum class IdShape { kRising, kFalling, kRandom, kClustered, kExtreme, kAlternating };

inline constexpr IdShape kIdShapes[] = {IdShape::kRising,  IdShape::kFalling,
                                        IdShape::kRandom,  IdShape::kClustered,
                                        IdShape::kExtreme, IdShape::kAlternating};

class IdSource {
 public:
  IdSource(IdShape shape, uint64_t seed) : shape_(shape), random_(seed) {}

  nc_int64 Next() {
    ++count_;
    switch (shape_) {
      case IdShape::kRising:
        return count_;
      case IdShape::kFalling:
        return -count_;
      case IdShape::kRandom:
        return static_cast<nc_int64>(random_());
      case IdShape::kClustered:
        return static_cast<nc_int64>(random_() % 5) * 1000000 +
               static_cast<nc_int64>(random_() % 60);
      case IdShape::kExtreme: {
        const auto distance = static_cast<nc_int64>(random_() % 40);
        const nc_int64 ends[] = {INT64_MIN + distance, INT64_MAX - distance, distance - 20,
                                 INT32_MAX - distance, INT32_MIN + distance};
        return ends[random_() % 5];
      }
      case IdShape::kAlternating:
        return count_ % 2 == 0 ? count_ : -count_;
    }
    return 0;
  }

  uint64_t Random(uint64_t end) { return random_() % end; }

 private:
  const IdShape shape_;
  std::mt19937_64 random_;
  nc_int64 count_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_INSTANCES_INSTANCE_TREE_FIXTURE_H_
