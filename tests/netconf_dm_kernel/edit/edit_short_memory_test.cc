// Edits while memory is short: every allocation of a request fails once. Whatever it was, nothing
// is lost, no data block is left, the lists' indexes agree with the tree, and the same request
// succeeds when it is repeated.

#include <gtest/gtest.h>
#include <string.h>

#include <map>
#include <string>
#include <vector>

#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/model_app.h"

namespace ncdm_test {
namespace {

// Callbacks that allocate nothing themselves.
int Set(nc_dm_id_array_t*, char*) { return 0; }
int Get(nc_dm_id_array_t*, char* value) {
  Put("red", value);
  return 0;
}
nc_int64 Create(nc_dm_id_array_t*, char*) { return 7; }
nc_int64 Delete(nc_dm_id_array_t*, char*) { return 7; }
int GetAttr(nc_dm_agent_data_block_t*, nc_dm_op_output_t* output) {
  output->instid = 7;
  return 0;
}
nc_int64 ExeCmd(nc_dm_agent_data_block_t*) { return 7; }

void Register(const char* path, int flag, int index, nc_dm_get_attr_fn get_attr,
              nc_dm_exe_cmd_fn exe_cmd) {
  std::string text = path;
  ASSERT_EQ(nc_dm_agent_path_reg(text.data(), NC_DM_VAL_TYPE_STRING, flag, index, &Set, &Get,
                                 &Create, &Delete, get_attr, nullptr, exe_cmd),
            0)
      << path;
}

void RemoveAll() {
  while (g_nc_agent_dm.dm_root.next != &g_nc_agent_dm.dm_root) {
    nc_dm_agent_unreg_nodes(reinterpret_cast<nc_dm_agent_node_t*>(g_nc_agent_dm.dm_root.next));
  }
}

void ExpectIndexed(const std::map<std::string, int>& tree) {
  for (const auto& [path, src] : tree) {
    nc_dm_agent_node_t* node = NodeAt(path);
    if (node->instid == 0) continue;
    EXPECT_EQ(nc_dm_agent_get_mode_node_inst(node->parent, node->node_name, node->instid), node)
        << path;
  }
}

struct Request {
  const char* name;
  nc_int32 pkt_type;  // 10: a subtree edit
  std::vector<ModelEdit> edits;
  nc_int64 result;
};

const std::vector<Request>& Requests() {
  static const std::vector<Request> requests = {
      {"create",
       6,
       {{.name = "net.vrf.route.prefix", .val = "a", .op = NC_DM_OP_MERGE, .flag = 1, .ids = {5}}},
       7},
      {"delete", 6, {{.name = "net.vrf.name", .val = "a", .op = NC_DM_OP_DELETE, .flag = 1}}, 7},
      {"look up in the tree",
       6,
       {{.name = "net.vrf.name", .val = "red", .defop = NC_DM_DEFOP_NONE, .flag = 1}},
       7},
      {"look up",
       6,
       {{.name = "net.port.name", .val = "red", .defop = NC_DM_DEFOP_NONE, .flag = 1}},
       7},
      {"create by command",
       8,
       {{.name = "net.port.name", .val = "a", .op = NC_DM_OP_CREATE, .flag = 1},
        {.name = "net.port.descr", .val = "b", .op = NC_DM_OP_CREATE},
        {.name = "net.port.vlan", .val = "c", .op = NC_DM_OP_CREATE}},
       7},
      {"subtree",
       10,
       {{.name = "net.port.descr", .val = "a", .op = NC_DM_OP_MERGE, .ids = {9}},
        {.name = "net.port.vlan", .val = "b", .op = NC_DM_OP_MERGE, .ids = {9}},
        {.name = "net.port.name", .val = "c", .op = NC_DM_OP_MERGE, .ids = {9}},
        {.name = "net.vrf.descr", .val = "d", .op = NC_DM_OP_MERGE, .ids = {5}},
        {.name = "net.stats.rx", .op = NC_DM_OP_DELETE}},
       7},
      {"subtree deletion", 10, {{.name = "net", .op = NC_DM_OP_DELETE}}, 0},
  };
  return requests;
}

// The tree that a request starts from.
void BuildTree() {
  Register("net.vrf.{i}.name", 1, 0, nullptr, nullptr);
  Register("net.vrf.{i}.descr", 0, 0, nullptr, nullptr);
  Register("net.vrf.{i}.route.{i}.prefix", 1, 0, nullptr, nullptr);
  Register("net.port.{i}.name", 1, 1, &GetAttr, &ExeCmd);
  Register("net.port.{i}.descr", 0, 0, nullptr, nullptr);
  Register("net.port.{i}.vlan.{i}", 4, 0, nullptr, nullptr);
  Register("net.stats.rx", 0, 0, nullptr, nullptr);
  AddInstance("net.vrf.7");
}

nc_int64 Edit(const Request& request, ModelEdits& edits, nc_dm_fault_t* fault) {
  return request.pkt_type == 10
             ? nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, edits.get(), fault)
             : nc_dm_agent_edit_object(request.pkt_type, edits.get(), fault);
}

void Fill(const Request& request, ModelEdits& edits) {
  for (const ModelEdit& edit : request.edits) edits.Add(edit);
}

// Serves a request with one allocation failing, and once more with none. Was there one to fail.
bool ServeTwice(const Request& request, int successes, std::map<std::string, int>* tree) {
  const ModelApp app;
  BuildTree();
  bool failed;
  nc_dm_fault_t fault{};
  {
    ModelEdits edits;
    Fill(request, edits);
    nc_int64 result;
    {
      const FailingAlloc failing(successes);
      result = Edit(request, edits, &fault);
      failed = FailingAlloc::HasFailed();
    }
    if (!failed) {
      EXPECT_EQ(result, request.result);
    }
  }
  EXPECT_EQ(DataBlocks(), std::vector<std::string>());
  ExpectIndexed(TreeSources());

  ModelEdits edits;
  Fill(request, edits);
  fault = {};
  EXPECT_EQ(Edit(request, edits, &fault), request.result);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_OK);
  *tree = TreeSources();
  ExpectIndexed(*tree);
  return failed;
}

// What is allocated, less what is released, from the request to the end of the tree.
int Balance(const Request& request, int successes) {
  const ModelApp app;
  BuildTree();
  ModelEdits edits;
  Fill(request, edits);
  nc_dm_fault_t fault{};
  const FailingAlloc failing(successes);
  Edit(request, edits, &fault);
  nc_dm_agent_free_edit_node_list(edits.get());
  RemoveAll();
  return FailingAlloc::Outstanding();
}

TEST(EditShortMemoryTest, EveryAllocationMayFail) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  constexpr int kNever = 1 << 20;
  const DebugMask closed(0);
  for (const Request& request : Requests()) {
    std::map<std::string, int> expected;
    EXPECT_FALSE(ServeTwice(request, kNever, &expected)) << request.name;
    const int balance = Balance(request, kNever);
    int successes = 0;
    bool failed = true;
    for (; failed; ++successes) {
      SCOPED_TRACE(std::string(request.name) + ", allocation " + std::to_string(successes));
      std::map<std::string, int> tree;
      failed = ServeTwice(request, successes, &tree);
      EXPECT_EQ(tree, expected);
      EXPECT_EQ(Balance(request, successes), balance);
      if (HasFailure()) return;
    }
    EXPECT_GT(successes, 1) << request.name;
  }
}

}  // namespace
}  // namespace ncdm_test
