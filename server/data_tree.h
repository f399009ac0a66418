// What was read from an agent, as a tree: containers, list entries, leaves and leaf-list values.
//
//   const Schema schema(agent.registry.Paths());
//   DataTree data(schema);
//   data.Add(answer.values);
//   for (const DataNode* top : data.root().children) ...
//
// The schema must outlive the tree. Memory and time are linear in what is added, so an answer of
// any shape may be taken.
#ifndef NCDM_SERVER_DATA_TREE_H_
#define NCDM_SERVER_DATA_TREE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/answer.h"
#include "server/schema.h"

namespace ncdm::server {

// A container, an entry of a list, a leaf or a value of a leaf-list: `schema` tells which.
struct DataNode {
  using Children = std::pmr::vector<const DataNode*>;
  const SchemaNode* schema = nullptr;
  std::int64_t id = 0;  // of an entry or a leaf-list's value; else 0
  std::string value{};  // of a leaf or a leaf-list's value
  Children children{};  // in the order of reading; entries of a list may
                        // stand between other children
  // The leaf of that name; null when it was not read.
  const DataNode* Leaf(const SchemaNode& leaf) const;
};

class DataTree {
 public:
  // Empty.
  explicit DataTree(const Schema& schema);

  // Adds what was read. What leads nowhere in the schema is left out (FindInstance says when); a
  // leaf that is read again takes the later value. Returns how many values were left out.
  std::size_t Add(std::vector<Value> values);

  // Above the top-level nodes; its `schema` is the schema's root.
  const DataNode& root() const { return nodes_.front(); }

 private:
  struct Place {
    const DataNode* parent;
    const SchemaNode* schema;
    std::int64_t id;
    friend bool operator==(const Place&, const Place&) = default;
  };
  struct PlaceHash {
    std::size_t operator()(const Place& place) const;
  };
  // Where the leaf that was added last stands: the leaves of an entry come one after the other.
  struct LastParent {
    std::string_view path;  // with the dot behind it; empty before the first leaf
    DataNode* node = nullptr;
  };
  // The node of a value's path; null for one that leads nowhere. May change `last`.
  DataNode* NodeOf(std::string_view path, LastParent* last);
  DataNode* ChildOrNew(DataNode* parent, const SchemaNode* schema, std::int64_t id);

  const Schema& schema_;
  // All nodes go at once, so what they take is not released piece by piece. Shared with what is
  // left of a tree that was moved; const, so that moving copies it.
  const std::shared_ptr<std::pmr::monotonic_buffer_resource> memory_;
  std::pmr::deque<DataNode> nodes_;  // they stay in place when the tree is moved
  std::pmr::unordered_map<Place, DataNode*, PlaceHash> places_;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_DATA_TREE_H_
