// Commands that read.
#include <optional>

#include "server/console/commands.h"
#include "server/console/table.h"
#include "server/instance_path.h"

namespace ncdm::console {
namespace {

std::string Joined(const std::vector<std::string>& words, const char* separator) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : separator) + word;
  }
  return text;
}

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

// A leaf-list is an array, also of one value.
Json CellJson(const EntryColumn& column, const std::vector<std::string>& values) {
  return column.is_leaf_list ? Json(values) : Json(Joined(values, ","));
}

Json TableJson(const EntryTable& entries) {
  Json document = Json::array();
  for (const EntryRow& entry : entries.rows) {
    Json cells = Json::object();
    for (const EntryColumn& column : entries.columns) {
      const auto values = entry.values.find(column.name);
      if (values != entry.values.end()) {
        cells[column.name] = CellJson(column, values->second);
      }
    }
    document.push_back({{"ids", entry.ids}, {"values", std::move(cells)}});
  }
  return document;
}

Table TableText(const EntryTable& entries) {
  Table table{{"id"}, {}};
  for (const EntryColumn& column : entries.columns) {
    table.columns.push_back(column.name);
  }
  for (const EntryRow& entry : entries.rows) {
    std::vector<std::string>& cells = table.rows.emplace_back();
    cells.push_back(IdsText(entry.ids));
    for (const EntryColumn& column : entries.columns) {
      const auto values = entry.values.find(column.name);
      cells.push_back(values == entry.values.end() ? "" : Joined(values->second, ","));
    }
  }
  return table;
}

void PrintTable(Output& output, const EntryTable& entries) {
  if (output.json()) {
    output.Print(TableJson(entries));
  } else {
    output.Print(TableText(entries));
  }
}

}  // namespace

void RunGet(Session& session, const Arguments& arguments) {
  const std::string agent = session.ReadyAgent(AgentOption(arguments));
  const nc_dm_ds_type_t datastore = DatastoreOption(arguments);
  const ResolvedPath path = ResolvePath(session.SchemaOf(agent), arguments.positional[0]);
  CheckForReading(path);
  std::optional<std::string> value;
  if (arguments.positional.size() > 1) {
    value = arguments.positional[1];
    if (!path.node->is_leaf) {
      throw CommandError("'" + path.name() + "' is no leaf, so it is read without a value");
    }
  }
  const bool as_table = arguments.Has("--table");
  if (as_table && !path.node->is_list) {
    throw CommandError("'" + path.name() + "' is no list, so it makes no table");
  }
  const server::ReadElement element{path.name(), value, session.FindIds(agent, path)};
  const server::Answer answer = session.Call(agent, server::ReadValues({element}, datastore));
  if (as_table) {
    PrintTable(session.output(), MakeEntryTable(*path.node, answer.values));
  } else {
    PrintValues(session.output(), answer.values);
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
