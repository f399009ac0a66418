// The agent's tree as it should be: the instances that it knows, which are not always those that
// the application has, in their order of creation, and who created them.
#ifndef TESTS_INTEGRATION_REFERENCE_TREE_H_
#define TESTS_INTEGRATION_REFERENCE_TREE_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "schema_tree.h"

namespace ncdm_test {

class ReferenceTree {
 public:
  // A container, an entry or an element.
  struct Node {
    const Schema* schema = nullptr;
    int src = 0;
    std::map<std::string, int> leaf_src{};
    std::map<std::string, Node> containers{};
    std::map<std::pair<std::string, std::int64_t>, Node> instances{};
    std::vector<std::pair<std::string, std::int64_t>> order{};  // of creation
  };

  // Where a path leads.
  struct Place {
    enum class Kind { kNothing, kObject, kLeaf, kLeafList, kElement };
    Kind kind = Kind::kNothing;
    const Schema* schema = nullptr;
    Node* node = nullptr;   // of an object or element; else of what has the leaf
    Node* owner = nullptr;  // the node above; null at the top
    std::size_t matched = 0;
    std::size_t ids_used = 0;
  };

  explicit ReferenceTree(const Schema* schema);

  const Node& root() const { return root_; }

  // The deepest place on a path. `to_leaf_list`: a leaf-list is a place of its own.
  Place Match(const std::vector<std::string>& names, const Ids& ids, bool to_leaf_list);
  // Makes the instances along a path that are missing, and stamps the way. The deepest place, or
  // nothing.
  Place CreateMissing(const std::vector<std::string>& names, const Ids& ids, int src);
  // Takes out what was made since the last BeginWay.
  void BeginWay() { made_.clear(); }
  void UnmakeWay();

  static Node* AddInstance(Node* owner, const Schema* schema, std::int64_t id, int src);
  static void RemoveInstance(Node* owner, const std::string& name, std::int64_t id);
  static Node* FindInstance(Node* owner, const std::string& name, std::int64_t id);

  // The ids of the instances of a list, or leaf-list, below the instance `ids`.
  std::vector<std::int64_t> InstancesAt(const Schema& list, const Ids& ids) const;

  // What the agent should count.
  std::size_t total_nodes() const;
  std::size_t total_entries() const { return CountInstances(root_, Schema::Kind::kList); }
  std::size_t total_elements() const { return CountInstances(root_, Schema::Kind::kLeafList); }

 private:
  static Node Make(const Schema* schema, int src);
  static Place Step(const Place& from, const Schema* child, Node* instance);
  static void Stamp(const Place& place, int src);
  static std::size_t CountInstances(const Node& node, Schema::Kind kind);
  static std::size_t InstanceSizes(const Node& node);

  // An instance that was made on the way.
  struct Made {
    Node* owner;
    std::string name;
    std::int64_t id;
  };

  const Schema* schema_;
  Node root_;
  std::vector<Made> made_{};
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_REFERENCE_TREE_H_
