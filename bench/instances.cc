// Creation and removal of list instances with 8 leaves, in process, against their allocations and
// links alone: a cleared record for each node, without the fields that are the library's own
// business, with its lists made empty and linked to its siblings, a copy of its name, and a record
// for its place in the index.
//
// Then searches and creations in a tree of many instances after half of them were removed and
// created again, twice, against the same in a tree that has only grown.
//
// Each number of the former is that of the later passes in a process: the first has got the memory
// from the system. It is processor time, so that others on the machine do not count.

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/clock.h"
#include "bench/isolated.h"
#include "bench/scenario.h"
#include "netconf_dm_kernel.h"

namespace bench {
namespace {

constexpr int kLeaves = 8;

enum class Order { kRising, kFalling, kRandom };

const char* NameOf(Order order) {
  switch (order) {
    case Order::kRising:
      return "rising";
    case Order::kFalling:
      return "falling";
    default:
      return "random";
  }
}

std::vector<std::int64_t> IdsIn(Order order, std::int64_t count) {
  std::vector<std::int64_t> ids(static_cast<std::size_t>(count));
  std::iota(ids.begin(), ids.end(), 1);
  if (order == Order::kFalling) std::reverse(ids.begin(), ids.end());
  if (order == Order::kRandom) std::shuffle(ids.begin(), ids.end(), std::mt19937_64(4));
  return ids;
}

// Nanoseconds an instance: creation, removal.
struct Pass {
  double create = 0;
  double remove = 0;
};

double PerInstance(std::int64_t start, std::int64_t end, std::size_t count) {
  return static_cast<double>(end - start) / static_cast<double>(count);
}

// ---- The library ----

class LibraryList {
 public:
  explicit LibraryList(bool hash) {
    if (nc_dm_agent_init_tree() != 0) throw std::runtime_error("no tree");
    g_nc_dm_mng_info.agent_init = true;
    for (int leaf = 0; leaf < kLeaves; ++leaf) {
      std::string path = "system.port.{i}." + Model::LeafName(leaf);
      const int flag = leaf == 0 ? NC_DM_FLAG_KEY : 0;
      if (nc_dm_agent_path_reg(path.data(), Model::LeafType(leaf), flag, 0, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr, nullptr) != 0) {
        throw std::runtime_error("no list");
      }
    }
    std::string path = "system.port.{i}";
    if (hash && nc_dm_agent_reg_hash_tab(path.data(), 1'000'000) != 0) {
      throw std::runtime_error("no hash table");
    }
    parent_ = reinterpret_cast<nc_dm_agent_node_t*>(g_nc_agent_dm.dm_root.next);
    std::string name = "port";
    mode_ = nc_dm_agent_search_mode_node(parent_, name.data());
  }

  void* Create(std::int64_t id) {
    return nc_dm_agent_create_node(parent_, mode_, id, NC_DM_NODE_TYPE_MULT_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
  }
  void Remove(void* instance) {
    nc_dm_agent_unreg_nodes(static_cast<nc_dm_agent_node_t*>(instance));
  }

  // The root of the instance tree, which changes with creations and removals.
  nc_dm_bin_tree_node_t* Root() {
    return nc_dm_agent_get_bin_tree(parent_, mode_->node_name)->root_byid;
  }

 private:
  nc_dm_agent_node_t* parent_ = nullptr;
  nc_dm_agent_node_t* mode_ = nullptr;
};

// ---- The floor ----

void InitList(list_head* head) { head->next = head->prev = head; }

void PushBack(list_head* head, list_head* link) {
  link->prev = head->prev;
  link->next = head;
  head->prev->next = link;
  head->prev = link;
}

void Unlink(list_head* link) {
  link->prev->next = link->next;
  link->next->prev = link->prev;
}

// The public fields end where the library's own begin.
constexpr std::size_t kNodeBytes = offsetof(nc_dm_agent_node, next_same);

class BareList {
 public:
  BareList() { InitList(&list_); }

  void* Create(std::int64_t id) {
    nc_dm_agent_node_t* instance = NewNode(&list_, "port");
    instance->instid = id;
    for (int leaf = 0; leaf < kLeaves; ++leaf) {
      NewNode(&instance->sub_lst, leaf_names_[leaf].c_str());
    }
    auto* entry = static_cast<nc_dm_bin_tree_node_t*>(calloc(1, sizeof(nc_dm_bin_tree_node_t)));
    entry->id = id;
    entry->data = instance;
    entry->parent = top_;
    instance->instid_btree_node = entry;
    return instance;
  }

  void Remove(void* instance) {
    auto* node = static_cast<nc_dm_agent_node_t*>(instance);
    free(node->instid_btree_node);
    // The analyzer does not see that a node that is freed was taken off the list.
    while (node->sub_lst.next != &node->sub_lst) {
      // NOLINTNEXTLINE(clang-analyzer-unix.Malloc)
      FreeNode(reinterpret_cast<nc_dm_agent_node_t*>(node->sub_lst.next));
    }
    FreeNode(node);
  }

 private:
  static nc_dm_agent_node_t* NewNode(list_head* siblings, const char* name) {
    auto* node = static_cast<nc_dm_agent_node_t*>(calloc(1, kNodeBytes));
    const std::size_t size = std::strlen(name) + 1;
    node->node_name = static_cast<char*>(malloc(size));
    std::memcpy(node->node_name, name, size);
    for (list_head* list :
         {&node->lst, &node->key_lst, &node->btree_lst, &node->sub_lst, &node->sub_key_lst}) {
      InitList(list);
    }
    PushBack(siblings, &node->lst);
    return node;
  }
  static void FreeNode(nc_dm_agent_node_t* node) {
    Unlink(&node->lst);
    free(node->node_name);
    free(node);
  }

  list_head list_;
  nc_dm_bin_tree_node_t* top_ = nullptr;
  std::vector<std::string> leaf_names_ = [] {
    std::vector<std::string> names;
    for (int leaf = 0; leaf < kLeaves; ++leaf) names.push_back(Model::LeafName(leaf));
    return names;
  }();
};

// ---- Passes ----

template <typename List>
Pass Run(List* list, const std::vector<std::int64_t>& ids, std::vector<void*>* instances) {
  Pass pass;
  const std::int64_t start = NanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
  for (std::size_t i = 0; i < ids.size(); ++i) (*instances)[i] = list->Create(ids[i]);
  const std::int64_t middle = NanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
  for (void* instance : *instances) list->Remove(instance);
  pass.create = PerInstance(start, middle, ids.size());
  pass.remove = PerInstance(middle, NanosecondsOf(CLOCK_PROCESS_CPUTIME_ID), ids.size());
  return pass;
}

template <typename List>
std::vector<double> MedianPass(List* list, Order order, std::int64_t count, bool quick) {
  // What was freed stays with the process, so that the second pass finds it.
  mallopt(M_TRIM_THRESHOLD, -1);
  const std::vector<std::int64_t> ids = IdsIn(order, count);
  std::vector<void*> instances(ids.size());
  Run(list, ids, &instances);
  Samples create;
  Samples remove;
  Samples both;
  const std::int64_t deadline = NowNs() + (quick ? 100'000'000 : 300'000'000);
  do {
    const Pass pass = Run(list, ids, &instances);
    create.Add(pass.create);
    remove.Add(pass.remove);
    both.Add(pass.create + pass.remove);
  } while (NowNs() < deadline);
  return {create.Median(), remove.Median(), both.Median()};
}

void MeasureInstancesOf(bool hash, Order order, std::int64_t count, const Settings& settings,
                        Results* results) {
  const std::vector<double> library = RunIsolated([&] {
    LibraryList list(hash);
    return MedianPass(&list, order, count, settings.quick);
  });
  const std::vector<double> floor = RunIsolated([&] {
    BareList list;
    return MedianPass(&list, order, count, settings.quick);
  });
  const char* const names[] = {"create-instance", "remove-instance", "create-remove-instance"};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    Figure figure;
    figure.name = names[i];
    figure.index = hash ? "hash" : "tree";
    figure.n = count;
    figure.leaves = kLeaves;
    figure.variant = NameOf(order);
    figure.placement = "in-process";
    figure.unit = "ns/inst";
    figure.median = library.at(i);
    figure.floor = floor.at(i);
    results->Add(std::move(figure));
  }
}

// ---- After removals ----

// The processor time of `pass`, for each of `count`. Behind each pass comes `reset`, which is not
// counted.
double MedianNs(
    std::size_t count, const std::function<void()>& pass,
    const std::function<void()>& reset = [] {}) {
  Samples samples;
  for (int i = 0; i < 5; ++i) {
    const std::int64_t start = NanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
    pass();
    samples.Add(PerInstance(start, NanosecondsOf(CLOCK_PROCESS_CPUTIME_ID), count));
    reset();
  }
  return samples.Median();
}

// Even ids are in the tree; odd ones come between them.
class EvenIds {
 public:
  explicit EvenIds(std::int64_t count) : instances_(static_cast<std::size_t>(count)) {
    for (std::size_t i = 0; i < instances_.size(); ++i) Create(i);
  }

  void RemoveAndCreateLowerHalf() {
    const std::size_t half = instances_.size() / 2;
    for (std::size_t i = half; i-- > 0;) list_.Remove(instances_[i]);
    for (std::size_t i = 0; i < half; ++i) Create(i);
  }

  // Each the median of some passes.
  double SearchNs(const std::vector<std::int64_t>& order) {
    nc_dm_bin_tree_node_t* root = list_.Root();
    return MedianNs(order.size(), [&] {
      for (const std::int64_t id : order) {
        if (nc_dm_agent_search_bin_tree_node_by_instid(root, 2 * id) == nullptr) {
          throw std::runtime_error("an instance is lost");
        }
      }
    });
  }
  double CreateNs(const std::vector<std::int64_t>& order) {
    std::vector<void*> created;
    return MedianNs(
        order.size(),
        [&] {
          for (const std::int64_t id : order) created.push_back(list_.Create(2 * id + 1));
        },
        [&] {
          for (void* instance : created) list_.Remove(instance);
          created.clear();
        });
  }

 private:
  void Create(std::size_t i) { instances_[i] = list_.Create(2 * static_cast<std::int64_t>(i + 1)); }

  LibraryList list_{false};
  std::vector<void*> instances_;
};

std::vector<double> SearchAndCreate(std::int64_t count, int removals) {
  constexpr std::size_t kOperations = 200'000;
  EvenIds ids(count);
  for (int i = 0; i < removals; ++i) ids.RemoveAndCreateLowerHalf();
  std::vector<std::int64_t> order = IdsIn(Order::kRandom, count);
  order.resize(std::min(order.size(), kOperations));
  return {ids.SearchNs(order), ids.CreateNs(order)};
}

void MeasureAfterRemovals(std::int64_t count, Results* results) {
  const std::vector<double> after = RunIsolated([&] { return SearchAndCreate(count, 2); });
  const std::vector<double> fresh = RunIsolated([&] { return SearchAndCreate(count, 0); });
  const char* const names[] = {"search-instance", "create-instance"};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    Figure figure;
    figure.name = names[i];
    figure.index = "tree";
    figure.n = count;
    figure.leaves = kLeaves;
    figure.variant = "after-removals";
    figure.placement = "in-process";
    figure.unit = "ns/inst";
    figure.median = after.at(i);
    figure.floor = fresh.at(i);
    results->Add(std::move(figure));
  }
}

}  // namespace

void MeasureInstances(const Settings& settings, Results* results) {
  if (!settings.Wants("instance")) return;
  std::vector<std::int64_t> counts = {1000, 10'000, 100'000, 1'000'000};
  if (settings.quick) counts = {1000, 100'000};
  for (const bool hash : {false, true}) {
    if (hash && settings.quick) continue;
    for (const Order order : {Order::kRising, Order::kFalling, Order::kRandom}) {
      for (const std::int64_t count : counts) {
        MeasureInstancesOf(hash, order, count, settings, results);
      }
    }
  }
  MeasureAfterRemovals(counts.back(), results);
}

double CallbackNs() {
  // What the measured application's callbacks do, called as the library calls them.
  static const nc_dm_get_fn get = [](nc_dm_id_array_t* ids, char* value) {
    const auto id = static_cast<std::uint32_t>(ids->id[ids->cnt - 1]);
    std::memcpy(value, &id, sizeof(id));
    return 0;
  };
  constexpr int kCalls = 1'000'000;
  nc_dm_get_fn volatile callback = get;
  nc_dm_id_array_t ids = {};
  ids.cnt = 2;
  char value[NC_DM_VALUE_BUF_SIZE];
  const std::int64_t start = NowNs();
  for (int i = 0; i < kCalls; ++i) callback(&ids, value);
  return static_cast<double>(NowNs() - start) / kCalls;
}

}  // namespace bench
