// Paths: taken apart, joined, and matched with the tree.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "bench/micro_tree.h"
#include "netconf_dm_kernel.h"

namespace {

void BM_ParsePath(benchmark::State& state) {
  std::string path = "system.slot.5.port.123456.speed";
  for (auto _ : state) {
    nc_dm_path_nodes_t nodes = {};
    benchmark::DoNotOptimize(nc_dm_parse(path.data(), &nodes, state.range(0) != 0));
  }
}
BENCHMARK(BM_ParsePath)->ArgName("with_ids")->Arg(0)->Arg(1);

void BM_JoinPath(benchmark::State& state) {
  std::string path = "system.slot.5.port.123456.speed";
  nc_dm_path_nodes_t nodes = {};
  nc_dm_parse(path.data(), &nodes, true);
  for (auto _ : state) {
    char* joined = nullptr;
    benchmark::DoNotOptimize(nc_dm_agent_comb_path_name(&joined, &nodes, true));
    free(joined);
  }
}
BENCHMARK(BM_JoinPath);

void BM_MatchIds(benchmark::State& state) {
  bench::MicroTree tree(state.range(0) != 0, state.range(1));
  std::string path = "system.port.speed";
  nc_dm_path_nodes_t nodes = {};
  nc_dm_parse(path.data(), &nodes, false);
  nc_int64 id = 0;
  for (auto _ : state) {
    nc_dm_id_array_t ids = {};
    ids.cnt = 1;
    id = (id + 7919) % state.range(1);
    ids.id[0] = id + 1;
    nc_dm_agent_node_t* last = nullptr;
    if (nc_dm_agent_match_id_arr(&g_nc_agent_dm.dm_root, &nodes, &last, &ids, 0) !=
        NC_DM_CLIENT_MATCH_STATUS_LEAF) {
      state.SkipWithError("no match");
      break;
    }
  }
}
BENCHMARK(BM_MatchIds)
    ->ArgNames({"hash", "n"})
    ->ArgsProduct({{0, 1}, {1'000, 10'000, 100'000, 1'000'000}});

void BM_MatchInstancePath(benchmark::State& state) {
  bench::MicroTree tree(false, 1000);
  std::string path = "system.port.777.speed";
  nc_dm_path_nodes_t nodes = {};
  nc_dm_parse(path.data(), &nodes, true);
  for (auto _ : state) {
    nc_dm_agent_node_t* last = nullptr;
    benchmark::DoNotOptimize(nc_dm_agent_match(&g_nc_agent_dm.dm_root, &nodes, &last, 0));
  }
}
BENCHMARK(BM_MatchInstancePath);

// What a reconnection announces: grows with the paths, not with the entries that follow them.
void BM_RegisteredPaths(benchmark::State& state) {
  bench::MicroTree tree(false, 0);
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    std::string path = "system.list" + std::to_string(i) + ".{i}.leaf";
    nc_dm_agent_path_reg(path.data(), NC_DM_VAL_TYPE_UINT, 0, 0, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr, nullptr);
  }
  for (std::int64_t id = 1; id <= state.range(1); ++id) tree.Create(id);
  for (auto _ : state) {
    nc_dm_list_t list = {};
    list.head = {&list.head, &list.head};
    nc_dm_agent_get_regs_list(&g_nc_agent_dm.dm_root, &list);
    benchmark::DoNotOptimize(list.cnt);
    nc_dm_agent_free_reg_list(&list);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_RegisteredPaths)->ArgNames({"paths", "n"})->ArgsProduct({{500, 8'000}, {10, 10'000}});

}  // namespace
