#include "reference_model.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "server/names.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers

constexpr std::int64_t kMissing = -7;
constexpr std::int64_t kRefusal = -1;

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

bool GoesOn(const EditElement& edit) { return edit.error_option == ErrorOption::kContinue; }

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

Expectation Ok(std::int64_t instance) { return {.instance = instance}; }

}  // namespace

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

// ---- Requests and answers ----

Request ModelRequest::Build() const {
  switch (kind) {
    case Kind::kEntry:
      return ncdm::server::EditEntry(edits, as_command, datastore);
    case Kind::kSubtree:
      return ncdm::server::EditSubtree(edits, datastore);
    case Kind::kRead:
      return ReadValues(reads, datastore);
    case Kind::kReadOne:
      return ReadOne(reads.at(0), datastore);
    case Kind::kFind:
      return FindIds(reads, datastore);
  }
  return {};
}

std::string ModelRequest::Text() const {
  static constexpr const char* kNames[] = {"entry", "subtree", "read", "read-one", "find"};
  std::ostringstream text;
  text << kNames[static_cast<int>(kind)] << (as_command ? " as command" : "")
       << (datastore == NC_DM_DATASTORE_SDN ? " sdn" : "");
  for (const EditElement& edit : edits) {
    text << "\n  " << OperationName(static_cast<std::int32_t>(edit.operation)) << "/"
         << DefaultOperationName(static_cast<std::int32_t>(edit.default_operation)) << "/"
         << ErrorOptionName(static_cast<std::int32_t>(edit.error_option))
         << (edit.key != 0 ? " key " : " ") << edit.name;
    if (edit.value) text << "=" << *edit.value;
    text << " " << RenderIds(edit.ids);
  }
  for (const ReadElement& read : reads) {
    text << "\n  " << read.name;
    if (read.value) text << "=" << *read.value;
    text << " " << RenderIds(read.ids);
  }
  return text.str();
}

std::string Expectation::Compare(const Answer& answer) const {
  std::ostringstream difference;
  const auto fault_text = [](bool is_ok, std::int32_t code, const std::string& path) {
    return is_ok ? std::string("ok") : RenderFault(code, path);
  };
  const std::string expected = fault_text(ok, fault_code, fault_path);
  const std::string actual = answer.outcome == Outcome::kFault
                                 ? fault_text(false, answer.fault.code, answer.fault.path)
                             : answer.ok() ? "ok"
                                           : answer.error;
  if (expected != actual) {
    difference << "outcome: expected " << expected << ", got " << actual << "\n";
    return difference.str();
  }
  if (!ok) return {};
  if (instance != answer.instance || answer.status != 0) {
    difference << "instance: expected " << instance << ", got " << answer.instance << " (status "
               << answer.status << ")\n";
  }
  const auto render_value = [](const Value& value) { return value.path + "=" + value.value; };
  for (std::size_t i = 0; i < std::max(values.size(), answer.values.size()); ++i) {
    const std::string wanted = i < values.size() ? render_value(values[i]) : "(end)";
    const std::string got = i < answer.values.size() ? render_value(answer.values[i]) : "(end)";
    if (wanted != got) {
      difference << "value " << i << ": expected " << wanted << ", got " << got << "\n";
      break;
    }
  }
  for (std::size_t i = 0; i < std::max(ids.size(), answer.ids.size()); ++i) {
    const std::string wanted = i < ids.size() ? RenderIds(ids[i]) : "(end)";
    const std::string got = i < answer.ids.size() ? RenderIds(answer.ids[i]) : "(end)";
    if (wanted != got) {
      difference << "ids " << i << ": expected " << wanted << ", got " << got << "\n";
      break;
    }
  }
  return difference.str();
}

// ---- The schema ----

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

ReferenceModel::ReferenceModel() {
  for (const LeafSpec& spec : kLeaves) {
    Schema* at = &schema_;
    std::vector<std::string> components;
    std::istringstream path(spec.path);
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
    at->kind =
        (spec.flag & NC_DM_FLAG_LEAF_LIST) != 0 ? Schema::Kind::kLeafList : Schema::Kind::kLeaf;
    at->leaf = spec;
    Schema* parent = const_cast<Schema*>(at->parent);
    if ((spec.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0) parent->keys.push_back(at);
    if ((spec.offers & kExeCmd) != 0) parent->has_command = true;
  }
  root_ = Make(&schema_, 0);
}

const Schema* ReferenceModel::FindSchema(std::string_view path) const {
  const Schema* at = &schema_;
  for (const std::string& name : Names(path)) {
    if (at != nullptr) at = at->Find(name);
  }
  return at;
}

// ---- The tree ----

ReferenceModel::Node ReferenceModel::Make(const Schema* schema, int src) {
  Node node;
  node.schema = schema;
  node.src = src;
  for (const auto& child : schema->children) {
    if (child->kind == Schema::Kind::kLeaf) {
      node.leaf_src[child->name] = src;
    } else if (child->kind == Schema::Kind::kContainer) {
      node.containers[child->name] = Make(child.get(), src);
    }
  }
  return node;
}

ReferenceModel::Node* ReferenceModel::AddInstance(Node* owner, const Schema* schema,
                                                  std::int64_t id, int src) {
  owner->order.emplace_back(schema->name, id);
  return &(owner->instances[{schema->name, id}] = Make(schema, src));
}

void ReferenceModel::RemoveInstance(Node* owner, const std::string& name, std::int64_t id) {
  owner->instances.erase({name, id});
  std::erase(owner->order, std::pair(name, id));
}

ReferenceModel::Node* ReferenceModel::FindInstance(Node* owner, const std::string& name,
                                                   std::int64_t id) {
  const auto found = owner->instances.find({name, id});
  return found == owner->instances.end() ? nullptr : &found->second;
}

// One component further.
ReferenceModel::Place ReferenceModel::Step(const Place& from, const Schema* child, Node* at) {
  Place to;
  to.schema = child;
  to.matched = from.matched + 1;
  to.ids_used = from.ids_used;
  to.owner = from.node;
  switch (child->kind) {
    case Schema::Kind::kLeaf:
      to.kind = Place::Kind::kLeaf;
      to.node = from.node;
      break;
    case Schema::Kind::kContainer:
      to.kind = Place::Kind::kObject;
      to.node = &from.node->containers.at(child->name);
      break;
    case Schema::Kind::kList:
    case Schema::Kind::kLeafList:
      to.kind = child->kind == Schema::Kind::kList ? Place::Kind::kObject : Place::Kind::kElement;
      to.node = at;
      ++to.ids_used;
      break;
  }
  return to;
}

ReferenceModel::Place ReferenceModel::Match(const std::vector<std::string>& names, const Ids& ids,
                                            bool to_leaf_list) {
  Place place;
  place.schema = &schema_;
  place.node = &root_;
  for (const std::string& name : names) {
    const Schema* child = place.schema->Find(name);
    if (child == nullptr) break;
    Node* instance = nullptr;
    if (child->kind == Schema::Kind::kLeafList && to_leaf_list) {
      place.kind = Place::Kind::kLeafList;
      place.owner = place.node;
      place.schema = child;
      ++place.matched;
      continue;
    }
    if (child->kind == Schema::Kind::kList || child->kind == Schema::Kind::kLeafList) {
      if (place.ids_used >= ids.size()) break;
      instance = FindInstance(place.node, name, ids[place.ids_used]);
      if (instance == nullptr) break;
    }
    place = Step(place, child, instance);
  }
  if (place.kind == Place::Kind::kNothing) return {};
  if (place.owner == &root_) place.owner = nullptr;
  return place;
}

void ReferenceModel::StampPlace(const Place& place, int src) {
  if (place.kind == Place::Kind::kLeaf) {
    place.node->leaf_src[place.schema->name] = src;
  } else if (place.node->src != NC_DM_NODE_SRC_CLI_ALW) {
    place.node->src = src;
  }
}

// Makes the instances along a path that are missing. The deepest place, or nothing.
ReferenceModel::Place ReferenceModel::CreateMissing(const std::vector<std::string>& names,
                                                    const Ids& ids) {
  Place place = Match(names, ids, false);
  if (place.kind == Place::Kind::kNothing) return {};
  StampPlace(place, src_);
  while (place.matched < names.size()) {
    const Schema* child = place.schema->Find(names[place.matched]);
    if (child == nullptr) return {};
    if (child->kind == Schema::Kind::kList || child->kind == Schema::Kind::kLeafList) {
      if (place.ids_used >= ids.size()) return place;
      const std::int64_t id = ids[place.ids_used];
      if (id <= 0) return {};
      place = Step(place, child, AddInstance(place.node, child, id, src_));
    } else {
      place = Step(place, child, nullptr);
      StampPlace(place, src_);
    }
  }
  return place;
}

std::size_t ReferenceModel::CountInstances(const Node& node, Schema::Kind kind) {
  std::size_t count = 0;
  for (const auto& [name, container] : node.containers) count += CountInstances(container, kind);
  for (const auto& [key, instance] : node.instances) {
    count += (instance.schema->kind == kind ? 1 : 0) + CountInstances(instance, kind);
  }
  return count;
}

std::size_t ReferenceModel::InstanceSizes(const Node& node) {
  std::size_t size = 0;
  for (const auto& [name, container] : node.containers) size += InstanceSizes(container);
  for (const auto& [key, instance] : node.instances) {
    size += instance.schema->Size() + InstanceSizes(instance);
  }
  return size;
}

std::size_t ReferenceModel::total_nodes() const {
  return schema_.Size() - 1 + InstanceSizes(root_);
}

std::vector<std::int64_t> ReferenceModel::InstancesAt(const Schema& list, const Ids& ids) const {
  const Place place =
      const_cast<ReferenceModel*>(this)->Match(Names(list.parent->path), ids, false);
  std::vector<std::int64_t> found;
  if (place.kind != Place::Kind::kObject || place.schema != list.parent) return found;
  for (const auto& [name, id] : place.node->order) {
    if (name == list.name) found.push_back(id);
  }
  return found;
}

// ---- The application ----

// The path of an instance, a leaf of one, or an element.
std::string ReferenceModel::At(const Schema& schema, const Ids& ids) const {
  std::vector<const Schema*> way;
  for (const Schema* at = &schema; at != &schema_; at = at->parent) way.push_back(at);
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

bool ReferenceModel::HasEntry(const Schema* list, const Ids& ids) const {
  return list == nullptr || data_.contains(At(*list->keys.at(0), ids));
}

std::string ReferenceModel::KeysOf(const Schema& list, const Ids& ids) const {
  std::string keys;
  for (const Schema* key : list.keys) {
    const std::string& text = data_.at(At(*key, ids));
    keys = keys.empty() ? text : JoinKeys(keys, text);
  }
  return keys;
}

std::string ReferenceModel::IndexKey(const Schema& list, const Ids& parents,
                                     const std::string& keys) const {
  return At(list, Below(parents, 0)) + "\n" + keys;
}

void ReferenceModel::PutKeys(const Schema& list, const Ids& ids, const std::string& keys) {
  std::istringstream texts(keys);
  for (const Schema* key : list.keys) {
    std::string text;
    std::getline(texts, text, '/');
    data_[At(*key, ids)] = text;
  }
  index_[IndexKey(list, Prefix(ids, ids.size() - 1), keys)] = ids.back();
}

std::int64_t ReferenceModel::AppCreateEntry(const Schema& list, const Ids& ids,
                                            const std::string& text, bool* existed) {
  if (ids.size() < list.depth - 1 || text.empty() || IsRefused(text)) return kRefusal;
  const Ids parents = Prefix(ids, list.depth - 1);
  if (!HasEntry(list.EnclosingList(), parents)) return kRefusal;
  if (IsZero(text)) return 0;
  const auto known = index_.find(IndexKey(list, parents, text));
  if (known != index_.end()) {
    *existed = true;
    return known->second;
  }
  const std::int64_t id = DeviceId(list.path, text);
  PutKeys(list, Below(parents, id), text);
  return id;
}

std::int64_t ReferenceModel::AppRemoveEntry(const Schema& list, const Ids& ids) {
  if (!HasEntry(&list, ids)) return kMissing;
  const std::string keys = KeysOf(list, ids);
  if (IsLocked(keys)) return kRefusal;
  index_.erase(IndexKey(list, Prefix(ids, ids.size() - 1), keys));
  const std::string below = At(list, ids) + ".";
  const auto erase_below = [&](auto* map) {
    std::erase_if(*map, [&](const auto& entry) { return entry.first.starts_with(below); });
  };
  erase_below(&data_);
  erase_below(&index_);
  return ids.back();
}

// By ids when the entry's own is among them, otherwise by its first key.
std::int64_t ReferenceModel::AppDeleteEntry(const Schema& list, const Ids& ids,
                                            const std::string& text) {
  if (ids.size() >= list.depth) return AppRemoveEntry(list, Prefix(ids, list.depth));
  if (ids.size() < list.depth - 1) return kRefusal;
  const auto known = index_.find(IndexKey(list, ids, text));
  return known == index_.end() ? kMissing : AppRemoveEntry(list, Below(ids, known->second));
}

std::int64_t ReferenceModel::AppCreateElement(const Schema& leaf_list, const Ids& ids,
                                              const std::string& text, bool* existed) {
  if (ids.size() < leaf_list.depth || text.empty() || IsRefused(text)) return kRefusal;
  const Ids entry = Prefix(ids, leaf_list.depth);
  if (!HasEntry(leaf_list.EnclosingList(), entry)) return kRefusal;
  if (IsZero(text)) return 0;
  const std::string key = IndexKey(leaf_list, entry, text);
  const auto known = index_.find(key);
  if (known != index_.end()) {
    *existed = true;
    return known->second;
  }
  const std::int64_t id = DeviceId(leaf_list.path, text);
  data_[At(leaf_list, Below(entry, id))] = text;
  index_[key] = id;
  return id;
}

std::int64_t ReferenceModel::AppDeleteElement(const Schema& leaf_list, const Ids& ids,
                                              const std::string& text) {
  if (ids.size() < leaf_list.depth) return kRefusal;
  const Ids entry = Prefix(ids, leaf_list.depth);
  std::int64_t id = 0;
  if (!text.empty()) {
    const auto known = index_.find(IndexKey(leaf_list, entry, text));
    if (known == index_.end()) return kMissing;
    id = known->second;
  } else {
    if (ids.size() == leaf_list.depth) return kMissing;
    id = ids[leaf_list.depth];
  }
  const auto element = data_.find(At(leaf_list, Below(entry, id)));
  if (element == data_.end()) return kMissing;
  if (IsLocked(element->second)) return kRefusal;
  index_.erase(IndexKey(leaf_list, entry, element->second));
  data_.erase(element);
  return id;
}

int ReferenceModel::AppSet(const Schema& leaf, const Ids& ids, const std::string& text) {
  if (ids.size() < leaf.depth || IsRefused(text)) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.EnclosingList(), entry)) return kRefusal;
  data_[At(leaf, entry)] = text;
  return 0;
}

std::int64_t ReferenceModel::AppDeleteLeaf(const Schema& leaf, const Ids& ids,
                                           const std::string& text) {
  if ((leaf.leaf.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0) {
    return AppDeleteEntry(*leaf.parent, ids, text);
  }
  if (ids.size() < leaf.depth) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.EnclosingList(), entry)) return kMissing;
  return data_.erase(At(leaf, entry)) > 0 || leaf.offers(kDeleteUnset) ? 0 : kMissing;
}

std::string ReferenceModel::KeysInSlots(const Schema& list,
                                        const std::map<int, std::string>& slots) const {
  std::string keys;
  for (const Schema* key : list.keys) {
    const auto slot = slots.find(key->leaf.slot);
    if (slot == slots.end() || slot->second.empty()) return {};
    keys = keys.empty() ? slot->second : JoinKeys(keys, slot->second);
  }
  return keys;
}

std::int64_t ReferenceModel::AppCommand(const Schema& list, int op_flag, const Ids& ids,
                                        const std::map<int, std::string>& slots, bool* existed) {
  const auto apply = [&](const Ids& entry, bool set) {
    for (const auto& child : list.children) {
      const auto slot = slots.find(child->leaf.slot);
      if (child->kind != Schema::Kind::kLeaf || child->leaf.slot == 0 || slot == slots.end() ||
          std::ranges::count(list.keys, child.get()) > 0) {
        continue;
      }
      if (set) {
        data_[At(*child, entry)] = slot->second;
      } else {
        data_.erase(At(*child, entry));
      }
    }
    return entry.back();
  };
  const bool has_own_id = ids.size() >= list.depth;
  if (op_flag == NC_DM_CMD_OP_EDIT && !has_own_id) return kRefusal;
  if (op_flag == NC_DM_CMD_OP_EDIT || (op_flag == NC_DM_CMD_OP_DELETE && has_own_id)) {
    const Ids entry = Prefix(ids, list.depth);
    if (!HasEntry(&list, entry)) return kMissing;
    if (op_flag == NC_DM_CMD_OP_EDIT) {
      const auto refused = [](const auto& slot) { return IsRefused(slot.second); };
      return std::ranges::any_of(slots, refused) ? kRefusal : apply(entry, true);
    }
    return slots.empty() ? AppRemoveEntry(list, entry) : apply(entry, false);
  }
  if (ids.size() < list.depth - 1) return kRefusal;
  const Ids parents = Prefix(ids, list.depth - 1);
  const std::string keys = KeysInSlots(list, slots);
  if (op_flag == NC_DM_CMD_OP_DELETE) {
    if (keys.empty()) return kRefusal;
    const auto known = index_.find(IndexKey(list, parents, keys));
    return known == index_.end() ? kMissing : AppRemoveEntry(list, Below(parents, known->second));
  }
  const auto refused = [](const auto& slot) { return IsRefused(slot.second); };
  if (!HasEntry(list.EnclosingList(), parents) || keys.empty() ||
      std::ranges::any_of(slots, refused)) {
    return kRefusal;
  }
  if (IsZero(slots.at(list.keys.at(0)->leaf.slot))) return 0;
  const auto known = index_.find(IndexKey(list, parents, keys));
  if (known != index_.end()) {
    *existed = true;
    const Ids entry = Below(parents, known->second);
    return op_flag == NC_DM_CMD_OP_CREATE ? entry.back() : apply(entry, true);
  }
  const Ids entry = Below(parents, DeviceId(list.path, keys));
  PutKeys(list, entry, keys);
  return apply(entry, true);
}

// What a leaf, or a leaf-list's element, reads as.
std::optional<std::string> ReferenceModel::AppGet(const Schema& leaf, const Ids& ids) const {
  const std::size_t count = leaf.depth + (leaf.kind == Schema::Kind::kLeafList ? 1 : 0);
  if (!leaf.offers(kGet) || ids.size() < count) return std::nullopt;
  const auto text = data_.find(At(leaf, Prefix(ids, count)));
  return text == data_.end() ? std::nullopt : std::optional(text->second);
}

void ReferenceModel::PutEntry(const std::string& list, const Ids& ids, const std::string& keys,
                              nc_dm_node_src_t src) {
  const Schema* schema = FindSchema(list);
  PutKeys(*schema, ids, keys);
  const Place owner = Match(Names(schema->parent->path), ids, false);
  if (owner.node->src != NC_DM_NODE_SRC_SDN && owner.node->src != NC_DM_NODE_SRC_CLI_ALW) {
    owner.node->src = src;
  }
  AddInstance(owner.node, schema, ids.back(), src);
}

void ReferenceModel::PutValue(const std::string& leaf, const Ids& ids, const std::string& text) {
  data_[At(*FindSchema(leaf), ids)] = text;
}

void ReferenceModel::PutElement(const std::string& leaf_list, const Ids& ids,
                                const std::string& text, nc_dm_node_src_t src) {
  const Schema* schema = FindSchema(leaf_list);
  data_[At(*schema, ids)] = text;
  index_[IndexKey(*schema, Prefix(ids, ids.size() - 1), text)] = ids.back();
  const Place owner = Match(Names(schema->parent->path), ids, false);
  if (owner.node->src != NC_DM_NODE_SRC_SDN && owner.node->src != NC_DM_NODE_SRC_CLI_ALW) {
    owner.node->src = src;
  }
  AddInstance(owner.node, schema, ids.back(), src);
}

// ---- Edits ----

void ReferenceModel::Fault::Set(std::int32_t new_code, std::optional<std::string> new_path) {
  code = new_code;
  if (new_path) path = *new_path;
  fresh = true;
}

void ReferenceModel::Fault::SetUnlessSet(std::int32_t new_code, const std::string& new_path) {
  if (code == 0) Set(new_code, new_path);
}

ReferenceModel::Action ReferenceModel::ActionOf(const Element& edit) {
  switch (edit.operation) {
    case Operation::kMerge:
    case Operation::kReplace:
    case Operation::kCreate:
      return Action::kMerge;
    case Operation::kDelete:
    case Operation::kRemove:
      return Action::kDelete;
    case Operation::kNone:
      return edit.default_operation == DefaultOperation::kUnset ||
                     edit.default_operation == DefaultOperation::kMerge ||
                     edit.default_operation == DefaultOperation::kReplace
                 ? Action::kMerge
                 : Action::kLookup;
    default:
      return Action::kLookup;
  }
}

Expectation ReferenceModel::Run(const ModelRequest& request) {
  sdn_ = request.datastore == NC_DM_DATASTORE_SDN;
  src_ = sdn_ ? NC_DM_NODE_SRC_SDN : NC_DM_NODE_SRC_NONE;
  switch (request.kind) {
    case ModelRequest::Kind::kEntry:
      return EditEntry(request);
    case ModelRequest::Kind::kSubtree:
      return EditSubtree(request);
    case ModelRequest::Kind::kFind:
      return Find(request);
    default: {
      Expectation expected;
      for (const ReadElement& read : request.reads) Read(read, &expected.values);
      return expected;
    }
  }
}

Expectation ReferenceModel::EditEntry(const ModelRequest& request) {
  Fault fault;
  const auto fail = [&] {
    return Expectation{.ok = false, .fault_code = fault.code, .fault_path = fault.path};
  };
  const auto is_key = [](const Element& edit) { return (edit.key & 3) != 0; };
  const auto key = std::ranges::find_if(request.edits, is_key);
  if (key == request.edits.end()) return fail();
  const auto names = ParsePath(key->name);
  const Place above = names ? CreateMissing(*names, key->ids) : Place{};
  if (above.kind == Place::Kind::kNothing) {
    fault.code = NC_DM_FAULT_CODE_OP_FAILED;
    return fail();
  }
  if (above.kind == Place::Kind::kLeaf) return Ok(key->ids.empty() ? 0 : key->ids.back());
  const Schema* list =
      names->size() < 2 ? nullptr : above.schema->Find((*names)[names->size() - 2]);
  if (list == nullptr || list->kind != Schema::Kind::kList) {
    fault.Set(NC_DM_FAULT_CODE_OP_FAILED, above.schema->name);
    return fail();
  }
  const bool by_command = request.as_command || list->has_command;
  switch (ActionOf(*key)) {
    case Action::kDelete: {
      const std::int64_t id =
          by_command ? Execute(*list, nullptr, request.edits, NC_DM_CMD_OP_DELETE, &fault)
                     : DeleteByKey(*list, *key, &fault);
      if (id < 0) {
        fault.SetUnlessSet(NC_DM_FAULT_CODE_OP_FAILED, list->name);
        return fail();
      }
      RemoveInstance(above.node, list->name, id);
      return Ok(id);
    }
    case Action::kMerge: {
      const int cmd_op =
          key->operation == Operation::kCreate ? NC_DM_CMD_OP_CREATE : NC_DM_CMD_OP_MERGE;
      const std::int64_t id = by_command ? Execute(*list, nullptr, request.edits, cmd_op, &fault)
                                         : CreateByKey(*list, *key, &fault);
      if (id <= 0) {
        fault.SetUnlessSet(NC_DM_FAULT_CODE_OP_FAILED, list->name);
        return fail();
      }
      if (Node* entry = FindInstance(above.node, list->name, id)) {
        if (entry->src != NC_DM_NODE_SRC_CLI_ALW && entry->src != NC_DM_NODE_SRC_SDN) {
          entry->src = src_;
        }
        for (const Element& edit : request.edits) {
          const auto leaf = entry->leaf_src.find(Names(edit.name).back());
          if (leaf != entry->leaf_src.end() && leaf->second != NC_DM_NODE_SRC_SDN) {
            leaf->second = src_;
          }
        }
      } else {
        AddInstance(above.node, list, id, src_);
      }
      return Ok(id);
    }
    case Action::kLookup:
      break;
  }
  const std::int64_t id =
      LookUp(*list, above.node, Prefix(key->ids, above.ids_used), key->ids, request.edits);
  if (id <= 0) fault.SetUnlessSet(NC_DM_FAULT_CODE_OP_FAILED, list->name);
  return id < 0 ? fail() : Ok(id);
}

std::int64_t ReferenceModel::CreateByKey(const Schema& list, const Element& edit, Fault* fault) {
  const Schema& key = *list.keys.at(0);
  const auto text = edit.value ? Canonical(key.leaf.type, edit.value) : std::nullopt;
  if (!text) {
    fault->Set(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, key.name);
    return -1;
  }
  bool existed = false;
  const std::int64_t id = AppCreateEntry(list, edit.ids, *text, &existed);
  if (id > 0 && existed && edit.operation == Operation::kCreate) {
    fault->Set(NC_DM_FAULT_CODE_DATA_EXISTS);
    return -1;
  }
  return id;
}

std::int64_t ReferenceModel::DeleteByKey(const Schema& list, const Element& edit, Fault* fault) {
  const Schema& key = *list.keys.at(0);
  const auto text = edit.value ? Canonical(key.leaf.type, edit.value) : std::nullopt;
  if (!text) {
    fault->Set(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, key.name);
    return -1;
  }
  const std::int64_t id = AppDeleteEntry(list, edit.ids, *text);
  if (id != kMissing) return id;
  if (edit.operation == Operation::kRemove) return 0;
  fault->Set(NC_DM_FAULT_CODE_DATA_MISSING);
  return id;
}

std::int64_t ReferenceModel::LookUp(const Schema& list, Node* owner, const Ids& owner_ids,
                                    const Ids& ids, const std::vector<Element>& edits) {
  std::vector<std::pair<std::string, std::string>> keys;
  for (const Element& edit : edits) {
    if ((edit.key & 3) != 0 && edit.value) keys.emplace_back(Names(edit.name).back(), *edit.value);
  }
  if (keys.empty()) return -1;
  if (list.has_command) {
    std::map<int, std::string> slots;
    for (const Schema* key : list.keys) {
      const auto given =
          std::ranges::find(keys, key->name, &std::pair<std::string, std::string>::first);
      if (given == keys.end()) return -1;
      const auto text = Canonical(key->leaf.type, given->second);
      if (!text) return -1;
      slots[key->leaf.slot] = *text;
    }
    if (ids.size() < list.depth - 1) return 0;
    const auto known =
        index_.find(IndexKey(list, Prefix(ids, list.depth - 1), KeysInSlots(list, slots)));
    return known == index_.end() ? 0 : known->second;
  }
  for (const auto& [name, id] : owner->order) {
    if (name != list.name) continue;
    const bool matches = std::ranges::all_of(keys, [&](const auto& key) {
      const Schema* leaf = list.Find(key.first);
      return leaf != nullptr && std::ranges::count(list.keys, leaf) > 0 &&
             AppGet(*leaf, Below(owner_ids, id)) == key.second;
    });
    if (matches) return id;
  }
  return -1;
}

Expectation ReferenceModel::EditSubtree(const ModelRequest& request) {
  std::vector<Element> edits = request.edits;
  Fault fault;
  std::int64_t result = 0;
  while (!edits.empty()) {
    const std::vector<Element> group = TakeGroup(&edits);
    if (group.empty()) break;
    if (!RunGroup(group, &fault, &result)) {
      result = -1;
      break;
    }
  }
  if (result < 0) return {.ok = false, .fault_code = fault.code, .fault_path = fault.path};
  return Ok(result);
}

// The first edit and its siblings: equal ids, paths that differ in the last name alone.
std::vector<EditElement> ReferenceModel::TakeGroup(std::vector<Element>* edits) {
  std::vector<Element> group;
  std::vector<std::string> first_names;
  for (auto edit = edits->begin(); edit != edits->end();) {
    const auto names = ParsePath(edit->name);
    if (group.empty()) {
      if (names) {
        first_names = *names;
        group.push_back(*edit);
      }
      edit = edits->erase(edit);
      continue;
    }
    const Ids& first_ids = group[0].ids;
    if (edit->ids.size() < first_ids.size() ||
        !std::equal(first_ids.begin(), first_ids.end(), edit->ids.begin())) {
      break;
    }
    if (edit->ids.size() > first_ids.size()) {
      ++edit;
      continue;
    }
    if (!names) {
      edit = edits->erase(edit);
      continue;
    }
    if (names->size() < first_names.size()) break;
    if (names->size() > first_names.size()) {
      ++edit;
      continue;
    }
    int common = 0;
    for (std::size_t i = 0; i < first_names.size(); ++i) {
      if (first_names[i] != (*names)[i]) {
        common = static_cast<int>(i) - 1;
        break;
      }
    }
    if (common != static_cast<int>(first_names.size()) - 2) break;
    group.push_back(*edit);
    edit = edits->erase(edit);
  }
  return group;
}

bool ReferenceModel::RunGroup(const std::vector<Element>& group, Fault* fault,
                              std::int64_t* result) {
  const Element& first = group[0];
  const std::vector<std::string> names = *ParsePath(first.name);
  const bool is_delete = ActionOf(first) == Action::kDelete;
  if (!is_delete) CreateMissing(names, first.ids);
  const Place place = Match(names, first.ids, true);
  const bool is_whole = place.matched == names.size() && place.ids_used == first.ids.size();
  if (place.kind == Place::Kind::kNothing || (place.kind == Place::Kind::kObject && !is_whole)) {
    fault->Set(NC_DM_FAULT_CODE_UNKNOWN_ELEM, names.back());
    return GoesOn(first);
  }
  if (place.owner == nullptr && place.kind == Place::Kind::kObject) {
    if (!is_delete) return false;
    *result = DeleteBelow(place.node, first.ids, fault, GoesOn(first));
    return *result == 0;
  }
  Node* entry = place.owner;
  *result = Execute(*entry->schema, entry, group, NC_DM_CMD_OP_EDIT, fault);
  if (*result >= 0) return true;
  fault->SetUnlessSet(NC_DM_FAULT_CODE_OP_FAILED, entry->schema->name);
  return GoesOn(first);
}

// All edits of one entry. `node` is null where the entry is yet to be found by its keys.
std::int64_t ReferenceModel::Execute(const Schema& entry, Node* node,
                                     const std::vector<Element>& edits, int cmd_op, Fault* fault) {
  fault->fresh = false;
  Operation operation = edits[0].operation;
  int op_flag = cmd_op;
  std::map<int, std::string> slots;
  std::int64_t result = 0;
  const auto stamp = [&](int* src) {
    if (*src != NC_DM_NODE_SRC_SDN) *src = src_;
  };
  for (const Element& edit : edits) {
    // The run ends here unless the edit says that it goes on after an error.
    const auto fails = [&](std::int32_t code, const std::string& path) {
      fault->Set(code, path);
      return !GoesOn(edit);
    };
    const std::string name = Names(edit.name).back();
    const Schema* child = entry.Find(name);
    if (child == nullptr || child->kind == Schema::Kind::kList) {
      if (fails(NC_DM_FAULT_CODE_UNKNOWN_ELEM, name)) return -1;
      continue;
    }
    operation = edit.operation;
    const Action action = ActionOf(edit);
    if (child->kind == Schema::Kind::kContainer) {
      if (action != Action::kDelete) continue;
      if (node == nullptr) throw std::logic_error("no container of a list is edited");
      if (DeleteBelow(&node->containers.at(name), edit.ids, fault, GoesOn(edit)) != 0) return -1;
      continue;
    }
    const auto text = Canonical(child->leaf.type, edit.value);
    if (!text) {
      if (fails(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, name)) return -1;
      continue;
    }
    if (child->kind == Schema::Kind::kLeaf) {
      if (child->leaf.slot != 0) {
        if (cmd_op != NC_DM_CMD_OP_EDIT || action != Action::kDelete) {
          slots[child->leaf.slot] = *text;
          continue;
        }
        op_flag = NC_DM_CMD_OP_DELETE;
      }
      if (action == Action::kMerge && child->offers(kSet)) {
        if (AppSet(*child, edit.ids, *text) != 0) {
          if (fails(NC_DM_FAULT_CODE_OP_FAILED, name)) return -1;
          continue;
        }
        if (node != nullptr) stamp(&node->leaf_src.at(name));
        result = 0;
      } else if (action == Action::kDelete) {
        const std::int64_t deleted =
            child->offers(kDelete) ? AppDeleteLeaf(*child, edit.ids, *text) : kRefusal;
        if (deleted == kMissing) {
          if (edit.operation == Operation::kDelete && fails(NC_DM_FAULT_CODE_DATA_MISSING, name)) {
            return -1;
          }
          continue;
        }
        if (deleted < 0) {
          if (fails(NC_DM_FAULT_CODE_OP_FAILED, name)) return -1;
          continue;
        }
        if (node != nullptr) stamp(&node->leaf_src.at(name));
        result = deleted;
      }
      continue;
    }
    if (action == Action::kMerge) {
      bool existed = false;
      const std::int64_t id = AppCreateElement(*child, edit.ids, *text, &existed);
      if (id < 0) {
        if (fails(NC_DM_FAULT_CODE_OP_FAILED, name)) return -1;
        continue;
      }
      if (existed && edit.operation == Operation::kCreate) {
        if (fails(NC_DM_FAULT_CODE_DATA_EXISTS, name)) return -1;
        continue;
      }
      if (Node* element = FindInstance(node, name, id)) {
        stamp(&element->src);
      } else if (id == 0) {
        if (fails(NC_DM_FAULT_CODE_OP_FAILED, name)) return -1;
        continue;
      } else {
        AddInstance(node, child, id, src_);
      }
      result = id;
    } else if (action == Action::kDelete) {
      const std::int64_t id = AppDeleteElement(*child, edit.ids, *text);
      if (id < 0) {
        const bool is_missing = id == kMissing;
        if (is_missing && edit.operation != Operation::kDelete) continue;
        if (fails(is_missing ? NC_DM_FAULT_CODE_DATA_MISSING : NC_DM_FAULT_CODE_OP_FAILED, name)) {
          return -1;
        }
        continue;
      }
      result = id;
      RemoveInstance(node, name, id);
    }
  }
  if (entry.has_command && !slots.empty()) {
    bool existed = false;
    result = AppCommand(entry, op_flag, edits[0].ids, slots, &existed);
    if (result == kMissing && operation == Operation::kDelete) {
      fault->Set(NC_DM_FAULT_CODE_DATA_MISSING, entry.name);
    } else if (result == kMissing && operation == Operation::kRemove) {
      result = 0;
    } else if (result < 0 && result != kMissing) {
      fault->Set(NC_DM_FAULT_CODE_OP_FAILED, entry.name);
    } else if (result >= 0) {
      if (op_flag == NC_DM_CMD_OP_EDIT && node != nullptr) {
        for (const auto& child : entry.children) {
          if (child->leaf.slot != 0 && slots.contains(child->leaf.slot)) {
            stamp(&node->leaf_src.at(child->name));
          }
        }
      }
      if (operation == Operation::kCreate && existed) {
        fault->Set(NC_DM_FAULT_CODE_DATA_EXISTS, entry.name);
      }
    }
  }
  return fault->fresh ? -1 : result;
}

// Deletes everything below a container through the application.
int ReferenceModel::DeleteBelow(Node* container, const Ids& ids, Fault* fault, bool goes_on) {
  const auto fails = [&](const std::string& name) {
    fault->Set(NC_DM_FAULT_CODE_OP_FAILED, name);
    return !goes_on;
  };
  for (const auto& child : container->schema->children) {
    bool failed = false;
    if (child->kind == Schema::Kind::kLeaf) {
      failed = IsVisible(container->leaf_src.at(child->name)) && child->offers(kDelete) &&
               AppDeleteLeaf(*child, ids, "") < 0;
    } else if (child->kind == Schema::Kind::kContainer) {
      failed = DeleteBelow(&container->containers.at(child->name), ids, fault, goes_on) != 0;
    }
    if (failed && fails(child->name)) return -1;
  }
  const auto instances = container->order;
  for (const auto& [name, id] : instances) {
    const Node& instance = container->instances.at({name, id});
    if (!IsVisible(instance.src)) continue;
    const Schema& schema = *instance.schema;
    const Ids own = Below(ids, id);
    bool existed = false;
    const std::int64_t deleted =
        schema.kind == Schema::Kind::kLeafList ? AppDeleteElement(schema, own, "")
        : schema.has_command ? AppCommand(schema, NC_DM_CMD_OP_DELETE, own, {}, &existed)
                             : AppDeleteEntry(schema, own, "");
    if (deleted >= 0) {
      RemoveInstance(container, name, id);
    } else if (fails(name)) {
      return -1;
    }
  }
  return 0;
}

// ---- Reads ----

void ReferenceModel::ReadLeaf(const Schema& leaf, int src, const Ids& ids, const std::string& path,
                              Values* values) const {
  const auto text = IsVisible(src) ? AppGet(leaf, ids) : std::nullopt;
  if (text) values->push_back({path, *text});
}

void ReferenceModel::ReadElements(const Node& owner, const Schema& leaf_list, const Ids& owner_ids,
                                  const std::string& path, Values* values) const {
  for (const auto& [name, id] : owner.order) {
    if (name != leaf_list.name) continue;
    ReadLeaf(leaf_list, owner.instances.at({name, id}).src, Below(owner_ids, id),
             path + "." + std::to_string(id), values);
  }
}

void ReferenceModel::ReadBelow(const Node& node, const Ids& ids, const std::string& path,
                               Values* values) const {
  for (const auto& child : node.schema->children) {
    const std::string child_path = JoinPath(path, child->name);
    if (child->kind == Schema::Kind::kLeaf) {
      ReadLeaf(*child, node.leaf_src.at(child->name), ids, child_path, values);
    } else if (child->kind == Schema::Kind::kContainer) {
      ReadBelow(node.containers.at(child->name), ids, child_path, values);
    }
  }
  for (const auto& [name, id] : node.order) {
    const Node& instance = node.instances.at({name, id});
    const std::string child_path = JoinPath(path, name, id);
    if (instance.schema->kind == Schema::Kind::kLeafList) {
      ReadLeaf(*instance.schema, instance.src, Below(ids, id), child_path, values);
    } else {
      ReadBelow(instance, Below(ids, id), child_path, values);
    }
  }
}

// All that the names from `at` on reach below a node, over all instances.
void ReferenceModel::ReadWildcard(const Node& node, const Ids& ids, const std::string& path,
                                  const std::vector<std::string>& names, std::size_t at,
                                  Values* values) const {
  const Schema* child = node.schema->Find(names[at]);
  if (child == nullptr) return;
  const bool is_last = at + 1 == names.size();
  const std::string child_path = JoinPath(path, child->name);
  if (child->kind == Schema::Kind::kLeaf && is_last) {
    ReadLeaf(*child, node.leaf_src.at(child->name), ids, child_path, values);
  } else if (child->kind == Schema::Kind::kContainer) {
    const Node& container = node.containers.at(child->name);
    if (is_last) {
      ReadBelow(container, ids, child_path, values);
    } else {
      ReadWildcard(container, ids, child_path, names, at + 1, values);
    }
  } else if (child->kind == Schema::Kind::kLeafList && is_last) {
    // The leaf-list itself gives its elements, and each element gives itself again, by the path of
    // the request.
    ReadElements(node, *child, ids, child_path, values);
    for (const auto& [name, id] : node.order) {
      if (name != child->name) continue;
      ReadLeaf(*child, node.instances.at({name, id}).src, Below(ids, id), child_path, values);
    }
  } else if (child->kind == Schema::Kind::kList) {
    for (const auto& [name, id] : node.order) {
      if (name != child->name) continue;
      const Node& entry = node.instances.at({name, id});
      const std::string entry_path = JoinPath(path, name, id);
      if (is_last) {
        ReadBelow(entry, Below(ids, id), entry_path, values);
      } else {
        ReadWildcard(entry, Below(ids, id), entry_path, names, at + 1, values);
      }
    }
  }
}

void ReferenceModel::Read(const ReadElement& element, Values* values) {
  const auto names = ParsePath(element.name);
  if (!names) return;
  const Place place = Match(*names, element.ids, true);
  const bool is_whole = place.matched == names->size();
  // The path of the place, and with what was not matched behind it.
  const Ids used = Prefix(element.ids, place.ids_used);
  std::string place_path;
  std::string path;
  const Schema* at = &schema_;
  std::size_t ids = 0;
  for (std::size_t i = 0; i < names->size(); ++i) {
    path = JoinPath(path, (*names)[i]);
    if (i >= place.matched) continue;
    at = at->Find((*names)[i]);
    if (at->kind == Schema::Kind::kList) path += "." + std::to_string(used.at(ids++));
    place_path = path;
  }
  switch (place.kind) {
    case Place::Kind::kLeaf:
      if (element.value) {
        values->push_back({path, *element.value});
      } else {
        ReadLeaf(*place.schema, place.node->leaf_src.at(place.schema->name), element.ids, path,
                 values);
      }
      break;
    case Place::Kind::kLeafList:
      if (is_whole) ReadElements(*place.node, *place.schema, used, path, values);
      break;
    case Place::Kind::kObject:
      if (is_whole) {
        ReadBelow(*place.node, used, path, values);
      } else if (place.ids_used == element.ids.size()) {
        ReadWildcard(*place.node, used, place_path, *names, place.matched, values);
      }
      break;
    default:
      break;
  }
}

void ReferenceModel::FindBelow(const Node& node, const Ids& ids,
                               const std::vector<std::string>& names, std::size_t at,
                               const ReadElement& element, std::size_t* known,
                               std::vector<Ids>* found) const {
  const Schema* child = node.schema->Find(names[at]);
  if (child == nullptr) return;
  const bool is_last = at + 1 == names.size();
  const auto compare = [&](int src, const Ids& leaf_ids) {
    if (element.value && IsVisible(src) && AppGet(*child, leaf_ids) == *element.value) {
      found->push_back(leaf_ids);
    }
  };
  if (child->kind == Schema::Kind::kLeaf) {
    if (is_last) compare(node.leaf_src.at(child->name), ids);
    return;
  }
  if (child->kind == Schema::Kind::kContainer) {
    if (!is_last) {
      FindBelow(node.containers.at(child->name), ids, names, at + 1, element, known, found);
    }
    return;
  }
  for (const auto& [name, id] : node.order) {
    if (name != child->name) continue;
    // A known id counts once, wherever the walk goes from there.
    if (*known < element.ids.size()) {
      if (id != element.ids[*known]) continue;
      ++*known;
    }
    const Node& instance = node.instances.at({name, id});
    if (child->kind == Schema::Kind::kLeafList) {
      if (is_last) compare(instance.src, Below(ids, id));
    } else if (!is_last) {
      FindBelow(instance, Below(ids, id), names, at + 1, element, known, found);
    }
  }
}

Expectation ReferenceModel::Find(const ModelRequest& request) const {
  Expectation expected;
  for (const ReadElement& element : request.reads) {
    const auto names = ParsePath(element.name);
    if (!names) return {.ok = false, .fault_code = NC_DM_FAULT_CODE_OP_FAILED};
    std::vector<Ids> found;
    std::size_t known = 0;
    FindBelow(root_, {}, *names, 0, element, &known, &found);
    if (found.empty()) {
      expected.ids.clear();
      break;
    }
    // What an earlier element has emptied is filled anew.
    if (expected.ids.empty()) {
      expected.ids = found;
    } else {
      std::erase_if(expected.ids,
                    [&](const Ids& ids) { return std::ranges::count(found, ids) == 0; });
    }
  }
  return expected;
}

}  // namespace ncdm_test
