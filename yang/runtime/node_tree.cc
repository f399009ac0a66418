#include "node_tree.h"

#include <algorithm>

#include "record.h"

namespace ncdm::model {
namespace {

TreeNode& ChildOrNew(TreeNode& parent, std::string_view name) {
  const auto known = std::ranges::find(parent.children, name, &TreeNode::name);
  if (known != parent.children.end()) return *known;
  return parent.children.emplace_back(TreeNode{std::string(name), nullptr, {}});
}

}  // namespace

const TreeNode* TreeNode::Child(std::string_view child) const {
  const auto known = std::ranges::find(children, child, &TreeNode::name);
  return known == children.end() ? nullptr : &*known;
}

TreeNode BuildTree(const ncdm_model_t& model) {
  TreeNode root;
  for (const ncdm_node_t* node : Nodes(model)) {
    TreeNode* at = &root;
    std::string_view rest = node->path;
    while (!rest.empty()) {
      const size_t dot = std::min(rest.find('.'), rest.size());
      const std::string_view name = rest.substr(0, dot);
      rest.remove_prefix(std::min(dot + 1, rest.size()));
      if (name != "{i}") at = &ChildOrNew(*at, name);
    }
    at->node = node;
  }
  return root;
}

}  // namespace ncdm::model
