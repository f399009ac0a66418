// Commands that read.
#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "server/console/commands.h"
#include "server/console/table.h"
#include "server/instance_path.h"

namespace ncdm::console {
namespace {

std::string IdsText(const server::Ids& ids) {
  std::string text;
  for (const std::int64_t id : ids) {
    text += (text.empty() ? "" : ".") + std::to_string(id);
  }
  return text;
}

void PrintValues(Output& output, const std::vector<server::Value>& values) {
  Json document = Json::array();
  for (const server::Value& value : values) {
    if (output.json()) {
      document.push_back({{"path", value.path}, {"value", value.value}});
    } else {
      output.Line(value.path + " = " + value.value);
    }
  }
  if (output.json()) {
    output.Print(document);
  }
}

// The members of an object, each found by what it stands for: the object itself would compare all
// names.
class Members {
 public:
  Json& Get(const SchemaNode* what, const std::string& name) {
    const auto [place, is_new] = places_.try_emplace(what, members_.size());
    if (is_new) {
      members_.push_back({name, Json()});
    }
    return std::next(members_.begin(), static_cast<std::ptrdiff_t>(place->second))->second;
  }

  Json Take() { return Json(std::move(members_)); }

 private:
  Json::object_t members_;
  std::unordered_map<const SchemaNode*, std::size_t> places_;
};

// A leaf-list is an array, also of one value.
Json EntryJson(const EntryTable& entries, const EntryRow& row) {
  Members values;
  for (const auto& [place, value] : CellsOf(entries, row)) {
    const EntryColumn& column = entries.columns[place];
    if (column.leaf->is_leaf_list()) {
      values.Get(column.leaf, column.name).push_back(*value);
    } else {
      values.Get(column.leaf, column.name) = *value;
    }
  }
  return {{"ids", row.ids}, {"values", values.Take()}};
}

Json TableJson(const EntryTable& entries) {
  Json document = Json::array();
  for (const EntryRow& row : entries.rows) {
    document.push_back(EntryJson(entries, row));
  }
  return document;
}

std::vector<std::string> RowText(const EntryTable& entries, const EntryRow& row) {
  std::vector<std::string> cells(entries.columns.size() + 1);
  cells.front() = IdsText(row.ids);
  for (const auto& [place, value] : CellsOf(entries, row)) {
    std::string& cell = cells[place + 1];
    cell += cell.empty() ? "" : ",";
    cell += *value;
  }
  return cells;
}

// Each column has a name of its own, also beside a leaf that is called like the ids.
std::vector<std::string> ColumnTitles(const EntryTable& entries) {
  const bool has_id =
      std::ranges::find(entries.columns, "id", &EntryColumn::name) != entries.columns.end();
  std::vector<std::string> titles{has_id ? std::string(server::kListMarker) : "id"};
  for (const EntryColumn& column : entries.columns) {
    titles.push_back(column.name);
  }
  return titles;
}

// A table of many columns that are nearly all empty would be much longer than what was read.
void CheckTableSize(const EntryTable& entries, std::size_t value_count) {
  constexpr std::size_t kAlways = 1000000;
  constexpr std::size_t kCellsAValue = 100;
  const std::size_t cells = entries.rows.size() * (entries.columns.size() + 1);
  if (cells > kAlways && cells / kCellsAValue > value_count) {
    throw CommandError("the table would have " + std::to_string(cells) + " cells for " +
                       std::to_string(value_count) + " values: read it without --table");
  }
}

void PrintTable(Output& output, const EntryTable& entries) {
  if (output.json()) {
    output.Print(TableJson(entries));
  } else {
    output.Print(Table{ColumnTitles(entries), entries.rows.size(),
                       [&](std::size_t row) { return RowText(entries, entries.rows[row]); }});
  }
}

void PrintEntries(Output& output, const Schema& schema, const SchemaNode& list,
                  std::vector<server::Value> values) {
  const std::size_t value_count = values.size();
  server::DataTree data(schema);
  data.Add(std::move(values));
  const EntryTable entries = MakeEntryTable(list, data);
  CheckTableSize(entries, value_count);
  PrintTable(output, entries);
}

// ---- Trees ----

constexpr std::size_t kIndent = 2;

std::string NodeTitle(const server::DataNode& node) {
  return node.schema->name + (node.id == 0 ? "" : "." + std::to_string(node.id));
}

void PrintTreeText(Output& output, const server::DataNode& node, std::size_t depth) {
  for (const server::DataNode* child : node.children) {
    std::string line(depth * kIndent, ' ');
    line += NodeTitle(*child);
    if (child->schema->is_leaf) {
      line += " = " + child->value;
    }
    output.Line(line);
    PrintTreeText(output, *child, depth + 1);
  }
}

bool IsCanonicalInteger(std::string_view text) {
  constexpr std::size_t kExactDigits = 15;  // that every reader of JSON keeps
  text.remove_prefix(text.starts_with('-') ? 1 : 0);
  return server::IsNumber(text) && text.size() <= kExactDigits &&
         (text.size() == 1 || text.front() != '0');
}

// Agents do not say what type a leaf has, so its text decides: true and false are booleans, whole
// numbers as one writes them are numbers, all else is a string.
Json TypedJson(const std::string& text) {
  if (text == "true" || text == "false") {
    return text == "true";
  }
  if (IsCanonicalInteger(text) && text != "-0") {
    return std::stoll(text);
  }
  return text;
}

// An object of containers, of lists as arrays of entries, of leaves, and of leaf-lists as arrays.
Json TreeJson(const server::DataNode& node) {
  Members members;
  if (node.schema->is_list) {
    members.Get(node.schema, "@id") = node.id;
  }
  for (const server::DataNode* child : node.children) {
    Json value = child->schema->is_leaf ? TypedJson(child->value) : TreeJson(*child);
    Json& member = members.Get(child->schema, child->schema->name);
    if (child->schema->has_instances()) {
      member.push_back(std::move(value));
    } else {
      member = std::move(value);
    }
  }
  return members.Take();
}

void PrintTree(Output& output, const Schema& schema, std::vector<server::Value> values) {
  server::DataTree data(schema);
  data.Add(std::move(values));
  if (output.json()) {
    output.Print(TreeJson(data.root()));
  } else {
    PrintTreeText(output, data.root(), 0);
  }
}

// What `get` was told of how to print.
enum class Form { kPaths, kTable, kTree };

Form FormOption(const Arguments& arguments, const ResolvedPath& path) {
  if (arguments.Has("--table") && arguments.Has("--tree")) {
    throw CommandError("--table and --tree exclude each other");
  }
  if (arguments.Has("--table") && !path.node->is_list) {
    throw CommandError("'" + path.name() + "' is no list, so it makes no table");
  }
  return arguments.Has("--table")  ? Form::kTable
         : arguments.Has("--tree") ? Form::kTree
                                   : Form::kPaths;
}

}  // namespace

void RunGet(Session& session, const Arguments& arguments) {
  const std::string agent = session.ReadyAgent(AgentOption(arguments));
  const nc_dm_ds_type_t datastore = DatastoreOption(arguments);
  const Schema& schema = session.SchemaOf(agent);
  const ResolvedPath path = ResolvePath(schema, arguments.positional[0]);
  CheckForReading(path);
  const bool has_value = arguments.positional.size() > 1;
  if (has_value && !path.node->is_leaf) {
    throw CommandError("'" + path.name() + "' is no leaf, so it is read without a value");
  }
  const Form form = FormOption(arguments, path);
  const server::ReadElement element{.name = path.name(), .ids = session.FindIds(agent, path)};
  std::vector<server::Value> values =
      session.Call(agent, server::ReadValues({element}, datastore)).values;
  if (has_value) {
    // An agent that is given the value echoes it unread, so it is compared here.
    std::erase_if(
        values, [&](const server::Value& value) { return value.value != arguments.positional[1]; });
  }
  switch (form) {
    case Form::kPaths:
      PrintValues(session.output(), values);
      break;
    case Form::kTable:
      PrintEntries(session.output(), schema, *path.node, std::move(values));
      break;
    case Form::kTree:
      PrintTree(session.output(), schema, std::move(values));
      break;
  }
}

void RunFind(Session& session, const Arguments& arguments) {
  const std::string agent = session.ReadyAgent(AgentOption(arguments));
  const nc_dm_ds_type_t datastore = DatastoreOption(arguments);
  const std::string& value = arguments.positional[1];
  const ResolvedPath path = ResolvePath(session.SchemaOf(agent), arguments.positional[0]);
  if (!path.node->is_leaf) {
    throw CommandError("'" + path.name() + "' is no leaf, so it has no value to look for");
  }
  CheckForReading(path);
  const server::ReadElement element{path.name(), value, session.FindIds(agent, path)};
  const server::Answer answer = session.Call(agent, server::FindIds({element}, datastore));
  if (session.output().json()) {
    Json document = Json::array();
    for (const server::Ids& ids : answer.ids) {
      document.push_back(
          {{"path", server::PathWithIds(*path.node, ids)}, {"value", value}, {"ids", ids}});
    }
    session.output().Print(document);
    return;
  }
  for (const server::Ids& ids : answer.ids) {
    session.output().Line(server::PathWithIds(*path.node, ids).append(" = ").append(value));
  }
}

}  // namespace ncdm::console
