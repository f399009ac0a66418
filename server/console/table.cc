#include "server/console/table.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace ncdm::console {
namespace {

using server::SchemaNode;

void CollectColumns(const SchemaNode& node, const std::string& prefix,
                    std::vector<EntryColumn>* columns) {
  for (const auto& child : node.children) {
    if (child->is_leaf) {
      columns->push_back({prefix + child->name, child->is_leaf_list()});
    } else if (!child->is_list) {
      CollectColumns(*child, prefix + child->name + ".", columns);
    }
  }
}

std::vector<std::string_view> Components(std::string_view path) {
  std::vector<std::string_view> components;
  while (!path.empty()) {
    const std::size_t dot = std::min(path.find('.'), path.size());
    components.push_back(path.substr(0, dot));
    path.remove_prefix(std::min(dot + 1, path.size()));
  }
  return components;
}

std::optional<std::int64_t> Id(std::string_view text) {
  std::int64_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(id)
                                                                  : std::nullopt;
}

// Where a read path leads.
struct Place {
  server::Ids ids;
  std::string column;
};

// Walks a read path from the top: names along the schema, and behind each list an id.
std::optional<Place> FindPlace(const SchemaNode& root, const SchemaNode& list,
                               std::string_view path) {
  Place place;
  const SchemaNode* node = &root;
  bool inside = false;
  for (const std::string_view component : Components(path)) {
    if (const SchemaNode* child = node->Child(component)) {
      node = child;
      if (inside && child->is_list) {
        return std::nullopt;
      }
      if (inside) {
        place.column += (place.column.empty() ? "" : ".") + child->name;
      }
    } else if (const auto id = Id(component)) {
      if (node->is_list) {
        place.ids.push_back(*id);
        inside = inside || node == &list;
      }
    } else {
      return std::nullopt;
    }
  }
  return inside && node->is_leaf ? std::optional(std::move(place)) : std::nullopt;
}

}  // namespace

EntryTable MakeEntryTable(const SchemaNode& list, const std::vector<server::Value>& values) {
  EntryTable table;
  CollectColumns(list, "", &table.columns);
  const SchemaNode* root = &list;
  while (root->parent != nullptr) {
    root = root->parent;
  }
  std::map<server::Ids, std::size_t> rows;
  for (const server::Value& value : values) {
    const std::optional<Place> place = FindPlace(*root, list, value.path);
    if (!place) {
      continue;
    }
    const auto [row, is_new] = rows.try_emplace(place->ids, table.rows.size());
    if (is_new) {
      table.rows.push_back({place->ids, {}});
    }
    table.rows[row->second].values[place->column].push_back(value.value);
  }
  return table;
}

}  // namespace ncdm::console
