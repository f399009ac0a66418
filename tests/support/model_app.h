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
#include "support/model_call.h"

namespace ncdm_test {

using Answer = std::function<nc_int64(const ModelCall&)>;

// Gives a text as the answer of `get`.
void Put(std::string_view text, char* buffer);

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
  nc_dm_stub_edit_node_t* at(int place) const;

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
