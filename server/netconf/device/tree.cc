#include "server/netconf/device/tree.h"

#include <cstdlib>
#include <utility>

#include "server/netconf/device/yang_context.h"

namespace ncdm::netconf {
namespace {

// libyang reads as many texts as the list has keys. Its function that takes keys as a predicate has
// no way to write a value with both kinds of quotes.
template <std::size_t... kIndex>
lyd_node* NewListOf(lyd_node* parent, const lysc_node* list, const std::vector<std::string>& keys,
                    std::index_sequence<kIndex...>) {
  const auto text = [&](std::size_t i) { return i < keys.size() ? keys[i].c_str() : nullptr; };
  lyd_node* node = nullptr;
  lyd_new_list(parent, list->module, list->name, 0, &node, text(kIndex)...);
  return node;
}

void InsertIfTop(Tree* tree, const lyd_node* parent, lyd_node* node) {
  if (parent == nullptr && node != nullptr) {
    tree->Insert(node);
  }
}

bool HasKeys(const lyd_node* entry, const std::vector<std::string>& keys) {
  return KeyValuesOf(entry) == keys;
}

// A key's value in a predicate, in the quotes that it does not hold itself. Empty when it holds
// both kinds.
std::string Quoted(const std::string& value) {
  if (value.find('\'') == std::string::npos) {
    return "'" + value + "'";
  }
  return value.find('"') == std::string::npos ? "\"" + value + "\"" : "";
}

}  // namespace

Tree Tree::Copy() const {
  lyd_node* copy = nullptr;
  if (first_ != nullptr) {
    lyd_dup_siblings(first_, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_NO_META, &copy);
  }
  return Tree(copy);
}

void Tree::Insert(lyd_node* node) { lyd_insert_sibling(first_, node, &first_); }

void Tree::Free(lyd_node* node) {
  if (node == first_) {
    first_ = node->next;
  }
  lyd_free_tree(node);
}

void Tree::Merge(Tree other) {
  lyd_merge_siblings(&first_, std::exchange(other.first_, nullptr), LYD_MERGE_DESTRUCT);
}

void Tree::AddDefaults(const ly_ctx* context) {
  lyd_new_implicit_all(&first_, context, LYD_IMPLICIT_NO_STATE, nullptr);
}

void Tree::DropDefaults() { DropDefaultsAmong(first_); }

void Tree::DropDefaultsAmong(lyd_node* first) {
  ForEachSibling(first, [this](lyd_node* node) {
    if ((node->flags & LYD_DEFAULT) != 0) {
      Free(node);
    } else {
      DropDefaultsAmong(lyd_child(node));
    }
  });
}

std::string Tree::Xml() const {
  char* text = nullptr;
  if (first_ == nullptr ||
      lyd_print_mem(&text, first_, LYD_XML,
                    LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK | LYD_PRINT_WD_ALL) != LY_SUCCESS ||
      text == nullptr) {
    return "";
  }
  std::string xml(text);
  std::free(text);
  return xml;
}

lyd_node* NewContainer(Tree* tree, lyd_node* parent, const lysc_node* schema) {
  lyd_node* node = nullptr;
  lyd_new_inner(parent, schema->module, schema->name, 0, &node);
  InsertIfTop(tree, parent, node);
  return node;
}

lyd_node* NewEntry(Tree* tree, lyd_node* parent, const lysc_node* list,
                   const std::vector<std::string>& keys) {
  if (KeysOf(list).size() > kMaxKeys) {
    return nullptr;
  }
  lyd_node* node = NewListOf(parent, list, keys, std::make_index_sequence<kMaxKeys>());
  InsertIfTop(tree, parent, node);
  return node;
}

lyd_node* NewTerm(Tree* tree, lyd_node* parent, const lysc_node* schema, const std::string& value) {
  lyd_node* node = nullptr;
  lyd_new_term(parent, schema->module, schema->name, value.c_str(), 0, &node);
  InsertIfTop(tree, parent, node);
  return node;
}

lyd_node* Siblings(const Tree& tree, const lyd_node* parent) {
  return parent == nullptr ? tree.first() : lyd_child(parent);
}

lyd_node* Find(lyd_node* siblings, const lysc_node* schema) {
  lyd_node* found = nullptr;
  if (siblings != nullptr) {
    lyd_find_sibling_val(siblings, schema, nullptr, 0, &found);
  }
  return found;
}

lyd_node* FindEntry(lyd_node* siblings, const lysc_node* list,
                    const std::vector<std::string>& keys) {
  if (siblings == nullptr) {
    return nullptr;
  }
  std::string predicate;
  std::size_t i = 0;
  for (const lysc_node* key : KeysOf(list)) {
    const std::string value = Quoted(keys[i++]);
    if (value.empty()) {
      for (lyd_node* entry = Find(siblings, list); entry != nullptr; entry = entry->next) {
        if (entry->schema == list && HasKeys(entry, keys)) {
          return entry;
        }
      }
      return nullptr;
    }
    predicate += std::string("[") + key->name + "=" + value + "]";
  }
  lyd_node* found = nullptr;
  lyd_find_sibling_val(siblings, list, predicate.c_str(), predicate.size(), &found);
  return found;
}

lyd_node* FindValue(lyd_node* siblings, const lysc_node* leaf_list, const std::string& value) {
  lyd_node* found = nullptr;
  if (siblings != nullptr) {
    lyd_find_sibling_val(siblings, leaf_list, value.c_str(), value.size(), &found);
  }
  return found;
}

lyd_node* FindSame(lyd_node* siblings, const lyd_node* node) {
  if ((node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
    return Find(siblings, node->schema);
  }
  lyd_node* found = nullptr;
  if (siblings != nullptr && (node->schema->flags & LYS_KEYLESS) == 0) {
    lyd_find_sibling_first(siblings, node, &found);
  }
  return found;
}

std::string ValueOf(const lyd_node* term) { return lyd_get_value(term); }

std::vector<std::string> KeyValuesOf(const lyd_node* entry) {
  std::vector<std::string> values;
  for (const lyd_node* child = lyd_child(entry); child != nullptr && IsKey(child->schema);
       child = child->next) {
    values.push_back(ValueOf(child));
  }
  return values;
}

}  // namespace ncdm::netconf
