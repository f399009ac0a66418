// The nodes of a model as the tree that their paths describe, for whoever walks down from the top.
#ifndef YANG_RUNTIME_NODE_TREE_H_
#define YANG_RUNTIME_NODE_TREE_H_

#include <string>
#include <string_view>
#include <vector>

#include "ncdm_model.h"

namespace ncdm::model {

struct TreeNode {
  std::string name;
  // Null for a container without leaves of its own.
  const ncdm_node_t* node = nullptr;
  std::vector<TreeNode> children;

  const TreeNode* Child(std::string_view child) const;
};

// The root has no name; its children are the top of the module, in the module's order.
TreeNode BuildTree(const ncdm_model_t& model);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_NODE_TREE_H_
