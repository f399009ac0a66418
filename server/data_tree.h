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
#include <string>
#include <unordered_map>
#include <vector>

#include "server/answer.h"
#include "server/schema.h"

namespace ncdm::server {

// A container, an entry of a list, a leaf or a value of a leaf-list: `schema` tells which.
struct DataNode {
  const SchemaNode* schema = nullptr;
  std::int64_t id = 0;                      // of an entry or a leaf-list's value; else 0
  std::string value{};                      // of a leaf or a leaf-list's value
  std::vector<const DataNode*> children{};  // in the order of reading; entries of a list may
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
  DataNode* ChildOrNew(DataNode* parent, const SchemaNode* schema, std::int64_t id);

  const Schema& schema_;
  std::deque<DataNode> nodes_;  // they stay in place when the tree is moved
  std::unordered_map<Place, DataNode*, PlaceHash> places_;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_DATA_TREE_H_
