// Memory of the entries of a list, against the bytes of their records: one for each node, its
// name, and the entry's place in the index. What the system's allocator adds, and fields that are
// the library's own business, are on top of that.

#include <cstddef>
#include <string>

#include "bench/scenario.h"
#include "netconf_dm_kernel.h"

namespace bench {
namespace {

// The public fields end where the library's own begin.
constexpr std::int64_t kNodeBytes = offsetof(nc_dm_agent_node, next_same);
constexpr std::int64_t kHashBuckets = std::int64_t{1} << 18;

std::int64_t NameBytes(const std::string& name) {
  return static_cast<std::int64_t>(name.size() + 1);
}

std::int64_t EntryBytes(const Model& model) {
  std::int64_t bytes = kNodeBytes + NameBytes("port");
  for (int leaf = 0; leaf < model.leaves; ++leaf) {
    bytes += kNodeBytes + NameBytes(Model::LeafName(leaf));
  }
  const std::size_t index =
      model.hash ? sizeof(nc_dm_hash_tab_entry_node_t) : sizeof(nc_dm_bin_tree_node_t);
  return bytes + static_cast<std::int64_t>(index);
}

}  // namespace

void AddMemory(const AgentProcess& agent, Results* results) {
  const Model& model = agent.model();
  if (model.second_list || model.command) return;
  constexpr double kMebibyte = 1024 * 1024;
  const auto buckets = static_cast<std::int64_t>(sizeof(nc_dm_hash_tab_entry_t)) * kHashBuckets;
  const std::int64_t records = model.entries * EntryBytes(model) + (model.hash ? buckets : 0);
  Figure figure = FigureOf("memory", model, Placement::kUnpinned);
  figure.placement = "-";
  figure.unit = "MiB";
  figure.median = static_cast<double>(agent.Reported("resident_bytes")) / kMebibyte;
  figure.floor = static_cast<double>(records) / kMebibyte;
  results->Add(std::move(figure));

  Figure announced = FigureOf("announce-entry", model, Placement::kUnpinned);
  announced.unit = "ns/entry";
  announced.median =
      static_cast<double>(agent.Reported("populate_ns")) / static_cast<double>(model.entries);
  results->Add(std::move(announced));
}

}  // namespace bench
