#include "schema_tree.h"

#include <sstream>

namespace ncdm_test {

const Schema* Schema::Find(std::string_view child) const {
  for (const auto& candidate : children) {
    if (candidate->name == child) return candidate.get();
  }
  return nullptr;
}

const Schema* Schema::EnclosingList() const {
  const Schema* at = parent;
  while (at != nullptr && at->kind != Kind::kList) at = at->parent;
  return at;
}

const Schema* Schema::FindPath(std::string_view plain_path) const {
  const Schema* at = this;
  for (const std::string& name : Names(plain_path)) {
    if (at != nullptr) at = at->Find(name);
  }
  return at;
}

std::unique_ptr<const Schema> BuildSchema() {
  auto root = std::make_unique<Schema>();
  for (const LeafDefinition& definition : kLeaves) {
    Schema* at = root.get();
    std::vector<std::string> components;
    std::istringstream path(definition.path);
    for (std::string component; std::getline(path, component, '.');) {
      components.push_back(component);
    }
    for (std::size_t i = 0; i < components.size(); ++i) {
      const bool is_list = i + 1 < components.size() && components[i + 1] == "{i}";
      if (components[i] == "{i}") continue;
      Schema* child = const_cast<Schema*>(at->Find(components[i]));
      if (child == nullptr) {
        child = at->children.emplace_back(std::make_unique<Schema>()).get();
        child->name = components[i];
        child->path = JoinPath(at->path, child->name);
        child->parent = at;
        child->kind = is_list ? Schema::Kind::kList : Schema::Kind::kContainer;
        child->depth = at->depth + (is_list ? 1 : 0);
      }
      at = child;
    }
    at->kind = (definition.flag & NC_DM_FLAG_LEAF_LIST) != 0 ? Schema::Kind::kLeafList
                                                             : Schema::Kind::kLeaf;
    at->leaf = definition;
    Schema* parent = const_cast<Schema*>(at->parent);
    if ((definition.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0)
      parent->keys.push_back(at);
    if ((definition.offers & kExeCmd) != 0) parent->has_command = true;
  }
  return root;
}

std::string InstancePath(const Schema& schema, const Ids& ids) {
  std::vector<const Schema*> way;
  for (const Schema* at = &schema; at->parent != nullptr; at = at->parent) way.push_back(at);
  std::string path;
  std::size_t used = 0;
  for (auto at = way.rbegin(); at != way.rend(); ++at) {
    path = JoinPath(path, (*at)->name);
    if ((*at)->kind == Schema::Kind::kList || (*at)->kind == Schema::Kind::kLeafList) {
      path += "." + std::to_string(ids.at(used++));
    }
  }
  return path;
}

Ids Prefix(const Ids& ids, std::size_t count) {
  return Ids(ids.begin(), ids.begin() + static_cast<std::ptrdiff_t>(count));
}

Ids Below(Ids ids, std::int64_t id) {
  ids.push_back(id);
  return ids;
}

std::string JoinPath(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + "." + name;
}

std::string JoinPath(const std::string& path, const std::string& name, std::int64_t id) {
  return JoinPath(path, name) + "." + std::to_string(id);
}

}  // namespace ncdm_test
