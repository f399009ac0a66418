// A second, plain tree for the comparison of edits: lists and walks, no index, no shortcut.
#ifndef TESTS_REFERENCE_REFERENCE_TREE_H_
#define TESTS_REFERENCE_REFERENCE_TREE_H_

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/model_call.h"

namespace ncdm_test {

class ReferenceTree {
 public:
  enum class Kind { kLeaf, kLeafList, kElement, kContainer, kList, kEntry };

  struct Node;
  using Nodes = std::list<std::unique_ptr<Node>>;

  // Lists and leaf-lists stand among their siblings, before their instances.
  struct Node {
    std::string name;
    Kind kind;
    Node* parent;
    nc_int64 id = 0;
    int src = 0;
    const ModelLeaf* leaf = nullptr;     // of a leaf, a leaf-list and its elements
    const ModelLeaf* key = nullptr;      // gives a list and its entries their `delete`
    const ModelLeaf* command = nullptr;  // gives them, or a container, their `exe_cmd`
    Nodes children = {};

    bool Has(Callback callback) const { return Offers(leaf, callback); }
    bool IsInstance() const { return kind == Kind::kEntry || kind == Kind::kElement; }
    bool IsKey() const;
    // The schema node comes first among those of a name. Null: there is none.
    Node* Child(const std::string& child) const;
    Node* Instance(const std::string& list, nc_int64 instance) const;
  };

  // How far a path leads.
  struct Way {
    Node* last = nullptr;
    size_t names = 0;
    size_t ids = 0;
  };

  // The leaves must outlive it.
  explicit ReferenceTree(const std::vector<ModelLeaf>& schema);

  static bool Offers(const ModelLeaf* leaf, Callback callback) {
    return leaf != nullptr && (leaf->callbacks & static_cast<unsigned>(callback)) != 0;
  }

  const Nodes& roots() const { return roots_; }

  // `to_leaf_lists`: a leaf-list is the end of a path, and not one of its elements.
  Way Follow(const std::vector<std::string>& names, const Ids& ids, bool to_leaf_lists) const;

  // Makes what is missing on the way, and stamps it. The last node, or null.
  Node* MakeWay(const std::vector<std::string>& names, const Ids& ids, int src);
  // Forgets what MakeWay has made, or takes it out, the last first.
  void KeepWay() { made_.clear(); }
  void UnmakeWay();

  // An instance of a list, or of a leaf-list, that is among the parent's children. Null for an id
  // that none can have.
  static Node* MakeInstance(Node* parent, const Node& list, nc_int64 id, int src);
  static void Remove(Node* node);

  // The instances along a path of lists, as far as they are missing.
  void AddInstance(const std::vector<std::string>& lists, const Ids& ids, int src);
  void SetSource(const std::string& path, int src);

  // The nodes of a kind, and all of them.
  size_t Count(Kind kind) const;
  size_t size() const;

  // Every node with its source, by its path with the ids in place.
  std::map<std::string, int> Sources() const;

 private:
  void Register(const ModelLeaf& leaf);
  static Node* Copy(Node* parent, const Node& from, Kind kind, nc_int64 id, int src);

  Nodes roots_;
  std::vector<Node*> made_;  // the topmost of each way
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_REFERENCE_TREE_H_
