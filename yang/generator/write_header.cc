#include <algorithm>
#include <set>

#include "identifiers.h"
#include "source_text.h"
#include "version.h"
#include "writers.h"

namespace ncdm::yang {
namespace {

struct KindText {
  Kind kind;
  const char* member;  // its C type
};
constexpr KindText kMembers[] = {
    {Kind::kBool, "bool"},       {Kind::kInt8, "int8_t"},
    {Kind::kInt16, "int16_t"},   {Kind::kInt32, "int32_t"},
    {Kind::kInt64, "int64_t"},   {Kind::kUint8, "uint8_t"},
    {Kind::kUint16, "uint16_t"}, {Kind::kUint32, "uint32_t"},
    {Kind::kUint64, "uint64_t"}, {Kind::kDecimal64, "int64_t"},
    {Kind::kText, "char"},       {Kind::kUnion, "char"},
    {Kind::kBits, "uint64_t"},   {Kind::kBinary, "ncdm_binary_t"},
    {Kind::kEmpty, "bool"},      {Kind::kTime, "struct tm"},
};

std::string Bound(const Type& type, int64_t bound) {
  if (type.kind != Kind::kDecimal64) {
    return type.is_unsigned ? std::to_string(static_cast<uint64_t>(bound)) : std::to_string(bound);
  }
  const bool negative = bound < 0;
  std::string digits = std::to_string(negative ? uint64_t{0} - static_cast<uint64_t>(bound)
                                               : static_cast<uint64_t>(bound));
  const auto places = static_cast<size_t>(type.fraction_digits);
  while (digits.size() < places + 1) digits.insert(digits.begin(), '0');
  digits.insert(digits.size() - places, ".");
  return (negative ? "-" : "") + digits;
}

std::string RangesText(const Type& type) {
  std::string text;
  for (const Range& range : type.ranges) {
    text += (text.empty() ? "" : " or ") + Bound(type, range.min);
    if (range.max != range.min) text += " to " + Bound(type, range.max);
  }
  return text;
}

// What a reader of the header wants to know of a leaf's values.
std::string TypeText(const Type& type) {
  std::string text = type.yang;
  const std::string ranges = RangesText(type);
  const bool length = type.kind == Kind::kText || type.kind == Kind::kBinary;
  if (!ranges.empty()) text += (length ? " of length " : " ") + ranges;
  if (type.kind == Kind::kDecimal64) {
    text += ", times 10 to the power of " + std::to_string(type.fraction_digits);
  }
  for (const Pattern& pattern : type.patterns) {
    if (pattern.expression.size() < 40) text += ", pattern " + pattern.expression;
  }
  return text;
}

std::string LeafText(const Leaf& leaf) {
  std::string text = leaf.description;
  if (!text.empty() && !text.ends_with('.')) text += '.';
  text += (text.empty() ? "" : " ");
  if (leaf.key) text += "Key: ";
  if (leaf.mandatory) text += "Mandatory: ";
  text += TypeText(leaf.type);
  if (leaf.has_default) {
    text += leaf.default_text.size() < 60 ? ", by default \"" + leaf.default_text + "\"" : "";
  }
  return text + ".";
}

void WriteEnum(const Type& type, Source& out) {
  out.Line("typedef enum " + type.c_name + " {");
  for (const Name& name : type.names) {
    const std::string value = name.value == INT32_MIN ? "INT32_MIN" : std::to_string(name.value);
    out.Value(2, name.c_name, value);
  }
  out.Line("} " + type.c_name + "_t;");
  out.Line();
}

void WriteBits(const Type& type, Source& out) {
  for (const Name& name : type.names) {
    out.Line("#define " + name.c_name + " (UINT64_C(1) << " + std::to_string(name.value) + ")");
  }
  out.Line();
}

void WriteMembers(const Node& node, Source& out) {
  for (const Leaf& leaf : node.leaves) {
    out.Comment(LeafText(leaf), 2);
    const bool text = leaf.type.kind == Kind::kText || leaf.type.kind == Kind::kUnion;
    const std::string size = text ? "[" + std::to_string(leaf.type.size) + "]" : "";
    out.Declaration(2, MemberType(leaf.type), leaf.c_name + size + ";");
  }
  if (std::ranges::none_of(node.leaves, &Leaf::optional)) return;
  out.Comment("Which of the leaves that may be absent have a value.", 2);
  out.Line("  struct {");
  for (const Leaf& leaf : node.leaves) {
    if (leaf.optional) out.Line("    bool " + leaf.c_name + ";");
  }
  out.Line("  } has;");
}

std::string IdsText(const Node& node) {
  std::string text;
  for (size_t i = 0; i < node.lists.size(); ++i) {
    text += (i == 0 ? "Ids: " : ", ") + std::to_string(i) + " of " + node.lists[i];
  }
  return text.empty() ? "" : text + ".";
}

std::string DefaultsText(const Node& node) {
  std::string text;
  for (const std::string& value : node.defaults) {
    text += (text.empty() ? " By default: \"" : ", \"") + value + "\"";
  }
  return text + ".";
}

void WriteNode(const Node& node, std::set<std::string>& written, Source& out) {
  for (const Leaf& leaf : node.leaves) {
    if (leaf.type.c_name.empty() || !written.insert(leaf.type.c_name).second) continue;
    if (leaf.type.kind == Kind::kEnum) WriteEnum(leaf.type, out);
    if (leaf.type.kind == Kind::kBits) WriteBits(leaf.type, out);
  }
  constexpr const char* kKinds[] = {"a container", "a list", "a leaf-list"};
  std::string head = node.path + ": " + kKinds[static_cast<int>(node.kind)] + " of " +
                     (node.config ? "configuration" : "state") + ". " + IdsText(node);
  if (!node.description.empty()) head += " " + node.description;
  if (!node.defaults.empty()) head += DefaultsText(node);
  out.Comment(head);
  out.Line("typedef struct " + node.c_name + " {");
  WriteMembers(node, out);
  out.Line("} " + node.c_name + "_t;");
  out.Line();
  out.Call("NCDM_RECORD", {node.c_name});
  out.Line();
}

std::vector<std::string> HeadText(const Module& module) {
  return {module.name + ".h - the records of the YANG module " + module.name + ".",
          "",
          "Do not edit: " + Origin(module) + ", and is written anew from it.",
          "",
          "A record has a member for each leaf of a container or of a list's entry; a leaf-list's "
          "has one, value. The table NAME_operations of a record NAME says what the application "
          "does itself. What it leaves null is done in memory:",
          "",
          "  load(ids, record) fills in the record of the entry that ids names; it begins with the "
          "defaults. 0; -7 when there is no such entry.",
          "  apply(ids, before, record) takes a changed record over, whose values the model "
          "accepts. before is null for a new entry, and ids then names the lists around it. The "
          "entry's id, above 0, or 0 to have one chosen; for a container 0. A negative number "
          "refuses the edit. What it changes in the record is kept.",
          "  remove(ids, record) gives an entry up. 0; -7; another negative number refuses.",
          "  find(ids, record) gives the id of the entry with the record's keys; 0 for none.",
          "",
          "Entries that come and go by themselves are told with NAME_put and NAME_drop; the ids "
          "are an array of as many numbers as the comment at the record names. All of it belongs "
          "to the thread of the event loop; ncdm_model.h has the details."};
}

}  // namespace

std::string Origin(const Module& module) {
  std::string text = std::string("written by ncdm-yang ") + kVersion + " from " + module.file;
  if (!module.revision.empty()) text += ", revision " + module.revision;
  return text;
}

std::string MemberType(const Type& type) {
  if (type.kind == Kind::kEnum) return type.c_name + "_t";
  return std::ranges::find(kMembers, type.kind, &KindText::kind)->member;
}

std::string WriteHeader(const Module& module) {
  Source out;
  const std::string guard = Constant(module.c_name) + "_H_";
  out.BlockComment(HeadText(module));
  out.Line("#ifndef " + guard);
  out.Line("#define " + guard);
  out.Line();
  out.Line("#include \"ncdm_model.h\"");
  out.Line();
  out.Line("#ifdef __cplusplus");
  out.Line("extern \"C\" {");
  out.Line("#endif");
  out.Line();
  std::set<std::string> written;
  for (const Node& node : module.nodes) WriteNode(node, written, out);
  out.Comment("The module as a whole, for ncdm_model_start.");
  out.Line("extern const ncdm_model_t " + module.c_name + "_model;");
  out.Line();
  out.Comment(
      "Called at a commit in place of saving the data file: makes the configuration lasting. 0, "
      "or negative. Null at first.");
  out.Line("extern int (*" + module.c_name + "_commit)(void);");
  out.Line();
  out.Line("#ifdef __cplusplus");
  out.Line("}");
  out.Line("#endif");
  out.Line();
  out.Line("#endif /* " + guard + " */");
  return out.text();
}

}  // namespace ncdm::yang
