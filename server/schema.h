// The tree that an agent's registered paths make up: containers, lists, leaves and leaf-lists.
//
//   const Schema schema(agent.registry.Paths());
//   const SchemaNode* mtu = schema.root().Child("interfaces")->Child("interface")->Child("mtu");
//
// A schema holds copies: it stays valid when the agent announces more, or goes away. Make it anew
// when Registry::version() has changed.
#ifndef NCDM_SERVER_SCHEMA_H_
#define NCDM_SERVER_SCHEMA_H_

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/registry.h"

namespace ncdm::server {

// How a registered path marks the component before it as a list.
inline constexpr std::string_view kListMarker = "{i}";

struct SchemaNode {
  std::string name;
  const SchemaNode* parent = nullptr;  // null for the root alone
  bool is_list = false;
  bool is_leaf = false;                                         // or a leaf-list
  std::int32_t attributes = 0;                                  // of a leaf, as registered
  std::vector<const SchemaNode*> children{};                    // in order of registration
  std::unordered_map<std::string_view, SchemaNode*> by_name{};  // the same, to look one up

  bool is_leaf_list() const { return is_leaf && (attributes & NC_DM_FLAG_LEAF_LIST) != 0; }
  // NC_DM_FLAG_KEY, NC_DM_FLAG_KEY_SETTABLE, or 0 for what is no key leaf.
  std::int32_t key_flag() const { return attributes & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE); }
  bool has_slot() const { return (attributes & RegisteredPath::kSlot) != 0; }
  // True if its instances have an id: a list or a leaf-list.
  bool has_instances() const { return is_list || is_leaf_list(); }

  // Null when there is none of that name.
  const SchemaNode* Child(std::string_view child_name) const;
  // Key leaves among the children, in order of registration.
  std::vector<const SchemaNode*> Keys() const;
  // From the top, this node included, the root left out.
  std::vector<const SchemaNode*> Way() const;
  // "interfaces.interface.mtu", as requests name it; empty for the root.
  std::string Path() const;
};

// A decimal component, which names an instance rather than a node.
bool IsNumber(std::string_view component);

class Schema {
 public:
  explicit Schema(const std::vector<RegisteredPath>& paths);

  // Above the top-level nodes; without a name.
  const SchemaNode& root() const { return nodes_.front(); }

 private:
  void Add(const RegisteredPath& registered);
  SchemaNode* ChildOrNew(SchemaNode* parent, std::string_view name);

  // The root and all below it. They stay in place when the schema is moved, and their release does
  // not descend, however deep a path is.
  std::deque<SchemaNode> nodes_;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_SCHEMA_H_
