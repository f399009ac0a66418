// A YANG module as the generator sees it: what is registered with the agent, flattened to records.
//
// A container, a list and a leaf-list are each a node with a record of its own, whose members are
// the leaves directly in it; choices and cases are no level. Everything stands in the module's
// order, outer nodes before inner ones.
#ifndef YANG_GENERATOR_MODULE_H_
#define YANG_GENERATOR_MODULE_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace ncdm::yang {

// Why nothing was generated, in words for the user.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class Kind {
  kBool,
  kInt8,
  kInt16,
  kInt32,
  kInt64,
  kUint8,
  kUint16,
  kUint32,
  kUint64,
  kDecimal64,
  kText,
  kUnion,
  kEnum,
  kBits,
  kBinary,
  kEmpty,
  kTime,
};

// Bounds, both included. Of an unsigned type they hold the bits of the unsigned numbers.
struct Range {
  int64_t min;
  int64_t max;
};

struct Pattern {
  std::string expression;  // for PCRE2
  bool inverted;
};

// A name of an enumeration, identity or bit.
struct Name {
  std::string text;
  int64_t value;       // of a bit: its position
  std::string c_name;  // the enumerator or macro
};

struct Type {
  std::string yang;  // what YANG calls it
  Kind kind = Kind::kText;
  int fraction_digits = 0;
  size_t size = 0;           // characters of a text's member, its NUL included
  std::string c_name;        // of an enum's type
  bool is_unsigned = false;  // the ranges are
  std::vector<Range> ranges;
  std::vector<Pattern> patterns;
  std::vector<Name> names;
  std::vector<Type> members;  // of a union
};

struct Case {
  int choice;
  int branch;
  size_t levels;  // lists around the choice
};

struct Leaf {
  std::string name;
  std::string c_name;
  std::string description;
  Type type;
  bool key = false;
  bool config = false;
  bool mandatory = false;
  bool optional = false;  // may be without a value, so that the record has a flag for it
  bool has_default = false;
  std::string default_text;
  bool deletable = true;
  int slot = 0;
  std::vector<Case> cases;  // of the choices directly in its record
};

enum class NodeKind { kContainer, kList, kLeafList };

struct Node {
  NodeKind kind = NodeKind::kContainer;
  std::string path;    // as registered, without a last "{i}"
  std::string c_name;  // of the record
  std::string description;
  std::vector<std::string> lists;  // names of the lists whose ids address it, its own included
  std::string list;                // the record of the innermost list around it, or empty
  bool config = false;
  bool key_is_id = false;
  bool by_slots = false;  // an entry is applied as a whole, from a data block
  uint32_t expected_entries = 0;
  std::vector<Case> cases;            // of all choices on the way to it
  std::vector<std::string> defaults;  // of a leaf-list
  std::vector<Leaf> leaves;
};

// A leaf to register, or a leaf-list.
struct Registration {
  std::string path;
  size_t node;
  size_t leaf;
};

struct Module {
  std::string name;
  std::string c_name;
  std::string revision;  // empty when it has none
  std::string file;      // the file's name, without its folder
  std::vector<Node> nodes;
  std::vector<Registration> registrations;
  std::vector<std::string> notes;  // what was left out, for the user
};

// What the command line adds to the module.
struct Wishes {
  std::vector<std::string> search_paths;
  std::vector<std::string> further_modules;  // files; their augments and identities count
  // Paths ("vlans.vlan"), each of which must name a list.
  std::vector<std::pair<std::string, uint32_t>> expected_entries;
  std::vector<std::string> whole_entries;  // applied as a whole
  std::vector<std::string> no_delete;      // paths of leaves
  std::vector<std::string> times;          // paths of leaves
};

// Reads a module. Throws Refusal for what is no YANG, and for what an agent cannot serve.
Module ReadModule(const std::string& file, const Wishes& wishes);

}  // namespace ncdm::yang

#endif  // YANG_GENERATOR_MODULE_H_
