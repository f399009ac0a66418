#include "data_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

#include "application.h"
#include "node_tree.h"
#include "record.h"
#include "value.h"
#include "whole_file.h"

namespace ncdm::model {
namespace {

using Json = nlohmann::ordered_json;

// What is wrong in the file, and where.
class DataError : public std::runtime_error {
 public:
  DataError(const std::string& where, const std::string& what)
      : std::runtime_error(where + ": " + what) {}
};

// ---- Values ----

bool IsWideNumber(const ncdm_type_t& type) {
  return type.kind == NCDM_INT64 || type.kind == NCDM_UINT64 || type.kind == NCDM_DECIMAL64;
}

Json ToJson(const ncdm_type_t& type, const void* member) {
  char text[NCDM_TEXT_SIZE];
  if (!WriteText(type, member, text)) return nullptr;
  if (type.kind == NCDM_EMPTY) return Json::array({nullptr});
  const bool plain = (IsNumber(type) && !IsWideNumber(type)) || type.kind == NCDM_BOOL;
  return plain ? Json::parse(text) : Json(text);
}

// The text of a scalar, as the type reads it.
std::optional<std::string> ToText(const ncdm_type_t& type, const Json& json) {
  if (type.kind == NCDM_EMPTY) {
    if (json == Json::array({nullptr})) return "";
    return std::nullopt;
  }
  if (json.is_string()) return json.get<std::string>();
  if (json.is_boolean() || json.is_number()) return json.dump();
  return std::nullopt;
}

void ReadValue(const ncdm_leaf_t& leaf, const Json& json, const std::string& where, void* record) {
  const auto text = ToText(*leaf.type, json);
  if (!text || !ReadText(*leaf.type, *text, Member(leaf, record))) {
    throw DataError(where, "the value " + json.dump() + " is not of its type");
  }
}

// ---- Reading ----

class Reader {
 public:
  void ReadObject(const TreeNode& tree, const Json& json, const Ids& ids,
                  const std::string& where) {
    if (!json.is_object()) throw DataError(where, "is no object");
    for (const auto& [name, value] : json.items()) {
      const std::string local = LocalName(name);
      if (IsLeafOf(tree, local)) continue;
      const TreeNode* child = tree.Child(local);
      if (child == nullptr) throw DataError(where + "/" + name, "is not in the module");
      ReadNode(*child, value, ids, where + "/" + local);
    }
  }

 private:
  // A member's name may carry its module: "module:name".
  static std::string LocalName(const std::string& name) {
    const size_t colon = name.find(':');
    return colon == std::string::npos ? name : name.substr(colon + 1);
  }

  static bool IsLeafOf(const TreeNode& tree, const std::string& name) {
    return tree.node != nullptr && tree.node->kind != NCDM_LEAF_LIST &&
           LeafOfName(*tree.node, name) != nullptr;
  }

  void ReadNode(const TreeNode& tree, const Json& json, const Ids& ids, const std::string& where) {
    if (tree.node == nullptr || tree.node->kind == NCDM_CONTAINER) {
      if (!json.is_object()) throw DataError(where, "is no object");
      if (tree.node != nullptr) ReadContainer(*tree.node, json, ids, where);
      ReadObject(tree, json, ids, where);
      return;
    }
    if (!json.is_array()) throw DataError(where, "is no array");
    for (size_t i = 0; i < json.size(); ++i) {
      ReadEntry(tree, json[i], ids, where + "[" + std::to_string(i + 1) + "]");
    }
  }

  static void ReadLeaves(const ncdm_node_t& node, const Json& json, const std::string& where,
                         Record& record) {
    if (!json.is_object()) throw DataError(where, "is no object");
    for (const auto& [name, value] : json.items()) {
      const ncdm_leaf_t* leaf = LeafOfName(node, LocalName(name));
      if (leaf == nullptr) continue;
      ReadValue(*leaf, value, where + "/" + leaf->name, record.data());
      SetHasValue(node, *leaf, record.data());
    }
  }

  static void ReadContainer(const ncdm_node_t& node, const Json& json, const Ids& ids,
                            const std::string& where) {
    Application& application = Application::Instance();
    const Record before = Application::Defaults(node);
    Record after = before;
    ReadLeaves(node, json, where, after);
    application.SetFromFile(node, ids);
    if (!node.config) {
      application.store().Put(node, ids, after.data());
    } else if (after != before && application.Change(node, ids, before, after) != 0) {
      throw DataError(where, "is refused by the application");
    }
  }

  static void CheckKeys(const ncdm_node_t& node, const Json& json, const std::string& where) {
    for (const ncdm_leaf_t& leaf : Leaves(node)) {
      const bool wanted = IsKey(leaf) || (IsMandatory(leaf) && leaf.slot != 0);
      if (!wanted) continue;
      bool found = false;
      for (const auto& [name, value] : json.items()) found = found || LocalName(name) == leaf.name;
      if (!found) throw DataError(where, std::string("lacks '") + leaf.name + "'");
    }
  }

  void ReadEntry(const TreeNode& tree, const Json& json, const Ids& outer,
                 const std::string& where) {
    const ncdm_node_t& node = *tree.node;
    Record record = Application::Defaults(node);
    if (node.kind == NCDM_LEAF_LIST) {
      ReadValue(node.leaves[0], json, where, record.data());
    } else {
      ReadLeaves(node, json, where, record);
      CheckKeys(node, json, where);
    }
    Ids ids = outer;
    ids.push_back(Add(node, outer, where, record));
    if (node.kind == NCDM_LIST) ReadObject(tree, json, ids, where);
  }

  // An entry that the application had before the file was read becomes what the file says.
  static int64_t Add(const ncdm_node_t& node, const Ids& outer, const std::string& where,
                     Record& record) {
    Application& application = Application::Instance();
    Ids ids = outer;
    ids.push_back(application.store().Find(node, outer, record.data()));
    const bool known = ids.back() > 0;
    if (known && application.IsFromFile(node, ids)) throw DataError(where, "stands twice");
    ids.back() = Keep(node, ids, known, record);
    if (ids.back() <= 0) throw DataError(where, "is refused by the application");
    application.SetFromFile(node, ids);
    return ids.back();
  }

  // The entry's id, or negative.
  static int64_t Keep(const ncdm_node_t& node, const Ids& ids, bool known, Record& record) {
    Application& application = Application::Instance();
    const Ids outer(ids.begin(), ids.end() - 1);
    if (node.config && !known) return application.Create(node, outer, record);
    if (node.config) {
      Record before;
      const int result = application.Load(node, ids, before);
      return result == 0 && application.Change(node, ids, before, record) == 0 ? ids.back() : -1;
    }
    Ids state = ids;
    if (!known) state.back() = application.store().NewId(node, outer, record.data());
    application.store().Put(node, state, record.data());
    return state.back();
  }
};

// ---- Writing ----

Json WriteChildren(const TreeNode& tree, const Ids& ids, Json json);

void WriteLeaves(const ncdm_node_t& node, const Ids& ids, const Record& record, Json& json) {
  const bool with_state = Application::Instance().IsFromFile(node, ids);
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    if (!HasValue(leaf, record.data()) || (!IsConfig(leaf) && !with_state)) continue;
    Json value = ToJson(*leaf.type, Member(leaf, record.data()));
    if (!value.is_null()) json[leaf.name] = std::move(value);
  }
}

Json WriteEntries(const TreeNode& tree, const Ids& outer) {
  Application& application = Application::Instance();
  const ncdm_node_t& node = *tree.node;
  Json array = Json::array();
  if (application.store().HasDefaults(node, outer)) return array;
  int64_t id = 0;
  while ((id = application.store().Next(node, outer, id)) != 0) {
    Ids ids = outer;
    ids.push_back(id);
    Record record;
    if (!node.config && !application.IsFromFile(node, ids)) continue;
    if (application.Load(node, ids, record) != 0) continue;
    if (node.kind == NCDM_LEAF_LIST) {
      array.push_back(ToJson(*node.leaves[0].type, Member(node.leaves[0], record.data())));
      continue;
    }
    Json object = Json::object();
    WriteLeaves(node, ids, record, object);
    array.push_back(WriteChildren(tree, ids, std::move(object)));
  }
  return array;
}

Json WriteContainer(const TreeNode& tree, const Ids& ids) {
  Json object = Json::object();
  Record record;
  if (tree.node != nullptr && Application::Instance().Load(*tree.node, ids, record) == 0) {
    WriteLeaves(*tree.node, ids, record, object);
  }
  return WriteChildren(tree, ids, std::move(object));
}

Json WriteChildren(const TreeNode& tree, const Ids& ids, Json json) {
  for (const TreeNode& child : tree.children) {
    const bool single = child.node == nullptr || child.node->kind == NCDM_CONTAINER;
    Json value = single ? WriteContainer(child, ids) : WriteEntries(child, ids);
    if (!value.empty()) json[child.name] = std::move(value);
  }
  return json;
}

Json WithModule(const ncdm_model_t& model, const Json& top) {
  Json json = Json::object();
  for (const auto& [name, value] : top.items()) json[std::string(model.name) + ":" + name] = value;
  return json;
}

}  // namespace

bool ReadDataFile(const ncdm_model_t& model, const std::string& file, std::string& error) {
  std::ifstream stream(file);
  if (!stream) {
    if (errno == ENOENT) return true;
    error = file + ": " + strerror(errno);
    return false;
  }
  Application::Instance().ForgetFile();
  try {
    Reader().ReadObject(BuildTree(model), Json::parse(stream), {}, "");
  } catch (const DataError& problem) {
    error = file + ": " + problem.what();
    return false;
  } catch (const Json::exception& problem) {
    error = file + ": " + problem.what();
    return false;
  }
  return true;
}

bool WriteDataFile(const ncdm_model_t& model, const std::string& file, std::string& error) {
  const Json json = WithModule(model, WriteChildren(BuildTree(model), {}, Json::object()));
  const std::string text = json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
  return WriteWholeFile(file, text, error);
}

}  // namespace ncdm::model
