#include "netconf_dm_kernel/edit/failing_calls.h"

#include <dlfcn.h>

#include "netconf_dm_kernel.h"

namespace ncdm_test {

Step FailingCall::step_ = Step::kNone;
int FailingCall::successes_ = 0;

namespace {

template <typename Function>
Function Real(Function, const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace ncdm_test

#define NCDM_TEST_REAL(function) ncdm_test::Real(&(function), #function)

extern "C" {

int nc_dm_agent_create_padb(nc_dm_agent_node_t* node, int op_flag) {
  if (ncdm_test::FailingCall::ShallFail(ncdm_test::Step::kCreatePadb)) return -1;
  return NCDM_TEST_REAL(nc_dm_agent_create_padb)(node, op_flag);
}

nc_dm_agent_node_t* nc_dm_agent_create_node(nc_dm_agent_node_t* parent_node,
                                            nc_dm_agent_node_t* src_node, nc_int64 instid,
                                            nc_dm_node_type_t node_type, nc_dm_node_src_t src) {
  if (ncdm_test::FailingCall::ShallFail(ncdm_test::Step::kCreateNode)) return nullptr;
  return NCDM_TEST_REAL(nc_dm_agent_create_node)(parent_node, src_node, instid, node_type, src);
}

char* nc_dm_copy_str(const char* s) {
  if (ncdm_test::FailingCall::ShallFail(ncdm_test::Step::kCopyStr)) return nullptr;
  return NCDM_TEST_REAL(nc_dm_copy_str)(s);
}

int nc_dm_get_ids(nc_dm_id_array_t* id_array, nc_dm_agent_node_t* curr_node) {
  if (ncdm_test::FailingCall::ShallFail(ncdm_test::Step::kGetIds)) return -1;
  return NCDM_TEST_REAL(nc_dm_get_ids)(id_array, curr_node);
}

int nc_dm_serialize_val(char** dm_val, char* src_val, nc_dm_val_type_t val_type) {
  if (ncdm_test::FailingCall::ShallFail(ncdm_test::Step::kSerialize)) return -1;
  return NCDM_TEST_REAL(nc_dm_serialize_val)(dm_val, src_val, val_type);
}

// It fails behind the search: what it found is there all the same.
nc_dm_agent_match_status_t nc_dm_agent_match_id_arr(list_head* dm_root,
                                                    nc_dm_path_nodes_t* path_nodes,
                                                    nc_dm_agent_node_t** last_node,
                                                    nc_dm_id_array_t* id_array, int flag) {
  const auto status =
      NCDM_TEST_REAL(nc_dm_agent_match_id_arr)(dm_root, path_nodes, last_node, id_array, flag);
  return ncdm_test::FailingCall::ShallFail(ncdm_test::Step::kMatchIds)
             ? NC_DM_CLIENT_MATCH_STATUS_MAX
             : status;
}

nc_dm_agent_match_status_t nc_dm_agent_match_get_vals(nc_dm_list_t* list, list_head* dm_root,
                                                      nc_dm_path_nodes_t* path_nodes, int bg,
                                                      int mt) {
  if (ncdm_test::FailingCall::ShallFail(ncdm_test::Step::kMatchValues)) {
    return NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  }
  return NCDM_TEST_REAL(nc_dm_agent_match_get_vals)(list, dm_root, path_nodes, bg, mt);
}

}  // extern "C"
