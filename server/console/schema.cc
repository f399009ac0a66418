#include "server/console/schema.h"

#include <algorithm>

namespace ncdm::console {
namespace {

constexpr std::string_view kListMarker = "{i}";

std::string_view NextComponent(std::string_view* path) {
  const std::size_t dot = path->find('.');
  const std::string_view component = path->substr(0, dot);
  path->remove_prefix(dot == std::string_view::npos ? path->size() : dot + 1);
  return component;
}

SchemaNode* ChildOrNew(SchemaNode* parent, std::string_view name) {
  const auto child = std::ranges::find_if(
      parent->children, [&](const auto& candidate) { return candidate->name == name; });
  if (child != parent->children.end()) {
    return child->get();
  }
  parent->children.push_back(
      std::make_unique<SchemaNode>(SchemaNode{.name = std::string(name), .parent = parent}));
  return parent->children.back().get();
}

}  // namespace

bool IsNumber(std::string_view component) {
  return !component.empty() &&
         std::ranges::all_of(component, [](char c) { return c >= '0' && c <= '9'; });
}

const SchemaNode* SchemaNode::Child(std::string_view child_name) const {
  const auto child = std::ranges::find_if(
      children, [&](const auto& candidate) { return candidate->name == child_name; });
  return child == children.end() ? nullptr : child->get();
}

std::vector<const SchemaNode*> SchemaNode::Keys() const {
  std::vector<const SchemaNode*> keys;
  for (const auto& child : children) {
    if (child->is_leaf && child->key_flag() != 0) {
      keys.push_back(child.get());
    }
  }
  return keys;
}

std::string SchemaNode::Path() const {
  if (parent == nullptr || parent->parent == nullptr) {
    return name;
  }
  return parent->Path() + "." + name;
}

Schema::Schema(const std::vector<server::RegisteredPath>& paths)
    : root_(std::make_unique<SchemaNode>()) {
  for (const server::RegisteredPath& registered : paths) {
    std::string_view rest = registered.path;
    SchemaNode* node = root_.get();
    while (!rest.empty()) {
      const std::string_view component = NextComponent(&rest);
      // A marker or an id says of the component before it that it is a list; behind the last one it
      // says nothing.
      if (component == kListMarker || (IsNumber(component) && node != root_.get())) {
        node->is_list = node->is_list || !rest.empty();
      } else {
        node = ChildOrNew(node, component);
      }
    }
    if (node != root_.get()) {
      node->is_leaf = true;
      node->attributes = registered.attributes;
    }
  }
}

}  // namespace ncdm::console
