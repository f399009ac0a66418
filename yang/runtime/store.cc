#include "store.h"

#include <algorithm>
#include <limits>

#include "record.h"

namespace ncdm::model {
namespace {

bool BeginsWith(const Ids& ids, const Ids& prefix) {
  return ids.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), ids.begin());
}

Ids Outer(const Ids& ids) { return {ids.begin(), ids.end() - 1}; }

// What tells an entry from all others of its node: the ids around it, and its keys.
std::string PlaceAndKeys(const ncdm_node_t& node, const Ids& outer, const void* record) {
  std::string place(reinterpret_cast<const char*>(outer.data()),
                    outer.size() * sizeof(Ids::value_type));
  return place + KeyText(node, record);
}

bool HasKeys(const ncdm_node_t& node) {
  return std::ranges::any_of(Leaves(node), [](const ncdm_leaf_t& leaf) { return IsKey(leaf); });
}

}  // namespace

const Store::Table* Store::TableOf(const ncdm_node_t& node) const {
  const auto found = tables_.find(&node);
  return found == tables_.end() ? nullptr : &found->second;
}

const Record* Store::Get(const ncdm_node_t& node, const Ids& ids) const {
  const Table* table = TableOf(node);
  if (table == nullptr) return nullptr;
  const auto found = table->records.find(ids);
  return found == table->records.end() ? nullptr : &found->second;
}

void Store::Put(const ncdm_node_t& node, const Ids& ids, const void* record) {
  const auto* bytes = static_cast<const std::byte*>(record);
  Table& table = tables_[&node];
  const bool indexed = node.kind != NCDM_CONTAINER && HasKeys(node);
  const auto known = table.records.find(ids);
  if (known == table.records.end()) {
    table.records.emplace(ids, Record(bytes, bytes + node.size));
  } else {
    if (indexed) table.by_keys.erase(PlaceAndKeys(node, Outer(ids), known->second.data()));
    known->second.assign(bytes, bytes + node.size);
  }
  if (indexed) table.by_keys[PlaceAndKeys(node, Outer(ids), record)] = ids.back();
}

void Store::EraseBelow(const ncdm_node_t& node, const Ids& prefix) {
  const auto found = tables_.find(&node);
  if (found == tables_.end()) return;
  auto& defaulted = found->second.defaulted;
  const auto first_defaulted = defaulted.lower_bound(prefix);
  defaulted.erase(first_defaulted,
                  std::find_if(first_defaulted, defaulted.end(),
                               [&](const Ids& ids) { return !BeginsWith(ids, prefix); }));
  auto& records = found->second.records;
  auto last = records.lower_bound(prefix);
  const auto first = last;
  for (; last != records.end() && BeginsWith(last->first, prefix); ++last) {
    if (node.kind == NCDM_CONTAINER) continue;
    found->second.by_keys.erase(PlaceAndKeys(node, Outer(last->first), last->second.data()));
  }
  records.erase(first, last);
}

void Store::Drop(const ncdm_node_t& node, const Ids& ids) {
  EraseBelow(node, ids);
  for (const ncdm_node_t* other : Nodes(*node.model)) {
    if (IsBelow(*other, node)) EraseBelow(*other, ids);
  }
}

int64_t Store::Find(const ncdm_node_t& node, const Ids& outer, const void* record) const {
  const Table* table = TableOf(node);
  if (table == nullptr || !HasKeys(node)) return 0;
  const auto found = table->by_keys.find(PlaceAndKeys(node, outer, record));
  return found == table->by_keys.end() ? 0 : found->second;
}

int64_t Store::NewId(const ncdm_node_t& node, const Ids& outer, const void* record) const {
  if (node.key_is_id) return KeyNumber(node, record);
  const Table* table = TableOf(node);
  if (table == nullptr) return 1;
  Ids beyond = outer;
  beyond.push_back(std::numeric_limits<int64_t>::max());
  auto last = table->records.upper_bound(beyond);
  if (last == table->records.begin()) return 1;
  --last;
  return BeginsWith(last->first, outer) ? last->first.back() + 1 : 1;
}

int64_t Store::Next(const ncdm_node_t& node, const Ids& outer, int64_t after) const {
  Ids ids = outer;
  ids.push_back(after);
  const auto& records = All(node);
  const auto next = records.upper_bound(ids);
  return next != records.end() && BeginsWith(next->first, outer) ? next->first.back() : 0;
}

std::vector<Ids> Store::Below(const ncdm_node_t& node, const Ids& prefix) const {
  std::vector<Ids> below;
  const auto& records = All(node);
  for (auto at = records.lower_bound(prefix); at != records.end(); ++at) {
    if (!BeginsWith(at->first, prefix)) break;
    below.push_back(at->first);
  }
  return below;
}

bool Store::HasDefaults(const ncdm_node_t& node, const Ids& outer) const {
  const Table* table = TableOf(node);
  return table != nullptr && table->defaulted.contains(outer);
}

void Store::SetHasDefaults(const ncdm_node_t& node, const Ids& outer, bool has_defaults) {
  if (has_defaults) {
    tables_[&node].defaulted.insert(outer);
  } else {
    tables_[&node].defaulted.erase(outer);
  }
}

const std::map<Ids, Record>& Store::All(const ncdm_node_t& node) const {
  static const std::map<Ids, Record> kNone;
  const Table* table = TableOf(node);
  return table == nullptr ? kNone : table->records;
}

}  // namespace ncdm::model
