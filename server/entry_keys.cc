#include "server/entry_keys.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "server/instance_path.h"

namespace ncdm::server {

EntryLookup::EntryLookup(const SchemaNode& list, std::vector<KeyValue> keys, Ids outer)
    : list_(list), keys_(std::move(keys)), outer_(std::move(outer)) {}

// Each key is asked for on its own. (One lookup of several keys would do but for three or more: the
// agent takes an intersection that has become empty for one that has not begun.)
std::optional<Request> EntryLookup::Next() const {
  if (asked_ == keys_.size() || (asked_ > 0 && entries_.empty())) {
    return std::nullopt;
  }
  const KeyValue& key = keys_[asked_];
  return FindIds({{.name = list_.Path() + "." + key.key, .value = key.value, .ids = outer_}});
}

void EntryLookup::Take(std::vector<Ids> found) {
  std::erase_if(found, [this](const Ids& ids) { return ids.size() != outer_.size() + 1; });
  std::ranges::sort(found);
  found.erase(std::unique(found.begin(), found.end()), found.end());
  if (asked_++ == 0) {
    entries_ = std::move(found);
    return;
  }
  std::vector<Ids> common;
  std::ranges::set_intersection(entries_, found, std::back_inserter(common));
  entries_ = std::move(common);
}

EntryLookup::Result EntryLookup::result() const {
  return entries_.empty()       ? Result::kMissing
         : entries_.size() == 1 ? Result::kFound
                                : Result::kSeveral;
}

Request ReadKeys(const SchemaNode& list, const Ids& ids) {
  std::vector<ReadElement> elements;
  for (const SchemaNode* key : list.Keys()) {
    elements.push_back({.name = key->Path(), .ids = ids});
  }
  return ReadValues(elements);
}

std::optional<std::vector<KeyValue>> KeysFrom(const SchemaNode& list, const Ids& ids,
                                              const std::vector<Value>& values) {
  std::vector<KeyValue> keys;
  for (const SchemaNode* key : list.Keys()) {
    const auto value = std::ranges::find(values, PathWithIds(*key, ids), &Value::path);
    if (value == values.end()) {
      return std::nullopt;
    }
    keys.push_back({key->name, value->value});
  }
  return keys;
}

}  // namespace ncdm::server
