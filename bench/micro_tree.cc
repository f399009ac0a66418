// Instance trees and hash tables; instances; reading a leaf.

#include "bench/micro_tree.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

namespace {

using bench::MicroTree;
using Entry = nc_dm_bin_tree_node_t;

enum Order : std::int64_t { kRising = 0, kFalling = 1, kRandom = 2 };

std::vector<nc_int64> IdsIn(std::int64_t order, std::int64_t count) {
  std::vector<nc_int64> ids(static_cast<std::size_t>(count));
  std::iota(ids.begin(), ids.end(), 1);
  if (order == kFalling) std::reverse(ids.begin(), ids.end());
  if (order == kRandom) std::shuffle(ids.begin(), ids.end(), std::mt19937_64(5));
  return ids;
}

// ---- The index through instances: what creation and removal do with it ----

void BM_CreateInstances(benchmark::State& state) {
  const std::vector<nc_int64> ids = IdsIn(state.range(1), state.range(2));
  MicroTree tree(state.range(0) != 0, 0, 1);
  std::vector<nc_dm_agent_node_t*> instances(ids.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < ids.size(); ++i) instances[i] = tree.Create(ids[i]);
    state.PauseTiming();
    for (nc_dm_agent_node_t* instance : instances) nc_dm_agent_unreg_nodes(instance);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(2));
}
BENCHMARK(BM_CreateInstances)
    ->ArgNames({"hash", "order", "n"})
    ->ArgsProduct({{0, 1}, {kRising, kFalling, kRandom}, {1'000, 10'000, 100'000, 1'000'000}})
    ->Unit(benchmark::kMicrosecond);

void BM_RemoveInstances(benchmark::State& state) {
  const std::vector<nc_int64> ids = IdsIn(state.range(1), state.range(2));
  MicroTree tree(state.range(0) != 0, 0, 1);
  std::vector<nc_dm_agent_node_t*> instances(ids.size());
  for (auto _ : state) {
    state.PauseTiming();
    for (std::size_t i = 0; i < ids.size(); ++i) instances[i] = tree.Create(ids[i]);
    state.ResumeTiming();
    for (nc_dm_agent_node_t* instance : instances) nc_dm_agent_unreg_nodes(instance);
  }
  state.SetItemsProcessed(state.iterations() * state.range(2));
}
BENCHMARK(BM_RemoveInstances)
    ->ArgNames({"hash", "order", "n"})
    ->ArgsProduct({{0, 1}, {kRising, kFalling, kRandom}, {1'000, 10'000, 100'000, 1'000'000}})
    ->Unit(benchmark::kMicrosecond);

void BM_CreateRemoveInstanceOf8Leaves(benchmark::State& state) {
  MicroTree tree(false, 1000, 8);
  for (auto _ : state) nc_dm_agent_unreg_nodes(tree.Create(500'000));
}
BENCHMARK(BM_CreateRemoveInstanceOf8Leaves);

// ---- The index alone ----

void BM_TreeSearch(benchmark::State& state) {
  MicroTree tree(false, state.range(0), 1);
  std::string name = "port";
  Entry* root = nc_dm_agent_get_bin_tree(tree.parent(), name.data())->root_byid;
  const std::vector<nc_int64> ids = IdsIn(kRandom, state.range(0));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(nc_dm_agent_search_bin_tree_node_by_instid(root, ids[i]));
    if (++i == ids.size()) i = 0;
  }
}
BENCHMARK(BM_TreeSearch)->ArgName("n")->RangeMultiplier(10)->Range(1'000, 1'000'000);

void BM_HashSearch(benchmark::State& state) {
  MicroTree tree(true, state.range(0), 1);
  const std::vector<nc_int64> ids = IdsIn(kRandom, state.range(0));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        nc_dm_agent_get_mode_node_inst_by_hash_tab(tree.mode()->hash_tab, ids[i]));
    if (++i == ids.size()) i = 0;
  }
}
BENCHMARK(BM_HashSearch)->ArgName("n")->RangeMultiplier(10)->Range(1'000, 1'000'000);

void BM_HashDeleteInsert(benchmark::State& state) {
  MicroTree tree(true, state.range(0), 1);
  nc_dm_hash_tab_t* table = tree.mode()->hash_tab;
  const std::vector<nc_int64> ids = IdsIn(kRandom, state.range(0));
  std::size_t i = 0;
  for (auto _ : state) {
    nc_dm_agent_node_t* node = nc_dm_agent_get_mode_node_inst_by_hash_tab(table, ids[i]);
    nc_dm_agent_delete_mode_node_inst_from_hash_tab(table, ids[i]);
    nc_dm_agent_insert_mode_node_inst_to_hash_tab(table, node);
    if (++i == ids.size()) i = 0;
  }
}
BENCHMARK(BM_HashDeleteInsert)->ArgName("n")->RangeMultiplier(10)->Range(1'000, 1'000'000);

// ---- What a callback costs beyond itself ----

void BM_ReadLeafThroughCallback(benchmark::State& state) {
  MicroTree tree(false, 1);
  std::string name = "port";
  nc_dm_agent_node_t* instance = nc_dm_agent_get_mode_node_inst(tree.parent(), name.data(), 1);
  auto* leaf = reinterpret_cast<nc_dm_agent_node_t*>(instance->sub_lst.next);
  nc_dm_id_array_t ids = {};
  ids.cnt = 1;
  ids.id[0] = 1;
  for (auto _ : state) free(nc_dm_agent_get_node_srlz_val(leaf, &ids));
}
BENCHMARK(BM_ReadLeafThroughCallback);

void BM_WriteLeafThroughCallback(benchmark::State& state) {
  MicroTree tree(false, 1);
  std::string name = "port";
  nc_dm_agent_node_t* instance = nc_dm_agent_get_mode_node_inst(tree.parent(), name.data(), 1);
  auto* leaf = reinterpret_cast<nc_dm_agent_node_t*>(instance->sub_lst.next);
  nc_dm_id_array_t ids = {};
  std::string text = "1500";
  for (auto _ : state) benchmark::DoNotOptimize(nc_dm_agent_set_node_val(leaf, &ids, text.data()));
}
BENCHMARK(BM_WriteLeafThroughCallback);

void BM_DataBlock(benchmark::State& state) {
  MicroTree tree(false, 1);
  std::uint32_t value = 1500;
  for (auto _ : state) {
    nc_dm_agent_create_padb(tree.mode(), NC_DM_CMD_OP_MERGE);
    nc_dm_agent_padb_set_var(tree.mode()->padb, 1, NC_DM_VAL_TYPE_UINT,
                             reinterpret_cast<char*>(&value));
    free(tree.mode()->padb);
    tree.mode()->padb = nullptr;
  }
}
BENCHMARK(BM_DataBlock);

}  // namespace
