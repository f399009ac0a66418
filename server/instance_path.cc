#include "server/instance_path.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace ncdm::server {
namespace {

std::string_view TakeComponent(std::string_view* path) {
  const std::size_t end = std::min(path->find('.'), path->size());
  const std::string_view component = path->substr(0, end);
  path->remove_prefix(std::min(end + 1, path->size()));
  return component;
}

// An instance id is positive.
std::optional<std::int64_t> Id(std::string_view text) {
  std::int64_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  const bool is_id = error == std::errc() && end == text.data() + text.size() && id > 0;
  return is_id ? std::optional(id) : std::nullopt;
}

}  // namespace

std::optional<InstancePath> FindInstance(const Schema& schema, std::string_view path) {
  InstancePath place{.node = &schema.root(), .ids = {}};
  bool id_is_due = false;
  while (!path.empty()) {
    const std::string_view component = TakeComponent(&path);
    if (id_is_due) {
      const auto id = Id(component);
      if (!id) {
        return std::nullopt;
      }
      place.ids.push_back(*id);
      id_is_due = false;
    } else {
      place.node = place.node->Child(component);
      if (place.node == nullptr) {
        return std::nullopt;
      }
      id_is_due = place.node->has_instances();
    }
  }
  const bool is_complete = !id_is_due || place.node->is_leaf_list();
  return is_complete && place.node != &schema.root() ? std::optional(std::move(place))
                                                     : std::nullopt;
}

std::string PathWithIds(const SchemaNode& node, const Ids& ids) {
  std::string text;
  auto id = ids.begin();
  for (const SchemaNode* step : node.Way()) {
    text += (text.empty() ? "" : ".") + step->name;
    if (step->has_instances() && id != ids.end()) {
      text += "." + std::to_string(*id++);
    }
  }
  return text;
}

}  // namespace ncdm::server
