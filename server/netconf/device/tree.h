// Data as libyang keeps it: top-level nodes of any modules, and what may be asked of nodes.
#ifndef NCDM_SERVER_NETCONF_DEVICE_TREE_H_
#define NCDM_SERVER_NETCONF_DEVICE_TREE_H_

#include <libyang/libyang.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncdm::netconf {

// Owns nodes without a parent and everything below them.
class Tree {
 public:
  Tree() = default;
  explicit Tree(lyd_node* first) : first_(first) {}
  Tree(Tree&& other) noexcept : first_(std::exchange(other.first_, nullptr)) {}
  Tree& operator=(Tree&& other) noexcept {
    std::swap(first_, other.first_);
    return *this;
  }
  ~Tree() { lyd_free_all(first_); }

  lyd_node* first() const { return first_; }
  bool empty() const { return first_ == nullptr; }
  Tree Copy() const;

  // Gives the nodes away.
  lyd_node* Release() { return std::exchange(first_, nullptr); }
  // Links the node, which has no parent.
  void Insert(lyd_node* node);
  // Frees a node of this tree, wherever it is, and everything below it.
  void Free(lyd_node* node);
  // Adds what `other` has and this has not; leaves take `other`'s value.
  void Merge(Tree other);

  // Adds the defaults that are in use, flagged LYD_DEFAULT, and containers without presence.
  void AddDefaults(const ly_ctx* context);
  // Frees what AddDefaults() has added and nobody has set since then.
  void DropDefaults();

  // Elements without blanks between them; each declares its namespace.
  std::string Xml() const;

 private:
  void DropDefaultsAmong(lyd_node* first);

  lyd_node* first_ = nullptr;
};

// The nodes from `first` on; the next one is known before a node is visited, so that it may go.
template <typename Function>
void ForEachSibling(lyd_node* first, Function function) {
  while (first != nullptr) {
    lyd_node* next = first->next;
    function(first);
    first = next;
  }
}

// ---- Making nodes ----
// Below `parent`, or at the top of `tree` when it is null. Null when the model refuses the value.

lyd_node* NewContainer(Tree* tree, lyd_node* parent, const lysc_node* schema);
// A list with more keys has no entries here: libyang takes them as single arguments.
inline constexpr std::size_t kMaxKeys = 64;
// `keys`: in the order of the key statement, canonical or in the form that has module names.
lyd_node* NewEntry(Tree* tree, lyd_node* parent, const lysc_node* list,
                   const std::vector<std::string>& keys);
lyd_node* NewTerm(Tree* tree, lyd_node* parent, const lysc_node* schema, const std::string& value);

// ---- Finding nodes ----

lyd_node* Siblings(const Tree& tree, const lyd_node* parent);
// The container, leaf, or first instance of a list or leaf-list. Null: none.
lyd_node* Find(lyd_node* siblings, const lysc_node* schema);
lyd_node* FindEntry(lyd_node* siblings, const lysc_node* list,
                    const std::vector<std::string>& keys);
lyd_node* FindValue(lyd_node* siblings, const lysc_node* leaf_list, const std::string& value);
// The one that is the same instance as `node`: same container, keys, or leaf-list value; a leaf
// whatever its value. Null: none.
lyd_node* FindSame(lyd_node* siblings, const lyd_node* node);

// Canonical.
std::string ValueOf(const lyd_node* term);
std::vector<std::string> KeyValuesOf(const lyd_node* entry);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_TREE_H_
