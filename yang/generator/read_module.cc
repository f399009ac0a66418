#include <libyang/libyang.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <sstream>

#include "extensions_module.h"
#include "identifiers.h"
#include "module.h"
#include "netconf_dm_agent.h"
#include "read_type.h"

namespace ncdm::yang {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMaxListName = 60;  // "{i}" is put behind it where the path is announced
constexpr int kMaxSlot = NC_DM_MAX_SLOTS - 1;

// ---- The module and those around it ----

using Context = std::unique_ptr<ly_ctx, decltype(&ly_ctx_destroy)>;

std::string LastError(const ly_ctx* context) {
  const ly_err_item* error = ly_err_first(context);
  if (error == nullptr) return "cannot be read";
  const ly_err_item* last = error->prev;  // the list of errors is a ring
  std::string text = last->msg;
  if (last->path != nullptr) text += std::string(" (") + last->path + ")";
  return text;
}

// Hands libyang the module of our own extensions.
LY_ERR ImportOwn(const char* module, const char*, const char* submodule, const char*, void*,
                 LYS_INFORMAT* format, const char** data,
                 void (**release)(void* module_data, void* user_data)) {
  if (submodule != nullptr || std::string_view(module) != "ncdm-extensions") return LY_ENOT;
  *format = LYS_IN_YANG;
  *data = kExtensionsModule;
  *release = nullptr;
  return LY_SUCCESS;
}

const char* kAllFeatures[] = {"*", nullptr};

const lys_module* Parse(ly_ctx* context, const std::string& file) {
  if (!fs::is_regular_file(file)) throw Refusal(file + ": is no file");
  ly_in* input = nullptr;
  if (ly_in_new_filepath(file.c_str(), 0, &input) != LY_SUCCESS) {
    throw Refusal(file + ": cannot be opened");
  }
  const lys_module* module = nullptr;
  const LYS_INFORMAT format = file.ends_with(".yin") ? LYS_IN_YIN : LYS_IN_YANG;
  const LY_ERR result =
      lys_parse(context, input, format, kAllFeatures, const_cast<lys_module**>(&module));
  ly_in_free(input, 0);
  if (result != LY_SUCCESS) throw Refusal(file + ": " + LastError(context));
  return module;
}

std::string FileText(const fs::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool Imports(const std::string& text, const std::string& module) {
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (word != "import" || !(words >> word)) continue;
    std::erase_if(word, [](char c) { return c == '"' || c == '\'' || c == '{' || c == ';'; });
    if (word == module) return true;
  }
  return false;
}

bool AddsToOthers(const std::string& text) {
  return text.find("augment") != std::string::npos || text.find("identity") != std::string::npos ||
         text.find("deviation") != std::string::npos;
}

// What a file name says: module@revision.
std::string ModuleOfFile(const fs::path& file) {
  const std::string stem = file.stem().string();
  return stem.substr(0, stem.find('@'));
}

// The modules of the search paths that may add nodes, identities or deviations: those that import
// the module. The newest revision of each.
std::vector<std::string> Adding(const std::string& module, const Wishes& wishes) {
  std::map<std::string, std::string> newest;
  for (const std::string& path : wishes.search_paths) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(path, error)) {
      const fs::path& file = entry.path();
      if (file.extension() != ".yang" || ModuleOfFile(file) == module) continue;
      const std::string text = FileText(file);
      if (!text.starts_with("submodule") && Imports(text, module) && AddsToOthers(text)) {
        std::string& known = newest[ModuleOfFile(file)];
        known = std::max(known, file.string(), [](const fs::path& one, const fs::path& other) {
          return one.filename() < other.filename();
        });
      }
    }
  }
  std::vector<std::string> files;
  for (const auto& [name, file] : newest) files.push_back(file);
  return files;
}

// ---- From nodes of the schema to records ----

std::string SchemaPath(const lysc_node& node) {
  const std::unique_ptr<char, decltype(&free)> path(lysc_path(&node, LYSC_PATH_LOG, nullptr, 0),
                                                    free);
  return path == nullptr ? node.name : path.get();
}

std::string What(const lysc_node& node) {
  return std::string(lys_nodetype2str(node.nodetype)) + " " + SchemaPath(node);
}

[[noreturn]] void Refuse(const lysc_node& node, const std::string& why) {
  throw Refusal(What(node) + ": " + why);
}

std::string Description(const lysc_node& node) {
  if (node.dsc == nullptr) return "";
  std::istringstream words(node.dsc);
  std::string text;
  for (std::string word; words >> word;) {
    text += (text.empty() ? "" : " ") + word;
    // The first sentence says what it is.
    if (word.ends_with('.') && word != "e.g." && word != "i.e.") break;
  }
  return text;
}

bool IsConfig(const lysc_node& node) { return (node.flags & LYS_CONFIG_W) != 0; }

const lysc_ext_instance* OwnExtension(const lysc_node& node, std::string_view name) {
  for (const lysc_ext_instance& extension : Sized(node.exts)) {
    if (std::string_view(extension.def->module->name) == "ncdm-extensions" &&
        extension.def->name == name) {
      return &extension;
    }
  }
  return nullptr;
}

// Where a walk down the schema stands.
struct Place {
  size_t node = SIZE_MAX;          // of the module; none at the top
  std::string path;                // with "{i}" behind each list
  std::string names;               // without
  std::vector<std::string> lists;  // of the ids so far
  std::vector<Case> cases;         // of the members of the current record
  std::vector<Case> all_cases;     // of all choices so far
  int depth = 0;                   // components
  bool conditional = false;        // under a presence container, a case or a `when`
};

class Reader {
 public:
  // `found` are the modules that nobody named.
  Reader(const lys_module& module, const Wishes& wishes, std::set<std::string> found)
      : module_(module), wishes_(wishes), found_(std::move(found)) {}

  Module Run(const std::string& file) {
    result_.name = module_.name;
    result_.c_name = Identifier(module_.name);
    result_.revision = module_.revision == nullptr ? "" : module_.revision;
    result_.file = fs::path(file).filename().string();
    Children(module_.compiled == nullptr ? nullptr : module_.compiled->data, Place{});
    if (result_.registrations.empty()) {
      throw Refusal("module /" + result_.name + ": has no data nodes to generate from");
    }
    CheckWishes();
    NameRecords();
    AssignSlots();
    NameConstants();
    return std::move(result_);
  }

 private:
  // Each wish is for something that the module has.
  void CheckWishes() const {
    const auto check = [&](const std::string& path, const char* what) {
      if (!met_.contains(path)) throw Refusal(path + ": the module has no such " + what);
    };
    for (const auto& [path, count] : wishes_.expected_entries) check(path, "list");
    for (const auto& path : wishes_.whole_entries) check(path, "list");
    for (const auto& path : wishes_.no_delete) check(path, "leaf");
    for (const auto& path : wishes_.times) check(path, "leaf");
  }

  void Note(const lysc_node& node, const std::string& text) {
    result_.notes.push_back(What(node) + ": " + text);
  }

  void Children(const lysc_node* first, const Place& place) {
    std::set<std::string> names;
    ChildrenOf(first, place, names);
  }

  // The children of a choice's cases stand among those of the node around it.
  void ChildrenOf(const lysc_node* first, const Place& place, std::set<std::string>& names) {
    for (const lysc_node* child = first; child != nullptr; child = child->next) {
      if (child->nodetype == LYS_CHOICE) {
        Choice(*child, place, names);
        continue;
      }
      if (!names.insert(child->name).second) {
        SameName(*child);
        continue;
      }
      if (found_.contains(child->module->name)) {
        ChildOrNote(*child, place);
      } else {
        Child(*child, place);
      }
    }
  }

  // Nothing on the socket tells two modules' nodes of one name apart.
  void SameName(const lysc_node& node) {
    const std::string why = "another node beside it has the same name";
    if (!found_.contains(node.module->name)) Refuse(node, why);
    Note(node, why + ": left out");
  }

  // What a module adds that nobody asked for by name may be left out.
  void ChildOrNote(const lysc_node& child, const Place& place) {
    const size_t nodes = result_.nodes.size();
    const size_t registrations = result_.registrations.size();
    const size_t leaves = place.node == SIZE_MAX ? 0 : result_.nodes[place.node].leaves.size();
    try {
      Child(child, place);
    } catch (const Refusal& why) {
      result_.nodes.resize(nodes);
      names_of_nodes_.resize(nodes);
      result_.registrations.resize(registrations);
      if (place.node != SIZE_MAX) result_.nodes[place.node].leaves.resize(leaves);
      result_.notes.push_back(std::string(why.what()) + ": left out");
    }
  }

  void Choice(const lysc_node& choice, const Place& place, std::set<std::string>& names) {
    const int number = ++choices_;
    int branch = 0;
    for (const lysc_node* one = lysc_node_child(&choice); one != nullptr; one = one->next) {
      Place inner = place;
      const Case here = {number, ++branch, place.lists.size()};
      inner.cases.push_back(here);
      inner.all_cases.push_back(here);
      inner.conditional = true;
      ChildrenOf(lysc_node_child(one), inner, names);
    }
  }

  static void CheckName(const lysc_node& node, const Place& place) {
    const std::string_view name = node.name;
    const bool list = node.nodetype == LYS_LIST;
    if (name.find('.') != std::string_view::npos) Refuse(node, "a name with a dot");
    if (name.size() > (list ? kMaxListName : NC_DM_MAX_NAME_LEN)) {
      Refuse(node, "a name of more than " +
                       std::to_string(list ? kMaxListName : NC_DM_MAX_NAME_LEN) + " characters");
    }
    if (place.depth > NC_DM_MAX_DEPTH) {
      Refuse(node, "more than " + std::to_string(NC_DM_MAX_DEPTH) + " levels");
    }
    if (place.path.size() > NC_DM_MAX_PATH_LEN) {
      Refuse(node, "a path of more than " + std::to_string(NC_DM_MAX_PATH_LEN) + " characters");
    }
  }

  void Child(const lysc_node& child, const Place& outer) {
    Place place = outer;
    const std::string dot = place.names.empty() ? "" : ".";
    place.path += dot + child.name;
    place.names += dot + child.name;
    ++place.depth;
    CheckName(child, place);
    if (outer.depth == 0 && child.nodetype != LYS_CONTAINER) {
      Refuse(child, "at the top of a module, where an agent can serve containers alone");
    }
    const bool conditional =
        lysc_node_when(&child) != nullptr && LY_ARRAY_COUNT(lysc_node_when(&child)) != 0;
    place.conditional = place.conditional || conditional;
    switch (child.nodetype) {
      case LYS_CONTAINER:
        return Container(child, place);
      case LYS_LIST:
        return List(child, place);
      case LYS_LEAF:
        return AddLeaf(reinterpret_cast<const lysc_node_leaf&>(child), outer, place);
      case LYS_LEAFLIST:
        return LeafList(reinterpret_cast<const lysc_node_leaflist&>(child), place);
      default:
        Refuse(child, "any content, which an agent cannot serve");
    }
  }

  size_t AddNode(const lysc_node& schema, const Place& place, NodeKind kind) {
    Node node;
    node.kind = kind;
    node.path = place.path;
    node.description = Description(schema);
    node.lists = place.lists;
    node.config = IsConfig(schema);
    node.cases = place.all_cases;
    result_.nodes.push_back(std::move(node));
    names_of_nodes_.push_back(place.names);
    return result_.nodes.size() - 1;
  }

  static bool HasLeaves(const lysc_node* first) {
    for (const lysc_node* child = first; child != nullptr; child = child->next) {
      if (child->nodetype == LYS_LEAF) return true;
      if ((child->nodetype & (LYS_CHOICE | LYS_CASE)) != 0 && HasLeaves(lysc_node_child(child))) {
        return true;
      }
    }
    return false;
  }

  void Container(const lysc_node& schema, Place place) {
    const lysc_node* first = lysc_node_child(&schema);
    if (first == nullptr && lysc_node_actions(&schema) == nullptr) {
      Note(schema, "is empty, and so left out");
    }
    place.conditional = place.conditional || (schema.flags & LYS_PRESENCE) != 0;
    place.cases.clear();
    // A container without leaves of its own has no record, but stands in the paths.
    place.node = HasLeaves(first) ? AddNode(schema, place, NodeKind::kContainer) : SIZE_MAX;
    NoteActions(schema);
    Children(first, place);
  }

  void NoteActions(const lysc_node& schema) {
    for (const auto* action = lysc_node_actions(&schema); action != nullptr;
         action = action->next) {
      result_.notes.push_back("action " + SchemaPath(schema) + "/" + action->name +
                              ": is no data, and so left out");
    }
  }

  void NoteOrder(const lysc_node& schema) {
    if (IsConfig(schema) && (schema.flags & LYS_ORDBY_USER) != 0) {
      Note(schema, "ordered-by user: the order of an agent's entries is that of their creation");
    }
  }

  uint32_t Expected(const lysc_node& schema, const std::string& path) {
    for (const auto& [wanted, count] : wishes_.expected_entries) {
      if (wanted == path) {
        met_.insert(path);
        return count;
      }
    }
    const lysc_ext_instance* extension = OwnExtension(schema, "expected-entries");
    if (extension == nullptr) return 0;
    const std::string_view text = extension->argument;
    uint32_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error != std::errc() || end != text.data() + text.size()) {
      Refuse(schema, "ncdm:expected-entries '" + std::string(text) + "' is no number");
    }
    return count;
  }

  bool IsWhole(const lysc_node& schema, const std::string& path) {
    return IsWished(wishes_.whole_entries, path) ||
           OwnExtension(schema, "whole-entries") != nullptr;
  }

  bool IsWished(const std::vector<std::string>& paths, const std::string& path) {
    const bool wished = std::ranges::find(paths, path) != paths.end();
    if (wished) met_.insert(path);
    return wished;
  }

  void List(const lysc_node& schema, Place place) {
    place.lists.emplace_back(schema.name);
    // Members of an entry are mandatory or defaulted whenever the entry is there.
    place.conditional = false;
    place.cases.clear();
    place.node = AddNode(schema, place, NodeKind::kList);
    NoteOrder(schema);
    NoteActions(schema);
    Node& node = result_.nodes[place.node];
    node.expected_entries = Expected(schema, place.names);
    node.by_slots = IsWhole(schema, place.names);
    place.path += ".{i}";
    const size_t index = place.node;
    Children(lysc_node_child(&schema), place);
    FinishList(schema, result_.nodes[index]);
  }

  static void FinishList(const lysc_node& schema, Node& node) {
    if (node.leaves.empty()) Refuse(schema, "no leaf of its own");
    const auto keys = std::ranges::count_if(node.leaves, &Leaf::key);
    if (!node.config) {
      node.by_slots = false;
      SetKeyIsId(node, keys);
      return;
    }
    if (keys == 0) Refuse(schema, "a configuration list without keys");
    if (keys > kMaxSlot) Refuse(schema, "more keys than a data block has slots");
    const bool has_mandatory = std::ranges::any_of(
        node.leaves, [](const Leaf& leaf) { return leaf.config && leaf.mandatory && !leaf.key; });
    node.by_slots = node.by_slots || keys > 1 || has_mandatory;
    SetKeyIsId(node, keys);
  }

  // True if all values of the key can be an instance's id, which is positive.
  static void SetKeyIsId(Node& node, int64_t keys) {
    if (keys != 1) return;
    const Type& type = std::ranges::find_if(node.leaves, &Leaf::key)->type;
    const bool integer = type.kind >= Kind::kInt8 && type.kind <= Kind::kUint32;
    node.key_is_id = integer && !type.ranges.empty() && type.ranges.front().min > 0;
  }

  static Leaf MakeLeaf(const lysc_node& schema, const lysc_type& type) {
    Leaf leaf;
    leaf.name = schema.name;
    leaf.description = Description(schema);
    leaf.type = ReadType(type, What(schema));
    leaf.config = IsConfig(schema);
    return leaf;
  }

  static void MakeTime(const lysc_node& schema, Leaf& leaf) {
    if (leaf.type.kind != Kind::kText) Refuse(schema, "a time that is no string");
    if (leaf.key) Refuse(schema, "a time that is a key");
    leaf.type = {};
    leaf.type.yang = "date and time";
    leaf.type.kind = Kind::kTime;
  }

  void AddLeaf(const lysc_node_leaf& schema, const Place& outer, const Place& place) {
    Leaf leaf = MakeLeaf(schema.node, *schema.type);
    leaf.key = (schema.flags & LYS_KEY) != 0;
    const bool is_time = IsWished(wishes_.times, place.names);
    if (is_time || OwnExtension(schema.node, "time") != nullptr) MakeTime(schema.node, leaf);
    // Where a leaf may be out of place, so is its default, and it cannot be asked for.
    const bool always = !place.conditional;
    leaf.mandatory = always && leaf.config && (schema.flags & LYS_MAND_TRUE) != 0;
    if (always && schema.dflt != nullptr) {
      leaf.has_default = true;
      leaf.default_text = lyd_value_get_canonical(module_.ctx, schema.dflt);
    }
    leaf.optional = !leaf.key && !leaf.has_default;
    leaf.deletable = !IsWished(wishes_.no_delete, place.names) &&
                     OwnExtension(schema.node, "no-delete") == nullptr;
    leaf.cases = outer.cases;
    auto& leaves = result_.nodes[outer.node].leaves;
    leaves.push_back(std::move(leaf));
    result_.registrations.push_back({place.path, outer.node, leaves.size() - 1});
  }

  std::vector<std::string> DefaultsOf(const lysc_node_leaflist& schema) const {
    std::vector<std::string> texts;
    for (const lyd_value* value : Sized(schema.dflts)) {
      texts.emplace_back(lyd_value_get_canonical(module_.ctx, value));
    }
    return texts;
  }

  void LeafList(const lysc_node_leaflist& schema, Place place) {
    NoteOrder(schema.node);
    place.lists.emplace_back(schema.name);
    const size_t node = AddNode(schema.node, place, NodeKind::kLeafList);
    result_.nodes[node].expected_entries = Expected(schema.node, place.names);
    // Where it may be out of place, so are its defaults.
    if (!place.conditional) result_.nodes[node].defaults = DefaultsOf(schema);
    Leaf leaf = MakeLeaf(schema.node, *schema.type);
    leaf.key = true;
    leaf.description.clear();
    result_.nodes[node].leaves.push_back(std::move(leaf));
    result_.registrations.push_back({place.path, node, 0});
  }

  // ---- Names of C ----

  // Everything that is declared for a record, so that no two records declare the same.
  static std::vector<std::string> Declared(const std::string& record) {
    std::vector<std::string> names;
    for (const char* end : {"", "_t", "_operations", "_operations_t", "_node", "_init", "_set",
                            "_text", "_put", "_get", "_drop", "_find", "_next"}) {
      names.push_back(record + end);
    }
    return names;
  }

  // The module and the path; of a path that is too long to be read only the end.
  std::string RecordName(std::string path) const {
    constexpr size_t kLongest = 70;
    while (result_.c_name.size() + 1 + path.size() > kLongest &&
           path.find('.') != std::string::npos) {
      path.erase(0, path.find('.') + 1);
    }
    // A keyword is none behind a prefix.
    std::ranges::replace_if(
        path, [](char c) { return c == '-' || c == '.'; }, '_');
    return result_.c_name + "_" + path;
  }

  void NameRecords() {
    std::set<std::string> used = {result_.c_name + "_model"};
    for (size_t i = 0; i < result_.nodes.size(); ++i) {
      std::string name = RecordName(names_of_nodes_[i]);
      const auto is_used = [&](const std::string& one) { return used.contains(one); };
      while (std::ranges::any_of(Declared(name), is_used)) name += "_";
      for (const std::string& one : Declared(name)) used.insert(one);
      result_.nodes[i].c_name = name;
      NameMembers(result_.nodes[i]);
    }
    for (Node& node : result_.nodes) node.list = ListAround(node);
    used_names_ = std::move(used);
  }

  std::string ListAround(const Node& node) const {
    const size_t around = node.path.rfind(".{i}.");
    if (around == std::string::npos) return "";
    const std::string path = node.path.substr(0, around);
    return std::ranges::find(result_.nodes, path, &Node::path)->c_name;
  }

  static void NameMembers(Node& node) {
    UniqueNames members;
    members.Unique("has");
    for (Leaf& leaf : node.leaves) {
      leaf.c_name =
          members.Unique(node.kind == NodeKind::kLeafList ? "value" : Identifier(leaf.name));
    }
  }

  // ---- Slots: the keys first, then what an entry cannot be without, then as many as there are
  // ----

  void AssignSlots() {
    for (Node& node : result_.nodes) {
      if (!node.by_slots) continue;
      int next = 1;
      const auto assign = [&](auto wanted) {
        for (Leaf& leaf : node.leaves) {
          // A data block has no place for times.
          const bool fits = leaf.config && leaf.type.kind != Kind::kTime;
          if (fits && leaf.slot == 0 && next <= kMaxSlot && wanted(leaf)) {
            leaf.slot = next++;
          }
        }
      };
      assign([](const Leaf& leaf) { return leaf.key; });
      if (std::ranges::count_if(node.leaves, &Leaf::config) > kMaxSlot) {
        assign([](const Leaf& leaf) { return leaf.mandatory; });
      }
      assign([](const Leaf&) { return true; });
    }
  }

  // ---- Enumerators and macros ----

  // One C enum for each set of names: leaves of one typedef share it.
  void NameConstants() {
    UniqueNames types;
    for (Node& node : result_.nodes) {
      for (Leaf& leaf : node.leaves) NameType(node, leaf, types);
    }
  }

  static std::string Key(const Type& type) {
    std::string key = type.yang;
    for (const Name& name : type.names) {
      key += "\n" + name.text + "=" + std::to_string(name.value);
    }
    return key;
  }

  void NameType(const Node& node, Leaf& leaf, UniqueNames& types) {
    Type& type = leaf.type;
    if (type.kind != Kind::kEnum && type.kind != Kind::kBits) return;
    const auto [known, is_new] = named_types_.try_emplace(Key(type), type);
    if (is_new) {
      const bool own = type.yang != "identityref";
      std::string name = result_.c_name + "_identity_" + type.c_name;
      if (own) {
        name = node.c_name + "_" + (node.kind == NodeKind::kLeafList ? "value" : leaf.c_name);
      }
      while (used_names_.contains(name) || used_names_.contains(name + "_t")) name += "_";
      Type& fresh = known->second;
      fresh.c_name = types.Unique(name);
      NameTexts(fresh);
    }
    type.c_name = known->second.c_name;
    type.names = known->second.names;
  }

  void NameTexts(Type& type) {
    std::map<std::string, int> locals;
    const auto local = [](const std::string& text) { return text.substr(text.find(':') + 1); };
    for (const Name& name : type.names) ++locals[local(name.text)];
    for (Name& name : type.names) {
      const bool with_module = type.yang == "identityref" && locals[local(name.text)] > 1;
      const std::string text =
          type.yang == "identityref" && !with_module ? local(name.text) : name.text;
      name.c_name = constants_.Unique(Constant(type.c_name + "_" + text));
    }
  }

  const lys_module& module_;
  const Wishes& wishes_;
  std::set<std::string> found_;
  Module result_;
  int choices_ = 0;
  std::vector<std::string> names_of_nodes_;
  std::set<std::string> met_;  // wishes that the module has something for
  std::set<std::string> used_names_;
  std::map<std::string, Type> named_types_;
  UniqueNames constants_;
};

void NoteOperations(const lys_module& module, Module& result) {
  if (module.compiled == nullptr) return;
  for (const auto* rpc = module.compiled->rpcs; rpc != nullptr; rpc = rpc->next) {
    result.notes.push_back("rpc /" + result.name + ":" + rpc->name +
                           ": is no data, and so left out");
  }
  for (const auto* notif = module.compiled->notifs; notif != nullptr; notif = notif->next) {
    result.notes.push_back("notification /" + result.name + ":" + notif->name +
                           ": is no data, and so left out");
  }
}

Context NewContext(const std::string& file, const Wishes& wishes) {
  ly_log_options(LY_LOSTORE_LAST);
  ly_ctx* context = nullptr;
  if (ly_ctx_new(nullptr,
                 LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIR_CWD | LY_CTX_PREFER_SEARCHDIRS,
                 &context) != LY_SUCCESS) {
    throw Refusal("libyang: no context");
  }
  Context owner(context, ly_ctx_destroy);
  ly_ctx_set_module_imp_clb(context, ImportOwn, nullptr);
  std::string own = fs::path(file).parent_path().string();
  if (own.empty()) own = ".";
  const LY_ERR result = ly_ctx_set_searchdir(context, own.c_str());
  if (result != LY_SUCCESS && result != LY_EEXIST) throw Refusal(own + ": is no folder");
  for (const std::string& path : wishes.search_paths) {
    const LY_ERR added = ly_ctx_set_searchdir(context, path.c_str());
    if (added != LY_SUCCESS && added != LY_EEXIST) throw Refusal(path + ": is no folder");
  }
  return owner;
}

}  // namespace

Module ReadModule(const std::string& file, const Wishes& wishes) {
  if (FileText(file).starts_with("submodule")) {
    throw Refusal("submodule /" + ModuleOfFile(file) + ": is generated with its module alone");
  }
  const Context context = NewContext(file, wishes);
  const lys_module* module = Parse(context.get(), file);
  std::vector<std::string> notes;
  std::set<std::string> found;
  for (const std::string& further : wishes.further_modules) Parse(context.get(), further);
  for (const std::string& adding : Adding(module->name, wishes)) {
    if (ly_ctx_get_module_implemented(context.get(), ModuleOfFile(adding).c_str()) != nullptr) {
      continue;
    }
    // Drafts lie about that lack what they import; the module asked for is none of them.
    try {
      found.insert(Parse(context.get(), adding)->name);
    } catch (const Refusal& why) {
      notes.push_back(std::string(why.what()) + ": left out");
    }
  }
  Reader reader(*module, wishes, std::move(found));
  Module result = reader.Run(file);
  NoteOperations(*module, result);
  result.notes.insert(result.notes.end(), notes.begin(), notes.end());
  return result;
}

}  // namespace ncdm::yang
