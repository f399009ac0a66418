// From the keys of a list entry to its instance id, and back.
//
// Agents know entries by ids, people and clients by keys. Both ways are split into requests and
// answers, so that they serve blocking calls and a loop of one's own alike:
//
//   EntryLookup lookup(*list, {{"name", "eth0"}}, outer_ids);
//   while (const auto request = lookup.Next()) {
//     lookup.Take(server.Call(agent, *request).ids);   // or Start, and Take when it is done
//   }
//   if (lookup.result() == EntryLookup::Result::kFound) use(lookup.id());
//
// A lookup costs the agent one callback an entry and key: for many entries of one list read the
// list.
#ifndef NCDM_SERVER_ENTRY_KEYS_H_
#define NCDM_SERVER_ENTRY_KEYS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "server/answer.h"
#include "server/request.h"
#include "server/schema.h"

namespace ncdm::server {

struct KeyValue {
  std::string key;
  std::string value;
  friend bool operator==(const KeyValue&, const KeyValue&) = default;
};

// Finds the id of the entry that has all of some keys.
class EntryLookup {
 public:
  enum class Result { kFound, kMissing, kSeveral };

  // `list`: must outlive this. `keys`: at least one. `outer`: the ids of the lists around it.
  EntryLookup(const SchemaNode& list, std::vector<KeyValue> keys, Ids outer);

  // The request to send next; nothing once the result is known.
  std::optional<Request> Next() const;
  // What that request was answered with. A request that failed is given up instead, or sent again.
  void Take(std::vector<Ids> found);

  // Both once Next() has nothing more; the id of an entry that was found.
  Result result() const;
  std::int64_t id() const { return entries_.front().back(); }

 private:
  const SchemaNode& list_;
  std::vector<KeyValue> keys_;
  Ids outer_;
  std::size_t asked_ = 0;     // keys that were looked up
  std::vector<Ids> entries_;  // that have all of those; sorted
};

// Reads the keys of one entry. `ids`: of the lists around it and its own.
Request ReadKeys(const SchemaNode& list, const Ids& ids);
// The keys from what that read was answered with, in order of registration; nothing when one is
// missing. A list without keys has none to give.
std::optional<std::vector<KeyValue>> KeysFrom(const SchemaNode& list, const Ids& ids,
                                              const std::vector<Value>& values);

}  // namespace ncdm::server

#endif  // NCDM_SERVER_ENTRY_KEYS_H_
