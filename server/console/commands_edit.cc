// Commands that change.
#include <algorithm>
#include <fstream>
#include <optional>
#include <utility>

#include "server/console/commands.h"
#include "server/console/edit_file.h"
#include "server/instance_path.h"
#include "server/names.h"

namespace ncdm::console {
namespace {

using server::EditElement;
using server::Operation;

std::string InQuotes(std::string_view text) { return "'" + std::string(text) + "'"; }

// What the options say for every element of a request.
struct EditOptions {
  nc_dm_ds_type_t datastore;
  server::DefaultOperation default_operation;
  server::ErrorOption error_option;
};

EditOptions ParseEditOptions(const Arguments& arguments) {
  EditOptions options{DatastoreOption(arguments), server::DefaultOperation::kUnset,
                      server::ErrorOption::kUnset};
  if (const std::string* name = arguments.Option("--default-operation")) {
    const auto operation = server::DefaultOperationFromName(*name);
    if (!operation) {
      throw CommandError("there is no default operation " + InQuotes(*name) +
                         ": it is merge, replace or none");
    }
    options.default_operation = *operation;
  }
  if (const std::string* name = arguments.Option("--error-option")) {
    const auto option = server::ErrorOptionFromName(*name);
    if (!option) {
      throw CommandError("there is no error option " + InQuotes(*name) +
                         ": it is stop-on-error, continue-on-error or rollback-on-error");
    }
    options.error_option = *option;
  }
  return options;
}

EditElement MakeElement(std::string name, std::optional<std::string> value, server::Ids ids,
                        Operation operation, const EditOptions& options) {
  EditElement element;
  element.name = std::move(name);
  element.value = std::move(value);
  element.ids = std::move(ids);
  element.operation = operation;
  element.default_operation = options.default_operation;
  element.error_option = options.error_option;
  return element;
}

bool Deletes(Operation operation) {
  return operation == Operation::kDelete || operation == Operation::kRemove;
}

void PrintDone(Session& session, const std::string& path, std::int64_t instance) {
  if (session.output().json()) {
    session.output().Print(Json{{"ok", true}, {"path", path}, {"instance", instance}});
  } else {
    session.output().Line("ok " + path);
  }
}

// ---- List entries ----

struct Assignment {
  const SchemaNode* leaf;
  std::string value;
};

// Leaves of an entry, named relative to it.
Assignment ParseAssignment(const SchemaNode& list, const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw CommandError(InQuotes(word) + " is no leaf=value");
  }
  const SchemaNode* node = &list;
  for (const PathStep& step : ParsePath(word.substr(0, equals))) {
    const SchemaNode* child = step.keys.empty() ? node->Child(step.text) : nullptr;
    if (child == nullptr || child->is_list) {
      throw CommandError("an entry of " + InQuotes(list.Path()) + " has no leaf " +
                         InQuotes(word.substr(0, equals)));
    }
    node = child;
  }
  if (!node->is_leaf) {
    throw CommandError(InQuotes(node->Path()) + " is a container: assign to one of its leaves");
  }
  if (node->parent == &list && node->key_flag() != 0) {
    throw CommandError("the key " + InQuotes(node->name) + " stands in the brackets alone");
  }
  return {node, word.substr(equals + 1)};
}

std::vector<Assignment> ParseAssignments(const SchemaNode& list, const Arguments& arguments) {
  std::vector<Assignment> assignments;
  for (std::size_t i = 1; i < arguments.positional.size(); ++i) {
    assignments.push_back(ParseAssignment(list, arguments.positional[i]));
  }
  return assignments;
}

// The agent applies an entry's slotted leaves as one command, together with its keys. The other
// leaves are written one by one to an instance, so they follow once its id is known.
bool GoesWithTheEntry(const SchemaNode& list, const SchemaNode& leaf) {
  return leaf.parent == &list && leaf.has_slot() && !leaf.is_leaf_list();
}

ResolvedPath ResolveEntry(Session& session, const std::string& agent, const std::string& text,
                          Operation operation) {
  ResolvedPath path = ResolvePath(session.SchemaOf(agent), text);
  if (!path.node->is_list) {
    throw CommandError(InQuotes(path.name()) +
                       " is no list: " + (Deletes(operation) ? "use unset" : "use set"));
  }
  if (!path.lists.back().selects()) {
    throw CommandError("name the entry of " + InQuotes(path.name()) +
                       " by its keys: " + path.name() + "[key=value]");
  }
  if (operation == Operation::kCreate && path.lists.back().id) {
    throw CommandError("an entry is created by its keys, not by an id: " + path.name() +
                       "[key=value]");
  }
  CheckForEditing(path, true);
  return path;
}

// Entries are named by their keys alone, so those of one that was typed with its id are read first.
std::vector<KeyValue> EntryKeys(Session& session, const std::string& agent,
                                const ResolvedPath& path, const server::Ids& outer) {
  const ListSelector& selector = path.lists.back();
  if (!selector.id) {
    return selector.keys;
  }
  server::Ids ids = outer;
  ids.push_back(*selector.id);
  return session.ReadKeys(agent, *selector.list, ids);
}

void EditOtherLeaves(Session& session, const std::string& agent, const ResolvedPath& path,
                     const std::vector<Assignment>& assignments, const server::Ids& ids,
                     Operation operation, const EditOptions& options) {
  std::vector<EditElement> elements;
  for (const Assignment& assignment : assignments) {
    if (!GoesWithTheEntry(*path.node, *assignment.leaf)) {
      elements.push_back(
          MakeElement(assignment.leaf->Path(), assignment.value, ids, operation, options));
    }
  }
  if (elements.empty()) {
    return;
  }
  try {
    session.Call(agent, server::EditSubtree(elements, options.datastore));
  } catch (const CommandError& error) {
    throw CommandError(std::string(error.what()) + " (after the entry itself was done: " +
                           server::PathWithIds(*path.node, ids) + ")",
                       error.fault());
  }
}

void EditEntry(Session& session, const Arguments& arguments, Operation operation) {
  const EditOptions options = ParseEditOptions(arguments);
  const std::string agent = session.ReadyAgent(AgentOption(arguments));
  ResolvedPath path = ResolveEntry(session, agent, arguments.positional[0], operation);
  const SchemaNode& list = *path.node;
  const std::vector<Assignment> assignments = ParseAssignments(list, arguments);

  const ListSelector selector = path.lists.back();
  path.lists.pop_back();
  const server::Ids outer = session.FindIds(agent, path);
  path.lists.push_back(selector);

  std::vector<EditElement> elements;
  for (const KeyValue& key : EntryKeys(session, agent, path, outer)) {
    const SchemaNode& leaf = *list.Child(key.key);
    elements.push_back(MakeElement(leaf.Path(), key.value, outer, operation, options));
    elements.back().key = leaf.key_flag();
  }
  for (const Assignment& assignment : assignments) {
    if (GoesWithTheEntry(list, *assignment.leaf)) {
      elements.push_back(
          MakeElement(assignment.leaf->Path(), assignment.value, outer, operation, options));
    }
  }
  const server::Answer answer = session.Call(
      agent, server::EditEntry(elements, arguments.Has("--command"), options.datastore));

  server::Ids ids = outer;
  if (answer.instance > 0) {
    ids.push_back(answer.instance);
  }
  EditOtherLeaves(session, agent, path, assignments, ids, operation, options);
  PrintDone(session, server::PathWithIds(list, ids), answer.instance);
}

// ---- Leaves, leaf-lists and containers ----

void CheckSet(const ResolvedPath& path) {
  if (path.node->is_list) {
    throw CommandError(InQuotes(path.name()) + " is a list: use create, merge or replace");
  }
  if (!path.node->is_leaf) {
    throw CommandError(InQuotes(path.name()) + " is a container: set one of its leaves");
  }
  if ((path.node->attributes & NC_DM_FLAG_KEY) != 0) {
    throw CommandError(InQuotes(path.name()) + " is a key: it cannot be set");
  }
}

void CheckUnset(const ResolvedPath& path, bool has_value) {
  if (path.node->is_list) {
    throw CommandError(InQuotes(path.name()) + " is a list: use delete or remove");
  }
  if (path.node->is_leaf_list() && !has_value) {
    throw CommandError(InQuotes(path.name()) + " is a leaf-list: give the value to take out");
  }
  if (!path.node->is_leaf_list() && has_value) {
    throw CommandError(InQuotes(path.name()) + " is " +
                       (path.node->is_leaf ? "a leaf" : "a container") +
                       ": it is unset without a value");
  }
}

// An element that may be part of any edit of leaves, leaf-lists and containers.
EditElement ResolveElement(Session& session, const std::string& agent, const std::string& text,
                           std::optional<std::string> value, Operation operation,
                           const EditOptions& options) {
  const ResolvedPath path = ResolvePath(session.SchemaOf(agent), text);
  if (Deletes(operation)) {
    CheckUnset(path, value.has_value());
  } else {
    CheckSet(path);
    if (!value) {
      throw CommandError(InQuotes(path.name()) + " needs a value");
    }
  }
  CheckForEditing(path, true);
  server::Ids ids = session.FindIds(agent, path);
  return MakeElement(path.name(), std::move(value), std::move(ids), operation, options);
}

Operation OperationOption(const Arguments& arguments, Operation otherwise) {
  const std::string* name = arguments.Option("--operation");
  if (name == nullptr) {
    return otherwise;
  }
  const auto operation = server::OperationFromName(*name);
  if (!operation) {
    throw CommandError("there is no operation " + InQuotes(*name) +
                       ": it is merge, replace, create, delete, remove or none");
  }
  if (*operation != Operation::kNone && Deletes(*operation) != Deletes(otherwise)) {
    throw CommandError(std::string(Deletes(otherwise) ? "unset" : "set") +
                       " does not take the operation " + *name);
  }
  return *operation;
}

void EditLeaf(Session& session, const Arguments& arguments, Operation operation) {
  const EditOptions options = ParseEditOptions(arguments);
  const std::string agent = session.ReadyAgent(AgentOption(arguments));
  std::optional<std::string> value;
  if (arguments.positional.size() > 1) {
    value = arguments.positional[1];
  }
  EditElement element =
      ResolveElement(session, agent, arguments.positional[0], std::move(value), operation, options);
  element.operation = OperationOption(arguments, operation);
  session.Call(agent, server::EditSubtree({element}, options.datastore));
  PrintOk(session);
}

EditElement ResolveFileEdit(Session& session, const std::string& agent, const FileEdit& edit,
                            const std::string& file, const EditOptions& options) {
  try {
    return ResolveElement(session, agent, edit.path, edit.value, edit.operation, options);
  } catch (const CommandError& error) {
    throw CommandError(file + ":" + std::to_string(edit.line) + ": " + error.what(), error.fault());
  }
}

}  // namespace

void RunCreate(Session& session, const Arguments& arguments) {
  EditEntry(session, arguments, Operation::kCreate);
}

void RunMerge(Session& session, const Arguments& arguments) {
  EditEntry(session, arguments, Operation::kMerge);
}

void RunReplace(Session& session, const Arguments& arguments) {
  EditEntry(session, arguments, Operation::kReplace);
}

void RunDelete(Session& session, const Arguments& arguments) {
  EditEntry(session, arguments, Operation::kDelete);
}

void RunRemove(Session& session, const Arguments& arguments) {
  EditEntry(session, arguments, Operation::kRemove);
}

void RunSet(Session& session, const Arguments& arguments) {
  EditLeaf(session, arguments, Operation::kMerge);
}

void RunUnset(Session& session, const Arguments& arguments) {
  EditLeaf(session, arguments, Operation::kDelete);
}

void RunEdit(Session& session, const Arguments& arguments) {
  const EditOptions options = ParseEditOptions(arguments);
  const std::string& name = arguments.positional[0];
  std::ifstream file(name);
  if (!file) {
    throw CommandError("cannot read the file " + InQuotes(name));
  }
  const std::vector<FileEdit> edits = ReadEditFile(file, name);
  if (edits.empty()) {
    throw CommandError("the file " + InQuotes(name) + " holds no edits");
  }
  const std::string agent = session.ReadyAgent(AgentOption(arguments));
  std::vector<EditElement> elements;
  for (const FileEdit& edit : edits) {
    elements.push_back(ResolveFileEdit(session, agent, edit, name, options));
  }
  session.Call(agent, server::EditSubtree(elements, options.datastore));
  PrintOk(session);
}

}  // namespace ncdm::console
