#include "server/schema.h"

#include <algorithm>
#include <iterator>

namespace ncdm::server {
namespace {

std::string_view NextComponent(std::string_view* path) {
  const std::size_t dot = path->find('.');
  const std::string_view component = path->substr(0, dot);
  path->remove_prefix(dot == std::string_view::npos ? path->size() : dot + 1);
  return component;
}

}  // namespace

bool IsNumber(std::string_view component) {
  return !component.empty() &&
         std::ranges::all_of(component, [](char c) { return c >= '0' && c <= '9'; });
}

const SchemaNode* SchemaNode::Child(std::string_view child_name) const {
  const auto child = by_name.find(child_name);
  return child == by_name.end() ? nullptr : child->second;
}

std::vector<const SchemaNode*> SchemaNode::Keys() const {
  std::vector<const SchemaNode*> keys;
  std::ranges::copy_if(children, std::back_inserter(keys), [](const SchemaNode* child) {
    return child->is_leaf && child->key_flag() != 0;
  });
  return keys;
}

std::vector<const SchemaNode*> SchemaNode::Way() const {
  std::vector<const SchemaNode*> way;
  for (const SchemaNode* node = this; node->parent != nullptr; node = node->parent) {
    way.push_back(node);
  }
  std::ranges::reverse(way);
  return way;
}

std::string SchemaNode::Path() const {
  std::string path;
  for (const SchemaNode* node : Way()) {
    path += path.empty() ? "" : ".";
    path += node->name;
  }
  return path;
}

Schema::Schema(const std::vector<RegisteredPath>& paths) : nodes_(1) {
  for (const RegisteredPath& registered : paths) {
    Add(registered);
  }
}

void Schema::Add(const RegisteredPath& registered) {
  SchemaNode* const top = &nodes_.front();
  SchemaNode* node = top;
  std::string_view rest = registered.path;
  while (!rest.empty()) {
    const std::string_view component = NextComponent(&rest);
    // A marker or an id says of the component before it that it is a list; behind the last one it
    // says nothing.
    if (component == kListMarker || (IsNumber(component) && node != top)) {
      node->is_list = node->is_list || !rest.empty();
    } else {
      node = ChildOrNew(node, component);
    }
  }
  if (node != top) {
    node->is_leaf = true;
    node->attributes = registered.attributes;
  }
}

SchemaNode* Schema::ChildOrNew(SchemaNode* parent, std::string_view name) {
  const auto known = parent->by_name.find(name);
  if (known != parent->by_name.end()) {
    return known->second;
  }
  nodes_.push_back({.name = std::string(name), .parent = parent});
  SchemaNode* const child = &nodes_.back();
  parent->children.push_back(child);
  parent->by_name.emplace(child->name, child);
  return child;
}

}  // namespace ncdm::server
