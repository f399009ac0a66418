// Bodies of edit requests.
#include <memory>
#include <span>

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_stub/request_fields.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

using nc::BodyReader;
using nc::Refuse;

constexpr nc::RequestWords kWords = {
    .record = "stub_edit",
    .name_failure = "Failed to decode stub_edit->name!\n",
    .value_failure = "Failed to decode msg!\n",
};

struct IntegerField {
  nc_int32 nc_dm_stub_edit_t::*field;
  const char* name;
  const char* short_name;  // as packet traces have it
};

// In the body's order. A request of a single edit has no flag.
constexpr IntegerField kIntegers[] = {
    {&nc_dm_stub_edit_t::flag, "flag", "flag"},
    {&nc_dm_stub_edit_t::op, "op", "op"},
    {&nc_dm_stub_edit_t::defop, "defop", "defop"},
    {&nc_dm_stub_edit_t::erropt, "erropt", "errop"},
    {&nc_dm_stub_edit_t::tstopt, "tstopt", "tstop"},
};
constexpr std::span<const IntegerField> kEntryIntegers = kIntegers;
constexpr std::span<const IntegerField> kSingleIntegers = kEntryIntegers.subspan(1);

int ReadIntegers(BodyReader* body, std::span<const IntegerField> integers,
                 nc_dm_stub_edit_t* edit) {
  for (const IntegerField& integer : integers) {
    nc_int32* value = &(edit->*integer.field);
    if (!body->Int32(value)) {
      NC_DM_LOG_ERROR("Failed to decode message %s field!\n", integer.name);
      return -1;
    }
    NC_DM_LOG_PACKET("%s = %d\n", integer.short_name, *value);
  }
  return 0;
}

int ReadEditPacketType(BodyReader* body, nc_int32* packet_type) {
  if (nc::ReadPacketType(body, packet_type) != 0) return -1;
  NC_DM_LOG_PACKET("Edit packet type = %d\n", *packet_type);
  return 0;
}

bool IsWithoutEdits(nc_int32 packet_type) {
  return packet_type == NC_DM_PKT_TYPE_RSP || packet_type == NC_DM_PKT_TYPE_OBJECT_CMD_END;
}

int ReadEditFields(BodyReader* body, nc_int32 present, nc_dm_stub_edit_t* edit) {
  return nc::ReadRequestFields(body, kWords, present, {&edit->name, &edit->val, &edit->id_array});
}

struct ReleaseNode {
  void operator()(nc_dm_stub_edit_node_t* node) const {
    nc_dm_agent_free_edit_node(node);
    free(node);
  }
};
using NodePtr = std::unique_ptr<nc_dm_stub_edit_node_t, ReleaseNode>;

void Append(nc_dm_stub_edit_node_list_t* list, nc_dm_stub_edit_node_t* node) {
  nc::PushBack(&list->edit_head, &node->lst);
  // An edit that is no key is linked to itself, so that taking it off the keys is harmless.
  nc::InitList(&node->ky_lst);
  if ((node->edit->flag & NC_DM_EDIT_FLAG_KEYS) != 0) nc::PushBack(&list->key_head, &node->ky_lst);
}

int ReadEntry(BodyReader* body, nc_dm_stub_edit_node_list_t* list) {
  nc_dm_stub_edit_t integers = {};
  if (ReadIntegers(body, kEntryIntegers, &integers) != 0) return -1;
  nc_int32 has_value = 0;
  if (!body->Int32(&has_value)) return Refuse("Failed to decode message hasval field!\n");

  NodePtr node(nc::NewRecord<nc_dm_stub_edit_node_t>().release());
  if (node == nullptr) return Refuse("Failed to malloc edit_node!\n");
  node->edit = nc::NewRecord<nc_dm_stub_edit_t>().release();
  if (node->edit == nullptr) return Refuse("Failed to malloc edit_node->edit!\n");
  *node->edit = integers;
  if (ReadEditFields(body, nc::PresentInEntry(has_value), node->edit) != 0) return -1;
  Append(list, node.release());
  return 0;
}

int ReadSingle(BodyReader* body, nc_int32 present, nc_dm_stub_edit_t* edit) {
  if (ReadIntegers(body, kSingleIntegers, edit) != 0) return -1;
  return ReadEditFields(body, present, edit);
}

}  // namespace

int nc_dm_agent_decode_edit_list(nc_dm_msg_t* dm_msg, nc_dm_stub_edit_node_list_t* edit_list) {
  if (dm_msg == nullptr || edit_list == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  nc_int32 packet_type = 0;
  if (ReadEditPacketType(&body, &packet_type) != 0) return -1;
  if (IsWithoutEdits(packet_type)) return 0;
  return nc::ReadEntries(body, [&] { return ReadEntry(&body, edit_list); });
}

int nc_dm_agent_decode_edit(nc_dm_msg_t* dm_msg, nc_dm_stub_edit_t* edit) {
  if (dm_msg == nullptr || edit == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  if (ReadEditPacketType(&body, &edit->pkt_type) != 0) return -1;
  if (IsWithoutEdits(edit->pkt_type)) return 0;
  if (ReadSingle(&body, dm_msg->head.flag, edit) == 0) return 0;
  nc_dm_agent_free_edit(edit);
  return -1;
}
