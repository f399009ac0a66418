#include <algorithm>
#include <map>
#include <set>

#include "source_text.h"
#include "writers.h"

namespace ncdm::yang {
namespace {

constexpr const char* kKinds[] = {
    "NCDM_BOOL",   "NCDM_INT8",   "NCDM_INT16",  "NCDM_INT32",     "NCDM_INT64", "NCDM_UINT8",
    "NCDM_UINT16", "NCDM_UINT32", "NCDM_UINT64", "NCDM_DECIMAL64", "NCDM_TEXT",  "NCDM_UNION",
    "NCDM_ENUM",   "NCDM_BITS",   "NCDM_BINARY", "NCDM_EMPTY",     "NCDM_TIME"};

bool TypeHasPatterns(const Type& type) {
  return !type.patterns.empty() || std::ranges::any_of(type.members, TypeHasPatterns);
}

std::string Number(int64_t value, bool is_unsigned) {
  if (is_unsigned && value < 0) {
    return "(int64_t)UINT64_C(" + std::to_string(static_cast<uint64_t>(value)) + ")";
  }
  if (value == INT64_MIN) return "INT64_MIN";
  if (value > INT32_MAX || value < INT32_MIN) return "INT64_C(" + std::to_string(value) + ")";
  return std::to_string(value);
}

std::string SizeOf(const Type& type) {
  if (type.kind == Kind::kText || type.kind == Kind::kUnion) return std::to_string(type.size);
  return type.kind == Kind::kEnum ? "sizeof(int)" : "sizeof(" + MemberType(type) + ")";
}

// The tables of types: each written once, under a number.
class TypeTables {
 public:
  explicit TypeTables(Source& out) : out_(out) {}

  // The name of a type's table; written where it is new.
  std::string Table(const Type& type) {
    // What it refers to is written on the way.
    const std::string initializer = Initializer(type, 4);
    return Known(
        initializer,
        [&](const std::string& name) {
          out_.Line("static const ncdm_type_t type_" + name + " = {");
          out_.Line(initializer + "};");
          out_.Line();
        },
        "type_");
  }

 private:
  // Arrays are told apart by their content.
  template <typename Write>
  std::string Known(const std::string& content, Write write, const std::string& prefix) {
    const auto [known, is_new] =
        names_.try_emplace(prefix + content, std::to_string(names_.size()));
    if (is_new) write(known->second);
    return prefix + known->second;
  }

  std::string Array(const std::string& prefix, const std::string& type, const std::string& rows) {
    if (rows.empty()) return "NULL";
    return Known(
        rows,
        [&](const std::string& name) {
          out_.Line("static " + type + " " + prefix + name + "[] = {");
          out_.Line(rows + "};");
          out_.Line();
        },
        prefix);
  }

  std::string Ranges(const Type& type) {
    std::string rows;
    for (const Range& range : type.ranges) {
      rows += "    {" + Number(range.min, type.is_unsigned) + ", " +
              Number(range.max, type.is_unsigned) + "},\n";
    }
    return Array("ranges_", "const ncdm_range_t", rows);
  }

  std::string Expression(const Pattern& pattern) {
    const std::string whole = Literal(pattern.expression);
    return Known(
        whole,
        [&](const std::string& name) {
          const std::string begin = "static const char pattern_" + name + "[] =";
          if (begin.size() + whole.size() + 2 <= kColumns) {
            out_.Line(begin + " " + whole + ";");
          } else {
            out_.Line(begin);
            const auto literals = Literals(pattern.expression, kColumns - 5);
            for (const std::string& literal : literals) {
              out_.Line("    " + literal + (&literal == &literals.back() ? ";" : ""));
            }
          }
          out_.Line();
        },
        "pattern_");
  }

  std::string Patterns(const Type& type) {
    std::string rows;
    for (const Pattern& pattern : type.patterns) {
      rows +=
          "    {" + Expression(pattern) + (pattern.inverted ? ", true" : ", false") + ", NULL},\n";
    }
    return Array("patterns_", "ncdm_pattern_t", rows);
  }

  static std::string Names(const Type& type, std::string& rows) {
    for (const Name& name : type.names) {
      const std::string value = type.kind == Kind::kBits
                                    ? "(int64_t)(UINT64_C(1) << " + std::to_string(name.value) + ")"
                                    : std::to_string(name.value);
      Source row;
      row.Line("    {");
      row.TextField(8, "text", name.text);
      row.Field(8, "value", value);
      row.Line("    },");
      rows += row.text();
    }
    return rows;
  }

  std::string Initializer(const Type& type, size_t indent) {
    std::string rows;
    Names(type, rows);
    std::string members;
    for (const Type& member : type.members) {
      members += "    {\n" + Initializer(member, 8) + "    },\n";
    }
    Source out;
    out.Field(indent, "kind", kKinds[static_cast<int>(type.kind)]);
    out.Field(indent, "fraction_digits", std::to_string(type.fraction_digits));
    out.Field(indent, "size", SizeOf(type));
    out.Field(indent, "ranges", Ranges(type));
    out.Field(indent, "range_count", std::to_string(type.ranges.size()));
    out.Field(indent, "patterns", Patterns(type));
    out.Field(indent, "pattern_count", std::to_string(type.patterns.size()));
    out.Field(indent, "matches", type.patterns.empty() ? "NULL" : "ncdm_pattern_matches");
    out.Field(indent, "names", Array("names_", "const ncdm_name_t", rows));
    out.Field(indent, "name_count", std::to_string(type.names.size()));
    out.Field(indent, "members", Array("members_", "const ncdm_type_t", members));
    out.Field(indent, "member_count", std::to_string(type.members.size()));
    return out.text();
  }

  Source& out_;
  std::map<std::string, std::string> names_;
};

std::string LeafFlags(const Leaf& leaf) {
  std::string flags;
  const auto add = [&](bool wanted, const char* name) {
    if (wanted) flags += (flags.empty() ? "" : " | ") + std::string(name);
  };
  add(leaf.key, "NCDM_LEAF_KEY");
  add(leaf.config, "NCDM_LEAF_CONFIG");
  add(leaf.mandatory, "NCDM_LEAF_MANDATORY");
  return flags.empty() ? "0" : flags;
}

void WriteLeaf(const std::string& record, const Leaf& leaf, const std::string& type,
               const std::string& cases, Source& out) {
  const auto offset = [&](const std::string& member) {
    return "offsetof(" + record + ", " + member + ")";
  };
  out.Line("    {");
  out.TextField(8, "name", leaf.name);
  out.Field(8, "type", "&" + type);
  out.Field(8, "offset", offset(leaf.c_name));
  out.Field(8, "has", leaf.optional ? offset("has." + leaf.c_name) : "NCDM_ALWAYS");
  out.Field(8, "flags", LeafFlags(leaf));
  out.Field(8, "slot", std::to_string(leaf.slot));
  if (leaf.has_default) {
    out.TextField(8, "initial", leaf.default_text);
  } else {
    out.Field(8, "initial", "NULL");
  }
  out.Field(8, "cases", cases);
  out.Field(8, "case_count", std::to_string(leaf.cases.size()));
  out.Line("    },");
}

// The cases that something stands in, each sequence once.
class CaseTables {
 public:
  std::string Table(const std::vector<Case>& cases, Source& out) {
    if (cases.empty()) return "NULL";
    std::string rows;
    for (const Case& one : cases) {
      rows += "    {" + std::to_string(one.choice) + ", " + std::to_string(one.branch) + ", " +
              std::to_string(one.levels) + "},\n";
    }
    const auto [known, is_new] = names_.try_emplace(rows, "cases_" + std::to_string(names_.size()));
    if (is_new) {
      out.Line("static const ncdm_case_t " + known->second + "[] = {");
      out.Line(rows + "};");
      out.Line();
    }
    return known->second;
  }

 private:
  std::map<std::string, std::string> names_;
};

constexpr const char* kNodeKinds[] = {"NCDM_CONTAINER", "NCDM_LIST", "NCDM_LEAF_LIST"};

// The names of the tables that a node refers to.
struct NodeTables {
  std::string leaves;
  std::string cases;
  std::string defaults;
};

// What a leaf-list has by default.
std::string WriteDefaults(const Node& node, const std::string& number, Source& out) {
  if (node.defaults.empty()) return "NULL";
  out.Line("static const char* const defaults_" + number + "[] = {");
  for (const std::string& text : node.defaults) {
    const auto literals = Literals(text, kColumns - 5);
    for (const std::string& literal : literals) {
      out.Line("    " + literal + (&literal == &literals.back() ? "," : ""));
    }
  }
  out.Line("};");
  out.Line();
  return "defaults_" + number;
}

void WriteNode(const Module& module, const Node& node, const NodeTables& tables, Source& out) {
  out.Line("NCDM_NODE(" + node.c_name + ") = {");
  out.Field(4, "model", "&" + module.c_name + "_model");
  out.Field(4, "kind", kNodeKinds[static_cast<int>(node.kind)]);
  out.TextField(4, "path", node.path);
  out.Field(4, "levels", std::to_string(node.lists.size()));
  out.Field(4, "list", node.list.empty() ? "NULL" : "&" + node.list + "_node");
  out.Field(4, "config", node.config ? "true" : "false");
  out.Field(4, "key_is_id", node.key_is_id ? "true" : "false");
  out.Field(4, "expected_entries", std::to_string(node.expected_entries));
  out.Field(4, "size", "sizeof(" + node.c_name + "_t)");
  out.Field(4, "leaves", tables.leaves);
  out.Field(4, "leaf_count", std::to_string(node.leaves.size()));
  out.Field(4, "cases", tables.cases);
  out.Field(4, "case_count", std::to_string(node.cases.size()));
  out.Field(4, "defaults", tables.defaults);
  out.Field(4, "default_count", std::to_string(node.defaults.size()));
  out.Field(4, "load", node.c_name + "_call_load");
  out.Field(4, "apply", node.c_name + "_call_apply");
  out.Field(4, "remove", node.c_name + "_call_remove");
  out.Field(4, "find", node.c_name + "_call_find");
  out.Line("};");
  out.Line();
}

// The callbacks that a leaf is registered with: names of functions.
struct Callbacks {
  std::string set = "NULL";
  std::string get = "NULL";
  std::string create = "NULL";
  std::string remove = "NULL";
  std::string get_attr = "NULL";
  std::string exe_cmd = "NULL";
};

Callbacks CallbacksOf(const Node& node, size_t index) {
  const Leaf& leaf = node.leaves[index];
  const std::string& name = node.c_name;
  Callbacks callbacks;
  callbacks.get = name + "_get_" + std::to_string(index);
  if (!leaf.config) return callbacks;
  if (leaf.key) {
    if (node.by_slots) {
      callbacks.exe_cmd = name + "_execute";
    } else {
      callbacks.create = name + "_create_entry";
      callbacks.remove = name + "_delete_entry";
    }
    if (node.kind == NodeKind::kList) callbacks.get_attr = name + "_find_entry";
    return callbacks;
  }
  if (leaf.deletable) callbacks.remove = name + "_delete_" + std::to_string(index);
  if (leaf.slot != 0) {
    callbacks.exe_cmd = name + "_execute";
  } else {
    callbacks.set = name + "_set_" + std::to_string(index);
  }
  return callbacks;
}

void WriteCallbacks(const Node& node, Source& out) {
  std::set<std::string> written;
  const auto once = [&](const std::string& function, const std::string& macro,
                        const std::vector<std::string>& arguments) {
    if (function != "NULL" && written.insert(function).second) out.Call(macro, arguments);
  };
  for (size_t i = 0; i < node.leaves.size(); ++i) {
    const Callbacks callbacks = CallbacksOf(node, i);
    const std::vector<std::string> record = {node.c_name};
    const std::vector<std::string> leaf = {node.c_name, std::to_string(i)};
    const bool key = node.leaves[i].key;
    once(callbacks.get, "NCDM_GET", leaf);
    once(callbacks.set, "NCDM_SET", leaf);
    once(callbacks.create, "NCDM_CREATE_ENTRY", record);
    once(callbacks.remove, key ? "NCDM_DELETE_ENTRY" : "NCDM_DELETE", key ? record : leaf);
    once(callbacks.get_attr, "NCDM_FIND_ENTRY", record);
    once(callbacks.exe_cmd, "NCDM_EXECUTE", record);
  }
  out.Line();
}

const char* SocketType(const Type& type) {
  switch (type.kind) {
    case Kind::kBool:
      return "NC_DM_VAL_TYPE_BOOL";
    case Kind::kInt8:
    case Kind::kInt16:
      return "NC_DM_VAL_TYPE_SHORT";
    case Kind::kUint8:
    case Kind::kUint16:
      return "NC_DM_VAL_TYPE_USHORT";
    case Kind::kInt32:
      return "NC_DM_VAL_TYPE_INT";
    case Kind::kUint32:
      return "NC_DM_VAL_TYPE_UINT";
    case Kind::kInt64:
      return "NC_DM_VAL_TYPE_LONGLONG";
    case Kind::kUint64:
      return "NC_DM_VAL_TYPE_ULONGLONG";
    case Kind::kTime:
      return "NC_DM_VAL_TYPE_DATATIME";
    default:
      return "NC_DM_VAL_TYPE_STRING";
  }
}

void WritePath(const Module& module, const Registration& registration, Source& out) {
  const Node& node = module.nodes[registration.node];
  const Leaf& leaf = node.leaves[registration.leaf];
  const Callbacks callbacks = CallbacksOf(node, registration.leaf);
  const char* flag = "0";
  if (node.kind == NodeKind::kLeafList) {
    flag = "NC_DM_FLAG_LEAF_LIST";
  } else if (leaf.key) {
    flag = "NC_DM_FLAG_KEY";
  }
  out.Line("    {");
  out.TextField(8, "path", registration.path);
  out.Field(8, "val_type", SocketType(leaf.type));
  out.Field(8, "flag", flag);
  out.Field(8, "slot", std::to_string(leaf.slot));
  out.Field(8, "set", callbacks.set);
  out.Field(8, "get", callbacks.get);
  out.Field(8, "create", callbacks.create);
  out.Field(8, "remove", callbacks.remove);
  out.Field(8, "get_attr", callbacks.get_attr);
  out.Field(8, "exe_cmd", callbacks.exe_cmd);
  out.Line("    },");
}

// The record has a short name here, so that the table's lines keep their form.
void WriteLeaves(const Node& node, const std::string& number, TypeTables& types, CaseTables& cases,
                 Source& out) {
  std::vector<std::string> names;
  std::vector<std::string> case_names;
  for (const Leaf& leaf : node.leaves) {
    names.push_back(types.Table(leaf.type));
    case_names.push_back(cases.Table(leaf.cases, out));
  }
  const std::string record = "record_" + number;
  out.Line("typedef " + node.c_name + "_t " + record + ";");
  out.Line();
  out.Line("static const ncdm_leaf_t leaves_" + number + "[] = {");
  for (size_t i = 0; i < node.leaves.size(); ++i) {
    WriteLeaf(record, node.leaves[i], names[i], case_names[i], out);
  }
  out.Line("};");
  out.Line();
}

void WriteEnumCheck(Source& out) {
  out.Comment("The tables hold enumerators as int.");
  out.Line("enum any { ANY };");
  out.Line("static_assert(sizeof(enum any) == sizeof(int), \"an enum is as wide as int\");");
  out.Line();
}

void WriteWhole(const Module& module, Source& out) {
  out.Line("static const ncdm_node_t* const nodes[] = {");
  for (const Node& node : module.nodes) out.Line("    &" + node.c_name + "_node,");
  out.Line("};");
  out.Line();
  out.Line("static const ncdm_path_t paths[] = {");
  for (const Registration& registration : module.registrations) {
    WritePath(module, registration, out);
  }
  out.Line("};");
  out.Line();
  out.Line("int (*" + module.c_name + "_commit)(void);");
  out.Line();
  out.Line("static int64_t commit(void) {");
  out.Line("  if (" + module.c_name + "_commit == NULL) return NCDM_NOT_REPLACED;");
  out.Line("  return " + module.c_name + "_commit();");
  out.Line("}");
  out.Line();
  out.Line("const ncdm_model_t " + module.c_name + "_model = {");
  out.TextField(4, "name", module.name);
  out.Field(4, "revision", module.revision.empty() ? "NULL" : Literal(module.revision));
  out.Field(4, "nodes", "nodes");
  out.Field(4, "node_count", std::to_string(module.nodes.size()));
  out.Field(4, "paths", "paths");
  out.Field(4, "path_count", std::to_string(module.registrations.size()));
  out.Field(4, "commit", "commit");
  out.Line("};");
}

}  // namespace

bool HasPatterns(const Module& module) {
  return std::ranges::any_of(module.nodes, [](const Node& node) {
    return std::ranges::any_of(node.leaves,
                               [](const Leaf& leaf) { return TypeHasPatterns(leaf.type); });
  });
}

std::string WriteModel(const Module& module) {
  Source out;
  out.BlockComment({"The YANG module " + module.name + " as tables.", "",
                    "Do not edit: " + Origin(module) + ", and is written anew from it."});
  out.Line("#include <assert.h>");
  out.Line("#include <stddef.h>");
  out.Line();
  out.Line("#include \"" + module.name + ".h\"");
  out.Line();
  WriteEnumCheck(out);
  TypeTables types(out);
  CaseTables cases;
  for (const Node& node : module.nodes) {
    out.Call("NCDM_OPERATIONS", {node.c_name});
    WriteCallbacks(node, out);
    const std::string number = std::to_string(&node - module.nodes.data());
    WriteLeaves(node, number, types, cases, out);
    const std::string in_cases = cases.Table(node.cases, out);
    WriteNode(module, node, {"leaves_" + number, in_cases, WriteDefaults(node, number, out)}, out);
  }
  WriteWhole(module, out);
  return out.text();
}

}  // namespace ncdm::yang
