// Paths as people type them, and what they mean to one agent.
//
// A path may stand as it was registered (interfaces.interface.{i}.mtu), without markers
// (interfaces.interface.mtu), with ids in place (interfaces.interface.3.mtu) or with an entry's
// keys (interfaces.interface[name=eth0].mtu).
#ifndef NCDM_SERVER_CONSOLE_PATH_H_
#define NCDM_SERVER_CONSOLE_PATH_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/entry_keys.h"
#include "server/request.h"
#include "server/schema.h"

namespace ncdm::console {

using server::KeyValue;
using server::Schema;
using server::SchemaNode;

// One component as typed, and what stands in brackets behind it.
struct PathStep {
  std::string text;
  std::vector<KeyValue> keys;  // empty without brackets
  friend bool operator==(const PathStep&, const PathStep&) = default;
};

// Throws CommandError for an empty component, or brackets that do not hold key=value,... . Values
// may be quoted. As in XPath, each key may have brackets of its own, quoted values may be joined
// by "and", and blanks may stand around keys and quoted values.
std::vector<PathStep> ParsePath(std::string_view text);

// How one list on the way is narrowed: by id, by keys (complete, in order of registration), or not
// at all.
struct ListSelector {
  const SchemaNode* list = nullptr;
  std::optional<std::int64_t> id{};
  std::vector<KeyValue> keys{};

  bool selects() const { return id || !keys.empty(); }
};

struct ResolvedPath {
  const SchemaNode* node = nullptr;
  std::vector<ListSelector>
      lists;  // from the outermost; the node itself is the last one if it is a list

  // For the wire: names alone.
  std::string name() const { return node->Path(); }
};

// Throws CommandError when the path is not registered, or an id or a key stands where it says
// nothing.
ResolvedPath ResolvePath(const Schema& schema, const std::vector<PathStep>& steps);
ResolvedPath ResolvePath(const Schema& schema, std::string_view text);

// Throws CommandError when a list is narrowed inside one that is not: ids go from the outermost
// list inwards.
void CheckForReading(const ResolvedPath& path);
// Throws CommandError unless all lists around the node (and with `itself`, the node if it is a
// list) are narrowed.
void CheckForEditing(const ResolvedPath& path, bool itself);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_PATH_H_
