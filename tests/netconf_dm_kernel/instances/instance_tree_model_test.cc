// Instance trees against a second, slow implementation: values instead of links, each step and each
// side written out on its own.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/instances/instance_tree_fixture.h"
#include "support/repeats.h"

namespace ncdm_test {
namespace {

struct Model;
using ModelTree = std::unique_ptr<Model>;

struct Model {
  nc_int64 id = 0;
  ModelTree left;
  ModelTree right;
  nc_int32 left_cnt = 0;
  nc_int32 right_cnt = 0;
};

nc_int32 Size(const ModelTree& tree) { return tree->left_cnt + tree->right_cnt + 1; }
nc_int32 SizeOrZero(const ModelTree& tree) { return tree == nullptr ? 0 : Size(tree); }

std::string ModelShape(const ModelTree& tree) {
  if (tree == nullptr) return "";
  const auto side = [](const ModelTree& child, nc_int32 count) {
    if (child == nullptr && count == 0) return std::string();
    return "(" + std::to_string(count) + "|" + ModelShape(child) + ")";
  };
  return side(tree->left, tree->left_cnt) + std::to_string(tree->id) +
         side(tree->right, tree->right_cnt);
}

bool ModelInsert(ModelTree& tree, nc_int64 id) {
  if (id == tree->id) return false;
  ModelTree& side = id > tree->id ? tree->right : tree->left;
  nc_int32& count = id > tree->id ? tree->right_cnt : tree->left_cnt;
  if (side != nullptr) {
    ++count;
    return ModelInsert(side, id);
  }
  side = std::make_unique<Model>();
  side->id = id;
  count = 1;
  return true;
}

// The rightmost entry of top.right, out of the tree.
ModelTree TakeRightmost(ModelTree& top) {
  Model* above = top.get();
  Model* at = top->right.get();
  --at->right_cnt;
  while (at->right != nullptr) {
    above = at;
    at = at->right.get();
    --at->right_cnt;
  }
  --top->right_cnt;
  ModelTree taken = std::move(above->right);
  above->right = std::move(taken->left);
  above->right_cnt = SizeOrZero(above->right);
  taken->left_cnt = 0;
  taken->right_cnt = 0;
  return taken;
}

// The leftmost entry of top.left, out of the tree.
ModelTree TakeLeftmost(ModelTree& top) {
  Model* above = top.get();
  Model* at = top->left.get();
  --at->left_cnt;
  while (at->left != nullptr) {
    above = at;
    at = at->left.get();
    --at->left_cnt;
  }
  --top->left_cnt;
  ModelTree taken = std::move(above->left);
  above->left = std::move(taken->right);
  above->left_cnt = SizeOrZero(above->left);
  taken->left_cnt = 0;
  taken->right_cnt = 0;
  return taken;
}

bool ModelAdjust(ModelTree& cur, int level);

void ModelBalance(ModelTree& tree, int level) {
  if (level > 21) return;
  for (int k = 1; std::abs(tree->left_cnt - tree->right_cnt) > k; ++k) {
    if (!ModelAdjust(tree, level + 1)) break;
  }
}

void ModelLeftTooHeavy(ModelTree& cur, int level) {
  ModelTree l = std::move(cur->left);
  ModelTree r = std::move(cur->right);
  cur->left_cnt = 0;
  cur->right_cnt = 0;
  ModelTree p;
  if (l->right == nullptr) {
    p = std::move(l);
    if (p->left != nullptr) ModelBalance(p->left, level);
  } else {
    p = TakeRightmost(l);
    ModelBalance(l, level);
    p->left_cnt = Size(l);
    p->left = std::move(l);
  }
  if (r == nullptr) {
    p->right = std::move(cur);
    p->right_cnt = 1;
  } else {
    if (r->left != nullptr) {
      Model* leftmost = r->left.get();
      while (leftmost->left != nullptr) {
        ++leftmost->left_cnt;
        leftmost = leftmost->left.get();
      }
      leftmost->left = std::move(cur);
      leftmost->left_cnt = 1;
    } else {
      r->left = std::move(cur);
    }
    ++r->left_cnt;
    ModelBalance(r, level);
    p->right_cnt = Size(r);
    p->right = std::move(r);
  }
  cur = std::move(p);
}

void ModelRightTooHeavy(ModelTree& cur, int level) {
  ModelTree l = std::move(cur->left);
  ModelTree r = std::move(cur->right);
  cur->left_cnt = 0;
  cur->right_cnt = 0;
  ModelTree p;
  if (r->left == nullptr) {
    p = std::move(r);
    if (p->right != nullptr) ModelBalance(p->right, level);
  } else {
    p = TakeLeftmost(r);
    ModelBalance(r, level);
    p->right_cnt = Size(r);
    p->right = std::move(r);
  }
  if (l == nullptr) {
    p->left = std::move(cur);
    p->left_cnt = 1;
  } else {
    if (l->right != nullptr) {
      Model* rightmost = l->right.get();
      while (rightmost->right != nullptr) {
        ++rightmost->right_cnt;
        rightmost = rightmost->right.get();
      }
      rightmost->right = std::move(cur);
      rightmost->right_cnt = 1;
    } else {
      l->right = std::move(cur);
    }
    ++l->right_cnt;
    ModelBalance(l, level);
    p->left_cnt = Size(l);
    p->left = std::move(l);
  }
  cur = std::move(p);
}

// False when the counts want an entry that is not there; nothing has changed then.
bool ModelAdjust(ModelTree& cur, int level) {
  const nc_int32 left = cur->left_cnt < 0 ? 0 : cur->left_cnt;
  const nc_int32 right = cur->right_cnt < 0 ? 0 : cur->right_cnt;
  if (left - right > 1) {
    if (cur->left == nullptr) return false;
    ModelLeftTooHeavy(cur, level);
  } else if (left - right < -1) {
    if (cur->right == nullptr) return false;
    ModelRightTooHeavy(cur, level);
  }
  return true;
}

ModelTree JoinFromRight(ModelTree left, ModelTree right) {
  ModelTree top;
  if (right->left != nullptr) {
    top = TakeLeftmost(right);
    top->right_cnt = Size(right);
    top->right = std::move(right);
  } else {
    top = std::move(right);
  }
  if (left != nullptr) {
    top->left_cnt = Size(left);
    top->left = std::move(left);
  }
  return top;
}

ModelTree JoinFromLeft(ModelTree left, ModelTree right) {
  ModelTree top;
  if (left->right != nullptr) {
    top = TakeRightmost(left);
    top->left_cnt = Size(left);
    top->left = std::move(left);
  } else {
    top = std::move(left);
  }
  if (right != nullptr) {
    top->right_cnt = Size(right);
    top->right = std::move(right);
  }
  return top;
}

// Deletes an id that is there. The id that took its place, or none.
std::vector<nc_int64> ModelDelete(ModelTree& root, nc_int64 id) {
  std::vector<Model*> ancestors;
  ModelTree* at = &root;
  while ((*at)->id != id) {
    ancestors.push_back(at->get());
    at = id > (*at)->id ? &(*at)->right : &(*at)->left;
  }
  const bool is_left = !ancestors.empty() && at == &ancestors.back()->left;
  for (Model* ancestor : ancestors) --(is_left ? ancestor->left_cnt : ancestor->right_cnt);
  ModelTree node = std::move(*at);
  ModelTree left = std::move(node->left);
  ModelTree right = std::move(node->right);
  if (left == nullptr && right == nullptr) return {};
  bool from_right = node->left_cnt <= node->right_cnt;
  if (from_right && right == nullptr) from_right = false;
  if (!from_right && left == nullptr) from_right = true;
  *at = from_right ? JoinFromRight(std::move(left), std::move(right))
                   : JoinFromLeft(std::move(left), std::move(right));
  if (!ancestors.empty()) {
    (is_left ? ancestors.back()->left_cnt : ancestors.back()->right_cnt) = Size(*at);
  }
  return {(*at)->id};
}

class ModelledTreeTest : public InstanceTreeTest, public testing::WithParamInterface<IdShape> {
 protected:
  void InsertInBoth(nc_int64 id, int level) {
    ids_.insert(id);
    if (root_ == nullptr) {
      root_ = New(id);
      model_ = std::make_unique<Model>();
      model_->id = id;
      return;
    }
    Entry* entry = New(id);
    ASSERT_EQ(nc_dm_agent_insert_bin_tree_node(root_, entry), 0);
    const bool is_inserted = ModelInsert(model_, id);
    ASSERT_EQ(entry->parent != nullptr, is_inserted);
    if (!is_inserted) Free(entry);
    if (level == 0) return;
    Entry* adjusted = nc_dm_agent_adjust_bin_tree(root_, level);
    const bool is_adjusted = ModelAdjust(model_, level);
    ASSERT_EQ(adjusted != nullptr, is_adjusted);
    if (adjusted != nullptr) root_ = adjusted;
  }

  void DeleteInBoth(nc_int64 id) {
    const Entry* replacement = Delete(id);
    std::vector<nc_int64> replacement_id;
    if (replacement != nullptr) replacement_id.push_back(replacement->id);
    ASSERT_EQ(replacement_id, ModelDelete(model_, id));
    ids_.erase(id);
  }

  void Compare() {
    ASSERT_EQ(Shape(root_), ModelShape(model_));
    ASSERT_EQ(Ids(), std::vector<nc_int64>(ids_.begin(), ids_.end()));
  }

  // One of the ids: the smallest, the largest, the root's or any.
  nc_int64 Victim(IdSource& source) const {
    switch (source.Random(6)) {
      case 0:
        return *ids_.begin();
      case 1:
        return *ids_.rbegin();
      case 2:
        return root_->id;
      default:
        return *std::next(ids_.begin(), static_cast<ptrdiff_t>(source.Random(ids_.size())));
    }
  }

  // As many steps, with that many entries at most; of ten steps `insertions` insert.
  void RunSteps(IdSource& source, int steps, size_t max_size, uint64_t insertions, int level) {
    for (int step = 0; step < steps; ++step) {
      const bool is_full = ids_.size() >= max_size;
      if (ids_.empty() || (!is_full && source.Random(10) < insertions)) {
        // Now and then an id that is there already.
        const bool is_twin = !ids_.empty() && source.Random(50) == 0;
        ASSERT_NO_FATAL_FAILURE(InsertInBoth(is_twin ? Victim(source) : source.Next(), level));
      } else {
        ASSERT_NO_FATAL_FAILURE(DeleteInBoth(Victim(source)));
      }
      ASSERT_NO_FATAL_FAILURE(Compare()) << "step " << step;
      if (!ids_.empty()) {
        const nc_int64 id = Victim(source);
        ASSERT_EQ(Find(id)->id, id);
        ASSERT_EQ(Find(id)->data, &instance_);
      }
    }
  }

  ModelTree model_;
  std::set<nc_int64> ids_;
};

TEST_P(ModelledTreeTest, GrowsAndShrinks) {
  IdSource source(GetParam(), 1);
  for (int round = 0; round < Repeats(16); ++round) {
    ASSERT_NO_FATAL_FAILURE(RunSteps(source, 300, 150, 9, 1));
    ASSERT_NO_FATAL_FAILURE(RunSteps(source, 300, 150, 3, 1));
  }
}

TEST_P(ModelledTreeTest, StaysSmall) {
  IdSource source(GetParam(), 2);
  ASSERT_NO_FATAL_FAILURE(RunSteps(source, Repeats(5000), 12, 6, 1));
}

TEST_P(ModelledTreeTest, IsRebalancedFromAnyLevel) {
  IdSource source(GetParam(), 3);
  for (int round = 0; round < Repeats(80); ++round) {
    // Some insertions without rebalancing in between, so that there is much to do.
    const int level = round % 4 == 0 ? 0 : 19 + round % 5;
    ASSERT_NO_FATAL_FAILURE(RunSteps(source, 40, 100, 7, level));
  }
}

TEST_P(ModelledTreeTest, OnlyGrows) {
  IdSource source(GetParam(), 4);
  for (int step = 0; step < 600; ++step) {
    ASSERT_NO_FATAL_FAILURE(InsertInBoth(source.Next(), 1));
    ASSERT_NO_FATAL_FAILURE(Compare());
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, ModelledTreeTest, testing::ValuesIn(kIdShapes));

}  // namespace
}  // namespace ncdm_test
