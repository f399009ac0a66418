// Bodies of filter and instance-id requests. Lists of both look the same.
#include <memory>

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_stub/request_fields.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

using nc::BodyReader;
using nc::Refuse;

constexpr nc::RequestWords kEntryWords = {
    .record = "stub_filter",
    .name_failure = "Failed to decode stub_filter->name!\n",
    .value_failure = "Failed to decode msg!\n",
};
constexpr nc::RequestWords kSingleWords = {
    .record = "filter",
    .name_failure = "Failed to decode message, confirm whether any names in the message!\n",
    .value_failure = "Failed to decode message, confirm whether any values in the message!\n",
};

int ReadFilterPacketType(BodyReader* body, nc_int32* packet_type) {
  if (nc::ReadPacketType(body, packet_type) != 0) return -1;
  NC_DM_LOG_PACKET("Filter packet type = %d\n", *packet_type);
  return 0;
}

struct ReleaseNode {
  void operator()(nc_dm_stub_filter_node_t* node) const {
    nc_dm_agent_free_filter_node(node);
    free(node);
  }
};
using NodePtr = std::unique_ptr<nc_dm_stub_filter_node_t, ReleaseNode>;

int ReadEntry(BodyReader* body, nc_dm_stub_filter_node_list_t* list) {
  nc_int32 has_value = 0;
  if (!body->Int32(&has_value)) return Refuse("Failed to decode message!\n");

  NodePtr node(nc::NewRecord<nc_dm_stub_filter_node_t>().release());
  if (node == nullptr) return Refuse("Failed to malloc filter_node!\n");
  node->filter = nc::NewRecord<nc_dm_stub_filter_t>().release();
  if (node->filter == nullptr) return Refuse("Failed to malloc filter_node->filter!\n");
  nc_dm_stub_filter_t* filter = node->filter;
  if (nc::ReadRequestFields(body, kEntryWords, nc::PresentInEntry(has_value),
                            {&filter->name, &filter->val, &filter->id_array}) != 0) {
    return -1;
  }
  nc::PushBack(&list->filter_head, &node.release()->lst);
  return 0;
}

}  // namespace

int nc_dm_agent_decode_filter_list(nc_dm_msg_t* dm_msg,
                                   nc_dm_stub_filter_node_list_t* filter_list) {
  if (dm_msg == nullptr || filter_list == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  nc_int32 packet_type = 0;
  if (ReadFilterPacketType(&body, &packet_type) != 0) return -1;
  if (packet_type == NC_DM_PKT_TYPE_RSP || packet_type == NC_DM_PKT_TYPE_END) return 0;
  return nc::ReadEntries(body, [&] { return ReadEntry(&body, filter_list); });
}

int nc_dm_agent_decode_filter(nc_dm_msg_t* dm_msg, nc_dm_stub_filter_t* filter) {
  if (dm_msg == nullptr || filter == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  if (ReadFilterPacketType(&body, &filter->pkt_type) != 0) return -1;
  if (nc::ReadRequestFields(&body, kSingleWords, dm_msg->head.flag,
                            {&filter->name, &filter->val, &filter->id_array}) == 0) {
    return 0;
  }
  nc_dm_agent_free_filter(filter);
  return -1;
}

int nc_dm_agent_decode_getid(nc_dm_msg_t* dm_msg, nc_dm_stub_getid_t* getid) {
  if (dm_msg == nullptr || getid == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  if (ReadFilterPacketType(&body, &getid->pkt_type) != 0) return -1;
  // A single lookup carries no ids.
  const nc_int32 present = dm_msg->head.flag & ~NC_DM_MSG_FLAG_IDS;
  if (nc::ReadRequestFields(&body, kSingleWords, present, {&getid->name, &getid->val, nullptr}) ==
      0) {
    return 0;
  }
  nc_dm_agent_free_getid(getid);
  return -1;
}
