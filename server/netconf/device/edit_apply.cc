// What an edit does to configuration (RFC 6241, section 7.2; RFC 7950, section 8.3.2).
#include <unordered_set>

#include "server/netconf/device/choices.h"
#include "server/netconf/device/edit.h"

namespace ncdm::netconf {
namespace {

bool IsPresence(const lysc_node* node) {
  return node->nodetype == LYS_CONTAINER && (node->flags & LYS_PRESENCE) != 0;
}

class Editor {
 public:
  Editor(Tree* tree, std::vector<RpcError>* errors) : tree_(tree), errors_(errors) {}

  // With the default operation "replace" the <config> is the whole configuration.
  void Root(const EditNode& edit) {
    if (edit.operation == EditOperation::kReplace) {
      DropUnmentioned(edit, nullptr);
    }
    Children(edit, nullptr);
  }

 private:
  void Children(const EditNode& edit, lyd_node* parent) {
    for (const auto& child : edit.children) {
      try {
        Node(*child, parent);
      } catch (const OperationFailed& failed) {
        if (errors_ == nullptr) {
          throw;
        }
        errors_->insert(errors_->end(), failed.errors().begin(), failed.errors().end());
      }
    }
  }

  lyd_node* Existing(const EditNode& edit, const lyd_node* parent) const {
    lyd_node* siblings = Siblings(*tree_, parent);
    switch (edit.schema->nodetype) {
      case LYS_LIST:
        return FindEntry(siblings, edit.schema, edit.keys);
      case LYS_LEAFLIST:
        return FindValue(siblings, edit.schema, *edit.value);
      default:
        return Find(siblings, edit.schema);
    }
  }

  // A container without presence and content says nothing, so it is not there.
  static bool IsThere(const lyd_node* node) {
    return node != nullptr && (node->schema->nodetype != LYS_CONTAINER ||
                               IsPresence(node->schema) || lyd_child(node) != nullptr);
  }

  [[noreturn]] static void Fail(const EditNode& edit, const char* tag, const char* message) {
    throw OperationFailed(At(ApplicationError(tag, message), edit.Path()));
  }

  void Node(const EditNode& edit, lyd_node* parent) {
    lyd_node* node = Existing(edit, parent);
    if (edit.is_new && IsThere(node)) {
      Fail(edit, "data-exists", "it exists already");
    }
    switch (edit.operation) {
      case EditOperation::kCreate:
        if (IsThere(node)) {
          Fail(edit, "data-exists", "it exists already");
        }
        break;
      case EditOperation::kDelete:
        if (!IsThere(node)) {
          Fail(edit, "data-missing", "it does not exist");
        }
        tree_->Free(node);
        return;
      case EditOperation::kRemove:
        if (node != nullptr) {
          tree_->Free(node);
        }
        return;
      case EditOperation::kNone:
        if (!IsThere(node) && (edit.schema->nodetype != LYS_CONTAINER || IsPresence(edit.schema))) {
          Fail(edit, "data-missing", "it does not exist");
        }
        break;
      default:
        break;
    }
    if (edit.operation != EditOperation::kNone) {
      DropOtherCases(edit, parent);
    }
    if (IsTerm(edit.schema)) {
      Term(edit, node, parent);
    } else {
      Inner(edit, node, parent);
    }
  }

  void DropOtherCases(const EditNode& edit, const lyd_node* parent) {
    if (!IsInCase(edit.schema)) {
      return;
    }
    ForEachSibling(Siblings(*tree_, parent), [&](lyd_node* sibling) {
      if (AreInDifferentCases(sibling->schema, edit.schema)) {
        tree_->Free(sibling);
      }
    });
  }

  void Term(const EditNode& edit, lyd_node* node, lyd_node* parent) {
    if (edit.operation == EditOperation::kNone) {
      return;
    }
    if (node == nullptr) {
      NewTerm(tree_, parent, edit.schema, *edit.value);
    } else if (edit.schema->nodetype == LYS_LEAF) {
      lyd_change_term(node, edit.value->c_str());
    }
  }

  void Inner(const EditNode& edit, lyd_node* node, lyd_node* parent) {
    if (node == nullptr) {
      node = edit.schema->nodetype == LYS_LIST ? NewEntry(tree_, parent, edit.schema, edit.keys)
                                               : NewContainer(tree_, parent, edit.schema);
    } else if (edit.operation == EditOperation::kReplace) {
      DropUnmentioned(edit, node);
    }
    Children(edit, node);
    if (edit.schema->nodetype == LYS_CONTAINER && !IsThere(node)) {
      tree_->Free(node);
    }
  }

  // What replaces says everything; what it does not name goes.
  void DropUnmentioned(const EditNode& edit, const lyd_node* node) {
    std::unordered_set<const lyd_node*> mentioned;
    for (const auto& child : edit.children) {
      mentioned.insert(Existing(*child, node));
    }
    ForEachSibling(Siblings(*tree_, node), [&](lyd_node* child) {
      if (!IsKey(child->schema) && !mentioned.contains(child)) {
        tree_->Free(child);
      }
    });
  }

  Tree* tree_;
  std::vector<RpcError>* errors_;
};

bool NeedsWhole(const EditNode& edit) {
  return edit.operation == EditOperation::kReplace || edit.operation == EditOperation::kDelete ||
         edit.operation == EditOperation::kRemove ||
         (edit.operation == EditOperation::kCreate && edit.schema->nodetype == LYS_CONTAINER);
}

// A node of one case makes those of the others go.
void WantOtherCases(const EditNode& edit, const EditNode& parent, Wanted* wanted) {
  if (!IsInCase(edit.schema)) {
    return;
  }
  ForEachChild(parent.schema, parent.schema == nullptr ? edit.schema->module : nullptr,
               [&](const lysc_node* other) {
                 if (AreInDifferentCases(edit.schema, other)) {
                   wanted->Child(other).whole = true;
                 }
               });
}

void WantChildren(const EditNode& edit, Wanted* wanted) {
  for (const auto& child : edit.children) {
    WantOtherCases(*child, edit, wanted);
    // Siblings differ, so there is no need to look for one that is there; but leaf-list values are
    // read all at once.
    if (IsTerm(child->schema)) {
      wanted->Child(child->schema).whole = true;
      continue;
    }
    Wanted& below =
        wanted->children.emplace_back(Wanted{.node = child->schema, .keys = child->keys});
    below.whole = NeedsWhole(*child);
    if (!below.whole && child->operation != EditOperation::kCreate) {
      WantChildren(*child, &below);
    }
  }
}

}  // namespace

Wanted ToRead(const EditNode& edit) {
  Wanted root;
  WantChildren(edit, &root);
  return root;
}

namespace {

bool IsSame(const EditNode& edit, const lyd_node* node) {
  return edit.schema == node->schema &&
         (node->schema->nodetype != LYS_LIST || edit.keys == KeyValuesOf(node)) &&
         (node->schema->nodetype != LYS_LEAFLIST || edit.value == ValueOf(node));
}

// What the edit says to the node; null for nothing.
const EditNode* Named(const EditNode& edit, const lyd_node* node) {
  const EditNode* parent = lyd_parent(node) == nullptr ? &edit : Named(edit, lyd_parent(node));
  if (parent == nullptr) {
    return nullptr;
  }
  for (const auto& child : parent->children) {
    if (IsSame(*child, node)) {
      return child.get();
    }
  }
  return nullptr;
}

}  // namespace

bool Sets(const EditNode& edit, const lyd_node* node) {
  const EditNode* named = Named(edit, node);
  return named != nullptr && named->operation != EditOperation::kDelete &&
         named->operation != EditOperation::kRemove && named->operation != EditOperation::kNone;
}

void ApplyEdit(const EditNode& edit, Tree* tree, std::vector<RpcError>* errors) {
  Editor(tree, errors).Root(edit);
}

}  // namespace ncdm::netconf
