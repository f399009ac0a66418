// The tree that an agent's registered paths make up.
#ifndef NCDM_SERVER_CONSOLE_SCHEMA_H_
#define NCDM_SERVER_CONSOLE_SCHEMA_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "server/registry.h"

namespace ncdm::console {

struct SchemaNode {
  std::string name;
  const SchemaNode* parent = nullptr;
  bool is_list = false;
  bool is_leaf = false;                                 // or a leaf-list
  std::int32_t attributes = 0;                          // of a leaf, as registered
  std::vector<std::unique_ptr<SchemaNode>> children{};  // in order of registration

  bool is_leaf_list() const { return is_leaf && (attributes & NC_DM_FLAG_LEAF_LIST) != 0; }
  std::int32_t key_flag() const { return attributes & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE); }
  bool has_slot() const { return (attributes & server::RegisteredPath::kSlot) != 0; }

  const SchemaNode* Child(std::string_view child_name) const;
  // Key leaves among the children.
  std::vector<const SchemaNode*> Keys() const;
  // "interfaces.interface.mtu"
  std::string Path() const;
};

// A decimal component, which names an instance rather than a node.
bool IsNumber(std::string_view component);

class Schema {
 public:
  explicit Schema(const std::vector<server::RegisteredPath>& paths);

  const SchemaNode& root() const { return *root_; }

 private:
  std::unique_ptr<SchemaNode> root_;  // without a name; stays in place when the schema is moved
};

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_SCHEMA_H_
