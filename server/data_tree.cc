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
  constexpr std::size_t kOdd = 0x9e3779b97f4a7c15;  // spreads what pointers have in common
  std::size_t hash = std::hash<const void*>()(place.parent);
  hash = hash * kOdd + std::hash<const void*>()(place.schema);
  return hash * kOdd + std::hash<std::int64_t>()(place.id);
}

DataTree::DataTree(const Schema& schema) : schema_(schema), nodes_(1) {
  nodes_.front().schema = &schema.root();
}

std::size_t DataTree::Add(std::vector<Value> values) {
  std::size_t left_out = 0;
  for (Value& value : values) {
    const auto place = FindInstance(schema_, value.path);
    if (!place || !place->node->is_leaf) {
      ++left_out;
      continue;
    }
    DataNode* node = &nodes_.front();
    auto id = place->ids.begin();
    for (const SchemaNode* step : place->node->Way()) {
      const bool has_id = step->has_instances() && id != place->ids.end();
      node = ChildOrNew(node, step, has_id ? *id++ : 0);
    }
    node->value = std::move(value.value);
  }
  return left_out;
}

DataNode* DataTree::ChildOrNew(DataNode* parent, const SchemaNode* schema, std::int64_t id) {
  const auto [place, is_new] = places_.try_emplace(Place{parent, schema, id}, nullptr);
  if (is_new) {
    nodes_.push_back({.schema = schema, .id = id});
    place->second = &nodes_.back();
    parent->children.push_back(place->second);
  }
  return place->second;
}

}  // namespace ncdm::server
