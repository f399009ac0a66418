// A list's entries, from what was read of them.
#ifndef NCDM_SERVER_CONSOLE_TABLE_H_
#define NCDM_SERVER_CONSOLE_TABLE_H_

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "server/data_tree.h"
#include "server/schema.h"

namespace ncdm::console {

// One entry.
struct EntryRow {
  server::Ids ids;                          // of the lists around it and its own
  const server::DataNode* entry = nullptr;  // of the tree that the table was made of
};

struct EntryColumn {
  std::string name;                          // relative to the list: "mtu", "ipv4.mtu"
  const server::SchemaNode* leaf = nullptr;  // or leaf-list
  friend bool operator==(const EntryColumn&, const EntryColumn&) = default;
};

struct EntryTable {
  std::vector<EntryColumn> columns;  // the leaves of an entry, in order of registration
  std::unordered_map<const server::SchemaNode*, std::size_t> places;  // of the leaves in columns
  std::vector<EntryRow> rows;                                         // in the order of reading
};

// The entries of the list that were read. What is inside lists of theirs makes no column.
EntryTable MakeEntryTable(const server::SchemaNode& list, const server::DataTree& data);

// What was read of an entry: for each of its values the column's place in the table, in the order
// of reading. A leaf-list has several of one column.
using EntryCells = std::vector<std::pair<std::size_t, const std::string*>>;
EntryCells CellsOf(const EntryTable& table, const EntryRow& row);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_TABLE_H_
