// An application that records: it registers leaves whose callbacks write down each call, in order,
// and answer as a test has told them to. And what goes with it: the edits that a server would send
// it, and a look at the tree.
#ifndef TESTS_SUPPORT_MODEL_APP_H_
#define TESTS_SUPPORT_MODEL_APP_H_

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_kernel.h"

namespace ncdm_test {

using Ids = std::vector<nc_int64>;

// The callbacks of a leaf, as bits of the set that it offers.
enum class Callback : unsigned {
  kSet = 1,
  kGet = 2,
  kCreate = 4,
  kDelete = 8,
  kGetAttr = 16,
  kExeCmd = 32
};

constexpr unsigned operator|(Callback a, Callback b) {
  return static_cast<unsigned>(a) | static_cast<unsigned>(b);
}
constexpr unsigned operator|(unsigned a, Callback b) { return a | static_cast<unsigned>(b); }

// One call of a callback.
struct ModelCall {
  Callback callback;
  std::string leaf;  // the leaf that the callback was registered with, by its last name

  Ids ids;
  int src = 0;
  std::string value;                 // text of the typed value; of set, create and delete
  int op_flag = 0;                   // of get_attr and exe_cmd
  std::map<int, std::string> slots;  // the same

  // What the callback was handed, for an answer that fills something in. Valid during the call.
  nc_dm_id_array_t* id_array = nullptr;
  char* buffer = nullptr;
  nc_dm_agent_data_block_t* padb = nullptr;
  nc_dm_op_output_t* output = nullptr;

  // "create name ids=[3] src=1 value=eth0", "get name ids=[3]",
  // "exe_cmd name ids=[3] src=1 op=2 slots={1:eth0, 2:1500}".
  std::string ToString() const;
};

using Answer = std::function<nc_int64(const ModelCall&)>;

// Gives a text as the answer of `get`.
void Put(std::string_view text, char* buffer);

// A leaf to register.
struct ModelLeaf {
  std::string path = {};
  nc_dm_val_type_t type = NC_DM_VAL_TYPE_STRING;
  int flag = 0;
  int index = 0;
  unsigned callbacks = 0;
  // What `create` and `delete` are handed when that is not the leaf's own value: a list takes them
  // from its last key, and hands over its first.
  nc_dm_val_type_t key_type = NC_DM_VAL_TYPE_UNKNOWN;
};

// The application. It owns the tree: made empty with it, emptied behind it. One at a time.
class ModelApp {
 public:
  ModelApp();
  ~ModelApp();
  ModelApp(const ModelApp&) = delete;
  ModelApp& operator=(const ModelApp&) = delete;

  // Registers a leaf; up to kMaxLeaves.
  void Register(const ModelLeaf& leaf);
  static constexpr int kMaxLeaves = 24;

  // Has a callback of a leaf (by its last name) answer so from now on. Without an answer `set` and
  // `get` give 0 (an empty value), `create` and `exe_cmd` 1, `delete` 0, and `get_attr` finds
  // nothing.
  void On(Callback callback, const std::string& leaf, Answer answer);
  void On(Callback callback, const std::string& leaf, nc_int64 result);

  // The calls so far; forgotten by Forget.
  const std::vector<ModelCall>& calls() const { return calls_; }
  std::vector<std::string> CallTexts() const;
  void Forget() { calls_.clear(); }

  // For the callbacks.
  nc_int64 Called(int leaf, ModelCall call);

 private:
  std::vector<ModelLeaf> leaves_;
  std::map<std::pair<Callback, std::string>, Answer> answers_;
  std::vector<ModelCall> calls_;
};

// An edit as the server sends it.
struct ModelEdit {
  std::string name = {};
  const char* val = nullptr;
  nc_int32 op = NC_DM_OP_NONE;
  nc_int32 defop = NC_DM_DEFOP_UNSET;
  nc_int32 erropt = 0;
  nc_int32 flag = 0;
  Ids ids = {};
};

// A request's edits, as the decoder makes them.
class ModelEdits {
 public:
  ModelEdits();
  ModelEdits(std::initializer_list<ModelEdit> edits);
  ~ModelEdits();
  ModelEdits(const ModelEdits&) = delete;
  ModelEdits& operator=(const ModelEdits&) = delete;

  nc_dm_stub_edit_node_t* Add(const ModelEdit& edit);
  // Gives every edit its leaf's name, for those who expect it to be there.
  ModelEdits& WithNames();

  nc_dm_stub_edit_node_list_t* get() { return &list_; }
  bool empty() const { return list_.edit_head.next == &list_.edit_head; }
  int size() const;
  // The edit at a place of the list.
  nc_dm_stub_edit_node_t* at(int place);

 private:
  nc_dm_stub_edit_node_list_t list_;
};

// The node at a path whose numbers are instance ids ("net.vrf.3.name"; "net.vrf" is the schema
// node), found by a plain walk; or null.
nc_dm_agent_node_t* NodeAt(std::string_view path);

// Creates the instance at a path that ends with an id, in a tree that has all that is above it.
nc_dm_agent_node_t* AddInstance(std::string_view path, nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE);

// Every node of the tree, by its path as for NodeAt, with its source.
std::map<std::string, int> TreeSources();

// Paths of the nodes that have a data block. There should be none between callbacks.
std::vector<std::string> DataBlocks();

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_MODEL_APP_H_
