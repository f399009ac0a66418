#include "server/console/table.h"

#include <cstddef>

namespace ncdm::console {
namespace {

using server::DataNode;
using server::SchemaNode;

void CollectColumns(const SchemaNode& node, const std::string& prefix,
                    std::vector<EntryColumn>* columns) {
  for (const SchemaNode* child : node.children) {
    if (child->is_leaf) {
      columns->push_back({prefix + child->name, child});
    } else if (!child->is_list) {
      CollectColumns(*child, prefix + child->name + ".", columns);
    }
  }
}

// Follows the way to the list from `place` of it on.
void CollectRows(const DataNode& node, const std::vector<const SchemaNode*>& way, std::size_t place,
                 server::Ids* ids, std::vector<EntryRow>* rows) {
  if (place == way.size()) {
    rows->push_back({*ids, &node});
    return;
  }
  for (const DataNode* child : node.children) {
    if (child->schema == way[place]) {
      const bool has_id = child->schema->is_list;
      if (has_id) {
        ids->push_back(child->id);
      }
      CollectRows(*child, way, place + 1, ids, rows);
      if (has_id) {
        ids->pop_back();
      }
    }
  }
}

void CollectCells(const DataNode& node, const EntryTable& table, EntryCells* cells) {
  for (const DataNode* child : node.children) {
    const auto place = table.places.find(child->schema);
    if (place != table.places.end()) {
      cells->emplace_back(place->second, &child->value);
    } else if (!child->schema->is_list) {
      CollectCells(*child, table, cells);
    }
  }
}

}  // namespace

EntryTable MakeEntryTable(const SchemaNode& list, const server::DataTree& data) {
  EntryTable table;
  CollectColumns(list, "", &table.columns);
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    table.places.emplace(table.columns[i].leaf, i);
  }
  server::Ids ids;
  CollectRows(data.root(), list.Way(), 0, &ids, &table.rows);
  return table;
}

EntryCells CellsOf(const EntryTable& table, const EntryRow& row) {
  EntryCells cells;
  CollectCells(*row.entry, table, &cells);
  return cells;
}

}  // namespace ncdm::console
