#include "schema_tree.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace ncdm_test {
namespace {

bool IsNumber(const std::string& text) {
  const std::size_t first = text.starts_with('-') ? 1 : 0;
  if (text.size() == first) return false;
  if (text[0] == '0' && text.size() > 1) return false;
  return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(first), text.end(),
                     [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<std::string> InRange(const std::string& text, __int128 low, __int128 high) {
  if (!IsNumber(text) || text.size() > 21) return std::nullopt;
  __int128 value = 0;
  for (const char c : text) {
    if (c != '-') value = value * 10 + (c - '0');
  }
  if (text[0] == '-') value = -value;
  return value >= low && value <= high ? std::optional(text) : std::nullopt;
}

}  // namespace

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

std::size_t Schema::Size() const {
  std::size_t size = 1;
  for (const auto& child : children) size += child->Size();
  return size;
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

std::optional<std::string> Canonical(nc_dm_val_type_t type,
                                     const std::optional<std::string>& text) {
  constexpr __int128 kOne = 1;
  if (IsTextType(type)) return text.value_or("");
  if (type == NC_DM_VAL_TYPE_BOOL) {
    if (!text || *text == "false" || *text == "0") return "false";
    return *text == "true" || *text == "1" ? std::optional<std::string>("true") : std::nullopt;
  }
  const std::string number = text.value_or("0");
  switch (type) {
    case NC_DM_VAL_TYPE_SHORT:
      return InRange(number, -32768, 32767);
    case NC_DM_VAL_TYPE_USHORT:
      return InRange(number, 0, 65535);
    case NC_DM_VAL_TYPE_INT:
      return InRange(number, -(kOne << 31), (kOne << 31) - 1);
    case NC_DM_VAL_TYPE_UINT:
      return InRange(number, 0, (kOne << 32) - 1);
    case NC_DM_VAL_TYPE_LONGLONG:
      return InRange(number, -(kOne << 63), (kOne << 63) - 1);
    case NC_DM_VAL_TYPE_ULONGLONG:
      return InRange(number, 0, (kOne << 64) - 1);
    default:
      throw std::logic_error("a type that the device does not have");
  }
}

std::optional<std::vector<std::string>> ParsePath(std::string_view path) {
  if (path.empty() || path.starts_with('.') || path.find("..") != std::string_view::npos) {
    return std::nullopt;
  }
  std::vector<std::string> names = Names(path);
  return names.empty() ? std::nullopt : std::optional(names);
}

}  // namespace ncdm_test
