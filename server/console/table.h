// A list's entries, from what was read of them.
#ifndef NCDM_SERVER_CONSOLE_TABLE_H_
#define NCDM_SERVER_CONSOLE_TABLE_H_

#include <map>
#include <string>
#include <vector>

#include "server/answer.h"
#include "server/schema.h"

namespace ncdm::console {

// One entry. A leaf-list has several values.
struct EntryRow {
  server::Ids ids;                                         // of the lists around it and its own
  std::map<std::string, std::vector<std::string>> values;  // by column
};

struct EntryColumn {
  std::string name;  // relative to the list: "mtu", "ipv4.mtu"
  bool is_leaf_list = false;
  friend bool operator==(const EntryColumn&, const EntryColumn&) = default;
};

struct EntryTable {
  std::vector<EntryColumn> columns;  // the leaves of an entry, in order of registration
  std::vector<EntryRow> rows;        // in the order of reading
};

// Takes the values whose path leads through one entry of the list to a leaf of that entry; those of
// lists inside it are left out.
EntryTable MakeEntryTable(const server::SchemaNode& list, const std::vector<server::Value>& values);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_TABLE_H_
