// The device's data model as a tree of schema nodes, and the texts of its paths and values.
#ifndef TESTS_INTEGRATION_SCHEMA_TREE_H_
#define TESTS_INTEGRATION_SCHEMA_TREE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "device_schema.h"
#include "reference/reference_value.h"

namespace ncdm_test {

// A node of the schema.
struct Schema {
  enum class Kind { kContainer, kList, kLeafList, kLeaf };
  Kind kind = Kind::kContainer;
  std::string name{};
  std::string path{};        // plain
  std::size_t depth = 0;     // lists on the path, itself included
  bool has_command = false;  // a list that is served by exe_cmd and get_attr
  LeafDefinition leaf{};     // of a leaf or leaf-list
  const Schema* parent = nullptr;
  std::vector<std::unique_ptr<Schema>> children{};
  std::vector<const Schema*> keys{};  // of a list

  const Schema* Find(std::string_view child) const;
  // What a path from here, without list markers, leads to; or null.
  const Schema* FindPath(std::string_view plain_path) const;
  bool offers(Offer offer) const { return (leaf.offers & offer) != 0; }
  // The list whose entries it is in; null outside lists.
  const Schema* EnclosingList() const;
};

// The device's; the root has no name.
std::unique_ptr<const Schema> BuildSchema();

// The path of an entry, a leaf or a leaf-list's element, with its ids in place.
std::string InstancePath(const Schema& schema, const Ids& ids);
std::string JoinPath(const std::string& path, const std::string& name);
std::string JoinPath(const std::string& path, const std::string& name, std::int64_t id);

Ids Prefix(const Ids& ids, std::size_t count);
Ids Below(Ids ids, std::int64_t id);

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_SCHEMA_TREE_H_
