#include "netconf_dm_kernel/read/leaf_value.h"

#include <cstring>

#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"
#include "netconf_dm_util/value_text.h"

namespace nc {

int LeafValue::Ask(const nc_dm_agent_node_t& leaf, nc_dm_id_array_t* ids) {
  memset(buffer_, 0, sizeof(buffer_));
  return leaf.get(ids, buffer_);
}

int LeafValue::Get(const nc_dm_agent_node_t& leaf, nc_dm_id_array_t* ids) {
  const int result = Ask(leaf, ids);
  if (result == NC_DM_FAULT_CODE_OP_FAILED) {
    NC_DM_LOG_ERROR("Failed to get val from app, some object non-existent, leaf node '%s'!\n",
                    leaf.node_name);
  } else if (result != 0) {
    NC_DM_LOG_ERROR("Failed to get val from app, node '%s'!\n", leaf.node_name);
  }
  return result;
}

bool LeafValue::HasNoEnd() const { return strnlen(buffer_, sizeof(buffer_)) > kMaxLen; }

std::string_view LeafValue::Text(nc_dm_val_type_t type) { return ValueText(buffer_, type, text_); }

MallocPtr<char> LeafValue::Serialized(nc_dm_val_type_t type) {
  char* text = nullptr;
  const int result = nc_dm_serialize_val(&text, buffer_, type);
  MallocPtr<char> owned(text);
  if (result != 0) return Refuse(nullptr, "Current node value got serialization fail.\n");
  if (owned == nullptr) NC_DM_LOG_ERROR("Current node serialization value pointer is null.\n");
  return owned;
}

std::string_view LeafValue::Read(const nc_dm_agent_node_t& leaf, nc_dm_id_array_t* ids) {
  NC_DM_LOG_INFO("Get node '%s' value.\n", leaf.node_name);
  if (leaf.get == nullptr) {
    NC_DM_LOG_ERROR("Node '%s' has no get-value method!\n", leaf.node_name);
    return {};
  }
  if (Get(leaf, ids) != 0) return {};
  if (IsTooLong()) {
    NC_DM_LOG_ERROR("The length of dm val is too long!\n");
    return {};
  }
  return Text(leaf.val_type);
}

}  // namespace nc
