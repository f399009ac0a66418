#include "server/data_tree.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "server/instance_path.h"

namespace ncdm::server {

const DataNode* DataNode::Leaf(const SchemaNode& leaf) const {
  const auto found = std::ranges::find(children, &leaf, &DataNode::schema);
  return found == children.end() ? nullptr : *found;
}

std::size_t DataTree::PlaceHash::operator()(const Place& place) const {
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15;  // spreads what pointers have in common
  std::uint64_t hash = std::hash<const void*>()(place.parent);
  hash = hash * kOdd + std::hash<const void*>()(place.schema);
  hash = hash * kOdd + static_cast<std::uint64_t>(place.id);
  return static_cast<std::size_t>(hash ^ hash >> 32);
}

DataTree::DataTree(const Schema& schema)
    : schema_(schema),
      memory_(std::make_shared<std::pmr::monotonic_buffer_resource>()),
      nodes_(memory_.get()),
      places_(memory_.get()) {
  nodes_.push_back({.schema = &schema.root(), .children = DataNode::Children(memory_.get())});
}

std::size_t DataTree::Add(std::vector<Value> values) {
  std::size_t left_out = 0;
  LastParent last;
  for (Value& value : values) {
    if (DataNode* node = NodeOf(value.path, &last)) {
      node->value = std::move(value.value);
    } else {
      ++left_out;
    }
  }
  return left_out;
}

DataNode* DataTree::NodeOf(std::string_view path, LastParent* last) {
  const std::string_view parent_path = path.substr(0, path.rfind('.') + 1);
  if (!parent_path.empty() && parent_path == last->path) {
    const SchemaNode* leaf = last->node->schema->Child(path.substr(parent_path.size()));
    if (leaf != nullptr && leaf->is_leaf && !leaf->has_instances()) {
      return ChildOrNew(last->node, leaf, 0);
    }
  }
  const auto place = FindInstance(schema_, path);
  if (!place || !place->node->is_leaf) {
    return nullptr;
  }
  DataNode* node = &nodes_.front();
  DataNode* parent = node;
  auto id = place->ids.begin();
  for (const SchemaNode* step : place->node->Way()) {
    const bool has_id = step->has_instances() && id != place->ids.end();
    parent = node;
    node = ChildOrNew(node, step, has_id ? *id++ : 0);
  }
  if (!place->node->has_instances()) {
    *last = {.path = parent_path, .node = parent};
  }
  return node;
}

DataNode* DataTree::ChildOrNew(DataNode* parent, const SchemaNode* schema, std::int64_t id) {
  const auto [place, is_new] = places_.try_emplace(Place{parent, schema, id}, nullptr);
  if (is_new) {
    nodes_.push_back({.schema = schema, .id = id, .children = DataNode::Children(memory_.get())});
    place->second = &nodes_.back();
    parent->children.push_back(place->second);
  }
  return place->second;
}

}  // namespace ncdm::server
