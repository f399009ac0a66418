// The records that are kept in memory: what an application configures or pushes, and has no
// operation of its own for.
//
// A record is addressed by its node and the ids of the lists on its path, its own last. Entries
// are found by their keys in constant time, and by id in logarithmic time.
#ifndef YANG_RUNTIME_STORE_H_
#define YANG_RUNTIME_STORE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "ncdm_model.h"

namespace ncdm::model {

using Ids = std::vector<int64_t>;

// The bytes of a record.
using Record = std::vector<std::byte>;

class Store {
 public:
  // A kept record, or null.
  const Record* Get(const ncdm_node_t& node, const Ids& ids) const;

  // Keeps a record in place of an older one.
  void Put(const ncdm_node_t& node, const Ids& ids, const void* record);

  // Forgets a record and everything below it.
  void Drop(const ncdm_node_t& node, const Ids& ids);

  // The entry with the keys of `record` under the lists of `outer`; 0 when there is none.
  int64_t Find(const ncdm_node_t& node, const Ids& outer, const void* record) const;

  // An id for a new entry: its key, where that serves as one; else one above those in use.
  int64_t NewId(const ncdm_node_t& node, const Ids& outer, const void* record) const;

  // The ids of all records of a node that are the one at `prefix`, or below it.
  std::vector<Ids> Below(const ncdm_node_t& node, const Ids& prefix) const;

  // The id that follows `after` under the lists of `outer`; 0 at the end.
  int64_t Next(const ncdm_node_t& node, const Ids& outer, int64_t after) const;

  // All records of a node, by their ids.
  const std::map<Ids, Record>& All(const ncdm_node_t& node) const;

  // True if the elements of the leaf-list under the lists of `outer` are its defaults.
  bool HasDefaults(const ncdm_node_t& node, const Ids& outer) const;
  void SetHasDefaults(const ncdm_node_t& node, const Ids& outer, bool has_defaults);

 private:
  struct Table {
    std::map<Ids, Record> records;
    std::unordered_map<std::string, int64_t> by_keys;  // the last of an entry's ids
    std::set<Ids> defaulted;  // of a leaf-list: the ids around what has its defaults
  };

  const Table* TableOf(const ncdm_node_t& node) const;
  void EraseBelow(const ncdm_node_t& node, const Ids& prefix);

  std::map<const ncdm_node_t*, Table> tables_;
};

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_STORE_H_
