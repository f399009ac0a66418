// What goes between the edit engine and an application, as tests write it down: leaves with their
// callbacks, the calls of those, and the edits that a server sends.
#ifndef TESTS_SUPPORT_MODEL_CALL_H_
#define TESTS_SUPPORT_MODEL_CALL_H_

#include <map>
#include <string>
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

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_MODEL_CALL_H_
