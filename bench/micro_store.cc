// Lists that a generated application keeps in memory, at the callbacks that the agent calls: what
// an entry costs to create, find, read and remove while there are so many.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench-store.h"

namespace {

const ncdm_path_t& PathOf(std::string_view path) {
  for (const ncdm_path_t& row : std::span(bench_store_model.paths, bench_store_model.path_count)) {
    if (path == row.path) return row;
  }
  throw std::runtime_error("no such path");
}

void Check(bool done) {
  if (!done) throw std::runtime_error("a callback failed");
}

std::string NameOf(std::int64_t number) { return "port-" + std::to_string(number); }

nc_dm_id_array_t IdOf(std::int64_t id) {
  nc_dm_id_array_t ids{};
  ids.cnt = 1;
  ids.id[0] = id;
  return ids;
}

// Entries with one key: `create` and `delete`.
class Ports {
 public:
  static const ncdm_node_t& Node() { return bench_store_ports_port_node; }

  std::int64_t Create(std::int64_t number) const {
    nc_dm_id_array_t ids{};
    return key_.create(&ids, NameOf(number).data());
  }
  std::int64_t Find(std::int64_t number) const {
    nc_dm_agent_data_block_t& block = block_;
    block.string_var_flag = 1;
    snprintf(block.string_var[0], sizeof block.string_var[0], "%s", NameOf(number).c_str());
    nc_dm_op_output_t output{};
    key_.get_attr(&block, &output);
    return output.instid;
  }
  bool Remove(std::int64_t number) const {
    nc_dm_id_array_t ids{};
    return key_.remove(&ids, NameOf(number).data()) > 0;
  }

  // All leaves of an entry.
  static bool Read(std::int64_t id) {
    bool done = true;
    for (const char* leaf : {"name", "mtu"}) done = done && ReadLeaf(leaf, id);
    return done;
  }

 private:
  static bool ReadLeaf(const std::string& leaf, std::int64_t id) {
    nc_dm_id_array_t ids = IdOf(id);
    char value[NC_DM_VALUE_BUF_SIZE] = "";
    return PathOf("ports.port.{i}." + leaf).get(&ids, value) == 0;
  }

  const ncdm_path_t& key_ = PathOf("ports.port.{i}.name");
  mutable nc_dm_agent_data_block_t block_{};
};

// Entries with two keys: a data block.
class Routes {
 public:
  static const ncdm_node_t& Node() { return bench_store_routes_route_node; }

  std::int64_t Create(std::int64_t number) const {
    return key_.exe_cmd(&Block(number, NC_DM_CMD_OP_CREATE));
  }
  std::int64_t Find(std::int64_t number) const {
    nc_dm_op_output_t output{};
    key_.get_attr(&Block(number, NC_DM_CMD_OP_LOOKUP), &output);
    return output.instid;
  }
  bool Remove(std::int64_t number) const {
    return key_.exe_cmd(&Block(number, NC_DM_CMD_OP_DELETE)) > 0;
  }
  bool Read(std::int64_t id) const {
    nc_dm_id_array_t ids = IdOf(id);
    char value[NC_DM_VALUE_BUF_SIZE] = "";
    return key_.get(&ids, value) == 0 && prefix_.get(&ids, value) == 0;
  }

 private:
  nc_dm_agent_data_block_t& Block(std::int64_t number, int operation) const {
    block_.id_array.cnt = 0;
    block_.op_flag = operation;
    block_.ulong_var_flag = nc_int64{1} << key_.slot;
    block_.ulong_var[key_.slot] = static_cast<std::uint64_t>(number % 16);
    block_.string_var_flag = nc_int64{1} << prefix_.slot;
    snprintf(block_.string_var[prefix_.slot], sizeof block_.string_var[0], "%s",
             NameOf(number).c_str());
    return block_;
  }

  const ncdm_path_t& key_ = PathOf("routes.route.{i}.table");
  const ncdm_path_t& prefix_ = PathOf("routes.route.{i}.prefix");
  mutable nc_dm_agent_data_block_t block_{};
};

// A list of so many entries, and what was allocated for each.
template <typename List>
class Filled {
 public:
  explicit Filled(std::int64_t count) {
    const double before = InUse();
    for (std::int64_t number = 1; number <= count; ++number) Check(list_.Create(number) == number);
    bytes_ = (InUse() - before) / static_cast<double>(count);
    order_.resize(static_cast<std::size_t>(count));
    std::iota(order_.begin(), order_.end(), 1);
    std::shuffle(order_.begin(), order_.end(), std::mt19937_64(6));
  }
  ~Filled() {
    nc_int64 id = 0;
    while ((id = ncdm_next(&List::Node(), &(id = 0))) != 0) ncdm_drop(&List::Node(), &id);
  }
  Filled(const Filled&) = delete;
  Filled& operator=(const Filled&) = delete;

  const List& list() const { return list_; }
  std::int64_t Next() { return order_[next_++ % order_.size()]; }
  double bytes() const { return bytes_; }

 private:
  static double InUse() { return static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd); }

  List list_;
  std::vector<std::int64_t> order_;
  std::size_t next_ = 0;
  double bytes_ = 0;
};

template <typename List>
void BM_StoreCreateAndRemove(benchmark::State& state) {
  Filled<List> filled(state.range(0));
  for (auto _ : state) {
    const std::int64_t number = filled.Next();
    Check(filled.list().Remove(number));
    Check(filled.list().Create(number) > 0);
  }
  state.counters["bytes"] = filled.bytes();
}

template <typename List>
void BM_StoreFind(benchmark::State& state) {
  Filled<List> filled(state.range(0));
  for (auto _ : state) Check(filled.list().Find(filled.Next()) > 0);
}

template <typename List>
void BM_StoreRead(benchmark::State& state) {
  Filled<List> filled(state.range(0));
  for (auto _ : state) Check(filled.list().Read(filled.Next()));
}

BENCHMARK(BM_StoreCreateAndRemove<Ports>)
    ->ArgName("n")
    ->RangeMultiplier(100)
    ->Range(100, 1'000'000);
BENCHMARK(BM_StoreFind<Ports>)->ArgName("n")->RangeMultiplier(100)->Range(100, 1'000'000);
BENCHMARK(BM_StoreRead<Ports>)->ArgName("n")->RangeMultiplier(100)->Range(100, 1'000'000);
BENCHMARK(BM_StoreCreateAndRemove<Routes>)
    ->ArgName("n")
    ->RangeMultiplier(100)
    ->Range(100, 1'000'000);
BENCHMARK(BM_StoreFind<Routes>)->ArgName("n")->RangeMultiplier(100)->Range(100, 1'000'000);
BENCHMARK(BM_StoreRead<Routes>)->ArgName("n")->RangeMultiplier(100)->Range(100, 1'000'000);

}  // namespace
