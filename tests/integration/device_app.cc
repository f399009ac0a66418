#include "device_app.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "typed_text.h"

namespace ncdm_test {
namespace {

constexpr int kMissing = -7;
constexpr int kRefusal = -1;
constexpr unsigned kHashedInstances = 10000;

DeviceApp* g_app = nullptr;

Ids IdsOf(const nc_dm_id_array_t& array) { return Ids(array.id, array.id + array.cnt); }

Ids Prefix(const Ids& ids, std::size_t count) {
  return Ids(ids.begin(), ids.begin() + static_cast<std::ptrdiff_t>(count));
}

Ids Parents(const Ids& ids) { return Prefix(ids, ids.size() - 1); }

Ids Below(Ids ids, nc_int64 id) {
  ids.push_back(id);
  return ids;
}

bool StartsWith(const Ids& ids, const Ids& prefix) {
  return ids.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), ids.begin());
}

// Erases all that is keyed by `prefix` and what is below it.
template <typename Map>
void ErasePrefix(Map* map, const Ids& prefix) {
  auto place = map->lower_bound(prefix);
  while (place != map->end() && StartsWith(place->first, prefix)) place = map->erase(place);
}

bool IsAtOrBelow(std::string_view path, std::string_view list) {
  return path.starts_with(list) && (path.size() == list.size() || path[list.size()] == '.');
}

// "net.user.3.name" from the plain path of a leaf and the ids of its lists.
std::string InstancePath(const LeafDefinition& definition, const Ids& ids) {
  std::string path;
  std::size_t used = 0;
  std::istringstream components(definition.path);
  for (std::string component; std::getline(components, component, '.');) {
    if (!path.empty()) path += '.';
    path += component == "{i}" ? std::to_string(ids.at(used++)) : component;
  }
  if (used < ids.size()) path += "." + std::to_string(ids[used]);
  return path;
}

std::string IdsText(const Ids& ids) {
  std::string text = "[";
  for (std::size_t i = 0; i < ids.size(); ++i) text += (i == 0 ? "" : ",") + std::to_string(ids[i]);
  return text + "]";
}

// One set of functions a leaf.
struct Functions {
  nc_dm_set_fn set;
  nc_dm_get_fn get;
  nc_dm_create_fn create;
  nc_dm_delete_fn delete_fn;
  nc_dm_get_attr_fn get_attr;
  nc_dm_exe_cmd_fn exe_cmd;
};

template <int kLeaf>
constexpr Functions FunctionsOf() {
  return {[](nc_dm_id_array_t* ids, char* value) { return g_app->Set(kLeaf, ids, value); },
          [](nc_dm_id_array_t* ids, char* value) { return g_app->Get(kLeaf, ids, value); },
          [](nc_dm_id_array_t* ids, char* value) { return g_app->Create(kLeaf, ids, value); },
          [](nc_dm_id_array_t* ids, char* value) { return g_app->Delete(kLeaf, ids, value); },
          [](nc_dm_agent_data_block_t* block, nc_dm_op_output_t* output) {
            return g_app->GetAttr(kLeaf, block, output);
          },
          [](nc_dm_agent_data_block_t* block) { return g_app->ExeCmd(kLeaf, block); }};
}

template <int... kLeaf>
constexpr std::array<Functions, sizeof...(kLeaf)> AllFunctions(
    std::integer_sequence<int, kLeaf...>) {
  return {FunctionsOf<kLeaf>()...};
}

constexpr auto kFunctions = AllFunctions(std::make_integer_sequence<int, kLeafCount>());

int Announce(std::string path, nc_dm_node_src_t src) {
  return src == NC_DM_NODE_SRC_NONE ? nc_dm_agent_reg(path.data())
                                    : nc_dm_agent_cli_reg(path.data(), src);
}

template <typename Function>
Function If(bool offered, Function function) {
  return offered ? function : nullptr;
}

}  // namespace

// ---- Setting up ----

DeviceApp::DeviceApp() {
  if (g_app != nullptr) throw std::logic_error("one application at a time");
  for (const LeafDefinition& definition : kLeaves) {
    leaves_.push_back({definition, PlainPath(definition.path), ListOf(definition.path),
                       static_cast<std::size_t>(Depth(definition.path))});
  }
  g_app = this;
}

DeviceApp::~DeviceApp() { g_app = nullptr; }

int DeviceApp::RegisterPaths() {
  for (int i = 0; i < kLeafCount; ++i) {
    const LeafDefinition& definition = kLeaves[i];
    const Functions& functions = kFunctions[static_cast<std::size_t>(i)];
    const auto offers = [&](Offer offer) { return (definition.offers & offer) != 0; };
    const int result = nc_dm_agent_mode_reg(
        const_cast<char*>(definition.path), definition.type, definition.flag, definition.slot,
        If(offers(kSet), functions.set), If(offers(kGet), functions.get),
        If(offers(kCreate), functions.create), If(offers(kDelete), functions.delete_fn),
        If(offers(kGetAttr), functions.get_attr), nullptr, If(offers(kExeCmd), functions.exe_cmd));
    if (result != 0) return result;
  }
  return 0;
}

int DeviceApp::RegisterInstances() {
  for (const auto& [path, src] : g_app->announced_) {
    const int result = Announce(path, src);
    if (result != 0) return result;
  }
  return 0;
}

int DeviceApp::RegisterModel() {
  int result = RegisterPaths();
  for (const char* hashed : kHashed) {
    if (result == 0) {
      result = nc_dm_agent_reg_hash_tab(const_cast<char*>(hashed), kHashedInstances);
    }
  }
  for (const YangDefinition& yang : kYangAttributes) {
    if (result == 0) result = nc_dm_agent_yang_attr_reg(yang.module, yang.type, yang.value);
  }
  if (result == 0) {
    result = nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT,
                                 [](char* /*text*/) { return g_app->Commit(); });
  }
  return result == 0 ? RegisterInstances() : result;
}

// "net.user.3." of an entry.
std::string DeviceApp::EntryPath(const std::string& list, const Ids& ids) const {
  const auto leaf = std::ranges::find_if(
      leaves_, [&](const Leaf& any) { return any.list == list && any.is_key(); });
  const std::string path = InstancePath(leaf->definition, ids);
  return path.substr(0, path.rfind('.') + 1);
}

std::string DeviceApp::ElementPath(const std::string& leaf_list, const Ids& ids) const {
  const auto leaf = std::ranges::find(leaves_, leaf_list, &Leaf::path);
  return InstancePath(leaf->definition, ids) + ".";
}

void DeviceApp::PutEntry(const std::string& list, const Ids& ids, const std::string& keys,
                         nc_dm_node_src_t src) {
  PlaceEntry(list, ids, keys);
  announced_.emplace_back(EntryPath(list, ids), src);
}

void DeviceApp::PutValue(const std::string& leaf, const Ids& ids, const std::string& text) {
  values_[leaf][ids] = text;
}

void DeviceApp::PutElement(const std::string& leaf_list, const Ids& ids, const std::string& text,
                           nc_dm_node_src_t src) {
  values_[leaf_list][ids] = text;
  announced_.emplace_back(ElementPath(leaf_list, ids), src);
}

int DeviceApp::AnnounceEntry(const std::string& list, const Ids& ids, const std::string& keys,
                             nc_dm_node_src_t src) {
  PlaceEntry(list, ids, keys);
  return Announce(EntryPath(list, ids), src);
}

int DeviceApp::AnnounceElement(const std::string& leaf_list, const Ids& ids,
                               const std::string& text, nc_dm_node_src_t src) {
  values_[leaf_list][ids] = text;
  return Announce(ElementPath(leaf_list, ids), src);
}

int DeviceApp::WithdrawEntry(const std::string& list, const Ids& ids) {
  EraseEntry(list, ids);
  return nc_dm_agent_unreg(EntryPath(list, ids).data());
}

int DeviceApp::WithdrawElement(const std::string& leaf_list, const Ids& ids) {
  values_[leaf_list].erase(ids);
  return nc_dm_agent_unreg(ElementPath(leaf_list, ids).data());
}

void DeviceApp::ForgetEverything() {
  lists_.clear();
  values_.clear();
  announced_.clear();
  calls_.clear();
}

std::map<std::string, std::string> DeviceApp::Contents() const {
  std::map<std::string, std::string> contents;
  for (const Leaf& leaf : leaves_) {
    const auto values = values_.find(leaf.path);
    if (values == values_.end()) continue;
    for (const auto& [ids, text] : values->second) {
      contents[InstancePath(leaf.definition, ids)] = text;
    }
  }
  return contents;
}

// ---- Entries ----

bool DeviceApp::HasEntry(const std::string& list, const Ids& ids) const {
  if (list.empty()) return true;
  const auto data = lists_.find(list);
  return data != lists_.end() && data->second.keys.contains(ids);
}

void DeviceApp::PlaceEntry(const std::string& list, const Ids& ids, const std::string& keys) {
  ListData& data = lists_[list];
  data.keys[ids] = keys;
  data.index[{Parents(ids), keys}] = ids;
  std::istringstream texts(keys);
  for (const Leaf& leaf : leaves_) {
    if (leaf.list != list || !leaf.is_key()) continue;
    std::string text;
    std::getline(texts, text, '/');
    values_[leaf.path][ids] = text;
  }
}

// A new entry's id, or a refusal.
nc_int64 DeviceApp::AddEntry(const std::string& list, const Ids& parents, const std::string& keys) {
  const nc_int64 id = DeviceId(list, keys);
  PlaceEntry(list, Below(parents, id), keys);
  return id;
}

nc_int64 DeviceApp::RemoveEntry(const std::string& list, const Ids& ids) {
  if (!HasEntry(list, ids)) return kMissing;
  if (IsLocked(lists_[list].keys[ids])) return kRefusal;
  EraseEntry(list, ids);
  return ids.back();
}

void DeviceApp::EraseEntry(const std::string& list, const Ids& ids) {
  for (auto& [path, data] : lists_) {
    if (!IsAtOrBelow(path, list)) continue;
    ErasePrefix(&data.keys, ids);
    std::erase_if(data.index, [&](const auto& entry) { return StartsWith(entry.second, ids); });
  }
  for (auto& [path, texts] : values_) {
    if (IsAtOrBelow(path, list)) ErasePrefix(&texts, ids);
  }
}

// ---- Callbacks of leaves ----

int DeviceApp::Get(int number, nc_dm_id_array_t* id_array, char* value) {
  const Leaf& leaf = leaves_[static_cast<std::size_t>(number)];
  const Ids ids = IdsOf(*id_array);
  const std::size_t count = leaf.depth + (leaf.is_leaf_list() ? 1 : 0);
  if (ids.size() < count) return kRefusal;
  const auto texts = values_.find(leaf.path);
  if (texts == values_.end()) return kMissing;
  const auto text = texts->second.find(Prefix(ids, count));
  if (text == texts->second.end()) return kMissing;
  WriteTyped(leaf.definition.type, text->second, value);
  return 0;
}

int DeviceApp::Set(int number, nc_dm_id_array_t* id_array, const char* value) {
  const Leaf& leaf = leaves_[static_cast<std::size_t>(number)];
  const Ids ids = IdsOf(*id_array);
  const std::string text = TextOf(leaf.definition.type, value);
  calls_.push_back("set " + leaf.path + " ids=" + IdsText(ids) +
                   " src=" + std::to_string(id_array->src) + " value=" + text);
  if (ids.size() < leaf.depth || IsRefused(text)) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.list, entry)) return kRefusal;
  values_[leaf.path][entry] = text;
  return 0;
}

nc_int64 DeviceApp::Create(int number, nc_dm_id_array_t* id_array, const char* value) {
  const Leaf& leaf = leaves_[static_cast<std::size_t>(number)];
  const Ids ids = IdsOf(*id_array);
  const std::string text = TextOf(leaf.definition.type, value);
  calls_.push_back("create " + leaf.path + " ids=" + IdsText(ids) +
                   " src=" + std::to_string(id_array->src) + " value=" + text);
  if (leaf.is_leaf_list()) return CreateElement(leaf, id_array, text);
  if (ids.size() < leaf.depth - 1 || text.empty() || IsRefused(text)) return kRefusal;
  const Ids parents = Prefix(ids, leaf.depth - 1);
  if (leaf.depth > 1) {
    const std::string outer = leaf.list.substr(0, leaf.list.rfind('.'));
    if (!HasEntry(outer, parents)) return kRefusal;
  }
  if (IsZero(text)) return 0;
  const ListData& data = lists_[leaf.list];
  const auto known = data.index.find({parents, text});
  if (known != data.index.end()) {
    id_array->output.inst_exist = 1;
    return known->second.back();
  }
  return AddEntry(leaf.list, parents, text);
}

nc_int64 DeviceApp::CreateElement(const Leaf& leaf, nc_dm_id_array_t* id_array,
                                  const std::string& text) {
  const Ids ids = IdsOf(*id_array);
  if (ids.size() < leaf.depth || text.empty() || IsRefused(text)) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.list, entry)) return kRefusal;
  if (IsZero(text)) return 0;
  auto& texts = values_[leaf.path];
  for (auto place = texts.lower_bound(entry);
       place != texts.end() && StartsWith(place->first, entry); ++place) {
    if (place->second == text) {
      id_array->output.inst_exist = 1;
      return place->first.back();
    }
  }
  const nc_int64 id = DeviceId(leaf.path, text);
  texts[Below(entry, id)] = text;
  return id;
}

nc_int64 DeviceApp::Delete(int number, nc_dm_id_array_t* id_array, const char* value) {
  const Leaf& leaf = leaves_[static_cast<std::size_t>(number)];
  const Ids ids = IdsOf(*id_array);
  // A whole container is deleted by ids alone, with a value of nothing but zeroes.
  const bool has_value = *value != 0;
  const std::string text = has_value || !IsTextType(leaf.definition.type)
                               ? TextOf(leaf.definition.type, value)
                               : std::string();
  calls_.push_back("delete " + leaf.path + " ids=" + IdsText(ids) + " value=" + text);
  if (leaf.is_leaf_list()) return DeleteElement(leaf, ids, text);
  return leaf.is_key() ? DeleteEntry(leaf, ids, text) : DeleteValue(leaf, ids);
}

nc_int64 DeviceApp::DeleteElement(const Leaf& leaf, const Ids& ids, const std::string& text) {
  if (ids.size() < leaf.depth) return kRefusal;
  auto& texts = values_[leaf.path];
  const Ids entry = Prefix(ids, leaf.depth);
  auto place = texts.end();
  if (!text.empty()) {
    place = std::ranges::find_if(texts, [&](const auto& element) {
      return StartsWith(element.first, entry) && element.second == text;
    });
  } else if (ids.size() > leaf.depth) {
    place = texts.find(Prefix(ids, leaf.depth + 1));
  }
  if (place == texts.end()) return kMissing;
  if (IsLocked(place->second)) return kRefusal;
  const nc_int64 id = place->first.back();
  texts.erase(place);
  return id;
}

nc_int64 DeviceApp::DeleteEntry(const Leaf& leaf, const Ids& ids, const std::string& text) {
  if (ids.size() >= leaf.depth) return RemoveEntry(leaf.list, Prefix(ids, leaf.depth));
  if (ids.size() < leaf.depth - 1) return kRefusal;
  const ListData& data = lists_[leaf.list];
  const auto known = data.index.find({ids, text});
  return known == data.index.end() ? kMissing : RemoveEntry(leaf.list, Ids(known->second));
}

int DeviceApp::DeleteValue(const Leaf& leaf, const Ids& ids) {
  if (ids.size() < leaf.depth) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.list, entry)) return kMissing;
  const bool was_set = values_[leaf.path].erase(entry) > 0;
  return was_set || (leaf.definition.offers & kDeleteUnset) != 0 ? 0 : kMissing;
}

// ---- Commands ----

DeviceApp::Slots DeviceApp::ReadSlots(const std::string& list,
                                      const nc_dm_agent_data_block_t* block) const {
  Slots slots;
  void* accessed = const_cast<nc_dm_agent_data_block_t*>(block);
  for (const Leaf& leaf : leaves_) {
    const int slot = leaf.definition.slot;
    if (leaf.list != list || slot == 0) continue;
    if (leaf.definition.type == NC_DM_VAL_TYPE_STRING) {
      if (block->has_str_var(accessed, slot)) slots[slot] = block->get_str_var(accessed, slot);
    } else if (block->has_int_var(accessed, slot)) {
      // The accessor cuts to 32 bits.
      slots[slot] = leaf.definition.type == NC_DM_VAL_TYPE_ULONGLONG
                        ? std::to_string(block->ulong_var[slot])
                        : std::to_string(block->get_int_var(accessed, slot));
    }
  }
  return slots;
}

// The keys that slots give; empty when one is missing.
std::string DeviceApp::KeysIn(const std::string& list, const Slots& slots) const {
  std::string keys;
  for (const Leaf& leaf : leaves_) {
    if (leaf.list != list || !leaf.is_key()) continue;
    const auto slot = slots.find(leaf.definition.slot);
    if (slot == slots.end() || slot->second.empty()) return {};
    keys = keys.empty() ? slot->second : JoinKeys(keys, slot->second);
  }
  return keys;
}

int DeviceApp::GetAttr(int number, nc_dm_agent_data_block_t* block, nc_dm_op_output_t* output) {
  const Leaf& leaf = leaves_[static_cast<std::size_t>(number)];
  const Ids ids = IdsOf(block->id_array);
  const std::string keys = KeysIn(leaf.list, ReadSlots(leaf.list, block));
  calls_.push_back("get_attr " + leaf.list + " ids=" + IdsText(ids) +
                   " op=" + std::to_string(block->op_flag) + " keys=" + keys);
  if (ids.size() < leaf.depth - 1) return kRefusal;
  const ListData& data = lists_[leaf.list];
  const auto known = data.index.find({Prefix(ids, leaf.depth - 1), keys});
  if (known != data.index.end()) output->instid = known->second.back();
  return 0;
}

nc_int64 DeviceApp::ExeCmd(int number, nc_dm_agent_data_block_t* block) {
  const Leaf& leaf = leaves_[static_cast<std::size_t>(number)];
  const Ids ids = IdsOf(block->id_array);
  const Slots slots = ReadSlots(leaf.list, block);
  std::string call = "exe_cmd " + leaf.list + " ids=" + IdsText(ids) +
                     " src=" + std::to_string(block->id_array.src) +
                     " op=" + std::to_string(block->op_flag);
  for (const auto& [slot, text] : slots) call += " " + std::to_string(slot) + "=" + text;
  calls_.push_back(call);
  switch (block->op_flag) {
    case NC_DM_CMD_OP_MERGE:
    case NC_DM_CMD_OP_CREATE:
      return MergeByCommand(leaf.list, leaf.depth, ids, slots, block);
    case NC_DM_CMD_OP_EDIT:
      return ids.size() < leaf.depth ? kRefusal
                                     : EditByCommand(leaf.list, Prefix(ids, leaf.depth), slots);
    case NC_DM_CMD_OP_DELETE:
      return DeleteByCommand(leaf.list, leaf.depth, ids, slots);
    default:
      return kRefusal;
  }
}

nc_int64 DeviceApp::MergeByCommand(const std::string& list, std::size_t depth, const Ids& ids,
                                   const Slots& slots, nc_dm_agent_data_block_t* block) {
  if (ids.size() < depth - 1) return kRefusal;
  const Ids parents = Prefix(ids, depth - 1);
  if (depth > 1 && !HasEntry(list.substr(0, list.rfind('.')), parents)) return kRefusal;
  const std::string keys = KeysIn(list, slots);
  if (keys.empty()) return kRefusal;
  if (std::ranges::any_of(slots, [](const auto& slot) { return IsRefused(slot.second); })) {
    return kRefusal;
  }
  if (IsZero(slots.at(1))) return 0;
  const ListData& data = lists_[list];
  const auto known = data.index.find({parents, keys});
  if (known != data.index.end()) {
    block->id_array.output.inst_exist = 1;
    if (block->op_flag == NC_DM_CMD_OP_CREATE) return known->second.back();
    return ApplySlots(list, known->second, slots);
  }
  const nc_int64 id = AddEntry(list, parents, keys);
  return ApplySlots(list, Below(parents, id), slots);
}

nc_int64 DeviceApp::EditByCommand(const std::string& list, const Ids& ids, const Slots& slots) {
  if (!HasEntry(list, ids)) return kMissing;
  if (std::ranges::any_of(slots, [](const auto& slot) { return IsRefused(slot.second); })) {
    return kRefusal;
  }
  return ApplySlots(list, ids, slots);
}

nc_int64 DeviceApp::ApplySlots(const std::string& list, const Ids& ids, const Slots& slots) {
  for (const Leaf& leaf : leaves_) {
    if (leaf.list != list || leaf.definition.slot == 0 || leaf.is_key()) continue;
    const auto slot = slots.find(leaf.definition.slot);
    if (slot != slots.end()) values_[leaf.path][ids] = slot->second;
  }
  return ids.back();
}

// With the entry's own id: the slots that are named, or else the entry. Without: the entry that the
// key slots name.
nc_int64 DeviceApp::DeleteByCommand(const std::string& list, std::size_t depth, const Ids& ids,
                                    const Slots& slots) {
  if (ids.size() >= depth) {
    const Ids entry = Prefix(ids, depth);
    if (slots.empty() || !HasEntry(list, entry)) return RemoveEntry(list, entry);
    for (const Leaf& leaf : leaves_) {
      if (leaf.list == list && !leaf.is_key() && slots.contains(leaf.definition.slot)) {
        values_[leaf.path].erase(entry);
      }
    }
    return entry.back();
  }
  if (ids.size() < depth - 1) return kRefusal;
  const std::string keys = KeysIn(list, slots);
  if (keys.empty()) return kRefusal;
  const ListData& data = lists_[list];
  const auto known = data.index.find({ids, keys});
  return known == data.index.end() ? kMissing : RemoveEntry(list, Ids(known->second));
}

int DeviceApp::Commit() {
  ++commits_;
  calls_.push_back("commit");
  return 0;
}

}  // namespace ncdm_test
