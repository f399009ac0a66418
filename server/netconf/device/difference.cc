#include "server/netconf/device/difference.h"

#include <algorithm>
#include <iterator>

#include "server/netconf/device/yang_context.h"

namespace ncdm::netconf {
namespace {

using Kind = Change::Kind;

// True for a leaf that need not be deleted: it has its default, as it would then; or an empty text,
// which is how applications show what they have not got.
bool SaysNothing(const lyd_node* node) {
  return node->schema->nodetype == LYS_LEAF &&
         (lyd_is_default(node) != 0 ||
          (reinterpret_cast<const lyd_node_term*>(node)->value.realtype->basetype ==
               LY_TYPE_STRING &&
           *lyd_get_value(node) == '\0'));
}

class Comparison {
 public:
  explicit Comparison(const Compares& compares) : compares_(compares) {}

  void Siblings(const lyd_node* old_parent, lyd_node* old_first, const lyd_node* new_parent,
                lyd_node* new_first) {
    Deletions(old_parent, old_first, new_first);
    Writes(new_parent, new_first, old_first);
  }

  Difference Take() {
    std::ranges::move(writes_, std::back_inserter(difference_.changes));
    return std::move(difference_);
  }

 private:
  void Add(Kind kind, const lyd_node* node, std::vector<const lyd_node*> leaves) {
    Change change{.kind = kind, .node = node, .leaves = std::move(leaves)};
    (change.deletes() ? difference_.changes : writes_).push_back(std::move(change));
  }

  void AddLeaves(Kind kind, const lyd_node* parent, std::vector<const lyd_node*> leaves) {
    if (!leaves.empty()) {
      Add(kind, parent, std::move(leaves));
    }
  }

  // What the old side has and the new one has not. What both have is compared further by Writes.
  void Deletions(const lyd_node* parent, lyd_node* first, lyd_node* new_first) {
    std::vector<const lyd_node*> leaves;
    ForEachSibling(first, [&](lyd_node* node) {
      if (!compares_(node->schema) || FindSame(new_first, node) != nullptr) {
        return;
      }
      if (IsTerm(node->schema)) {
        if (!IsKey(node->schema) && !SaysNothing(node)) {
          leaves.push_back(node);
        }
      } else if (node->schema->nodetype == LYS_LIST) {
        Add(Kind::kDeleteEntry, node, {});
      } else {
        Deletions(node, lyd_child(node), nullptr);
      }
    });
    AddLeaves(Kind::kDeleteLeaves, parent, std::move(leaves));
  }

  void Writes(const lyd_node* parent, lyd_node* first, lyd_node* old_first) {
    std::vector<const lyd_node*> leaves;
    std::vector<const lyd_node*> old_leaves;
    std::vector<std::pair<lyd_node*, lyd_node*>> inner;  // new and old
    ForEachSibling(first, [&](lyd_node* node) {
      if (!compares_(node->schema)) {
        return;
      }
      lyd_node* old_node = FindSame(old_first, node);
      if (!IsTerm(node->schema)) {
        inner.emplace_back(node, old_node);
      } else if (!IsKey(node->schema) &&
                 (old_node == nullptr || ValueOf(old_node) != ValueOf(node))) {
        leaves.push_back(node);
        old_leaves.push_back(old_node);
      }
    });
    if (!leaves.empty()) {
      Add(Kind::kWriteLeaves, parent, std::move(leaves));
      writes_.back().old_leaves = std::move(old_leaves);
    }
    for (const auto& [node, old_node] : inner) {
      Inner(node, old_node);
    }
  }

  void Inner(lyd_node* node, lyd_node* old_node) {
    if (old_node != nullptr) {
      if (node->schema->nodetype == LYS_LIST) {
        difference_.old_entries[node] = old_node;
      }
      Siblings(old_node, lyd_child(old_node), node, lyd_child(node));
    } else if (node->schema->nodetype == LYS_LIST) {
      Create(node);
    } else {
      Writes(node, lyd_child(node), nullptr);
    }
  }

  void Create(lyd_node* entry) {
    std::vector<const lyd_node*> leaves;
    std::vector<lyd_node*> inner;
    ForEachSibling(lyd_child(entry), [&](lyd_node* node) {
      if (!IsTerm(node->schema)) {
        inner.push_back(node);
      } else if (!IsKey(node->schema)) {
        leaves.push_back(node);
      }
    });
    Add(Kind::kCreateEntry, entry, std::move(leaves));
    for (lyd_node* node : inner) {
      Inner(node, nullptr);
    }
  }

  const Compares& compares_;
  Difference difference_;
  std::vector<Change> writes_;
};

}  // namespace

Difference Compare(const Tree& old_tree, const Tree& new_tree, const Compares& compares) {
  Comparison comparison(compares);
  comparison.Siblings(nullptr, old_tree.first(), nullptr, new_tree.first());
  return comparison.Take();
}

}  // namespace ncdm::netconf
