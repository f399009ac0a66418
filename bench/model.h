// The data model that is measured, as both ends know it.
//
//   system.port.{i}.LEAF                          one list deep
//   system.slot.{i}.port.{i}.LEAF                 two
//   system.chassis.{i}.slot.{i}.port.{i}.LEAF     three
//
// All ports stand in one entry of the lists around them. Their ids are even, 2 to 2 * entries, so
// that odd ones can be created between them. The leaves of a port: `index`, its key, whose value is
// the entry's id, and others of all kinds of type. With `second_list`, as many entries of the list
// `alarm` stand before the ports among the same siblings.
#ifndef BENCH_MODEL_H_
#define BENCH_MODEL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "netconf_dm_agent.h"

namespace bench {

struct Model {
  bool hash = false;         // a hash table for the ports, not the instance tree
  int depth = 2;             // lists above and with the ports, 1 to 3
  std::int64_t entries = 0;  // ports
  int leaves = 4;            // of a port, with the key
  bool second_list = false;
  bool command = false;     // the leaves have slots, and entries are edited by exe_cmd
  int paths = 0;            // further leaves that are only registered
  bool hold_probe = false;  // a second thread registers all the time
  bool slow_start = false;  // registrations are sent a second after the start, as in earnest

  std::vector<std::string> ToArguments() const;
  static Model FromArguments(const std::vector<std::string>& arguments);

  // "hash depth=2 n=1000 leaves=4 second-list"
  std::string ToString() const;

  // Ids of the lists around the ports.
  std::vector<std::int64_t> OuterIds() const;
  // "system.slot.port", as requests name it; and "system.slot.{i}.port.{i}" as it is registered.
  std::string PortName() const;
  std::string PortPath(const std::string& list) const;

  static std::int64_t PortId(std::int64_t number) { return 2 * (number + 1); }
  static constexpr int kMaxLeaves = 24;
  static std::string LeafName(int leaf);
  static nc_dm_val_type_t LeafType(int leaf);
  // A text that an edit may write.
  static std::string LeafText(int leaf);
};

}  // namespace bench

#endif  // BENCH_MODEL_H_
