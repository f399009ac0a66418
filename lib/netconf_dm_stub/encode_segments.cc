#include "netconf_dm_stub/encode_segments.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_stub/body_writer.h"
#include "netconf_dm_stub/value_node.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace nc {
namespace {

constexpr size_t kMaxBodyLen = NC_DM_SEND_BUF_SIZE - 1;
constexpr size_t kPktTypeLen = sizeof(nc_int32);
// The bytes that must be free beside a value's two texts, for the head and for their two lengths.
constexpr size_t kValueReserve = 40;
// The bytes that must be free for an id array, more than the longest one takes.
constexpr size_t kIdArrayReserve = 192;

bool FitsAfter(size_t body_len, size_t name_len, size_t value_len) {
  return body_len + name_len + value_len + kValueReserve <= kMaxBodyLen;
}

struct NamedText {
  std::string_view name;
  std::string_view value;
};

std::optional<NamedText> Drop(const char* reason) { return Refuse(std::nullopt, reason); }

// The texts of an element; none for one that cannot be sent.
std::optional<NamedText> Sendable(const nc_dm_val_entry_t& entry) {
  if (entry.dm_name == nullptr) return Drop("The current val_entry.name is null!\n");
  if (entry.dm_val == nullptr) return Drop("The current val_entry.val is null!\n");
  const NamedText text = {entry.dm_name, entry.dm_val};
  if (!FitsAfter(kPktTypeLen, text.name.size(), text.value.size())) {
    NC_DM_LOG_ERROR("The current val_entry is too large to send, name:%s.\n", entry.dm_name);
    return std::nullopt;
  }
  return text;
}

void LogFull() { NC_DM_LOG_INFO("There is no more space to store another message.\n"); }

void Free(nc_dm_val_node_t* node) {
  Unlink(&node->lst);
  FreeValueNode()(node);
}

void Free(nc_dm_id_array_node_t* node) {
  Unlink(&node->lst);
  free(node);
}

// The count of the values written.
nc_int32 MoveValues(list_head* values, BodyWriter* body) {
  nc_int32 count = 0;
  for (auto& node : RecordsSafely<nc_dm_val_node_t>(values)) {
    const std::optional<NamedText> text = Sendable(node.val_entry);
    if (!text) {
      Free(&node);
      continue;
    }
    if (!FitsAfter(body->length(), text->name.size(), text->value.size())) {
      LogFull();
      break;
    }
    body->Text(text->name);
    body->Text(text->value);
    NC_DM_LOG_PACKET("The filter rsp name:%s.\n", node.val_entry.dm_name);
    NC_DM_LOG_PACKET("The filter rsp value:%s.\n", node.val_entry.dm_val);
    Free(&node);
    ++count;
  }
  return count;
}

void WriteIds(const nc_dm_id_array_t& ids, BodyWriter* body) {
  const int cnt = std::clamp(ids.cnt, 0, NC_DM_MAX_DEPTH);
  body->Int32(cnt);
  NC_DM_LOG_PACKET("Current id_array->cnt: %d\n", cnt);
  for (int i = 0; i < cnt; ++i) {
    body->Int64(ids.id[i]);
    NC_DM_LOG_PACKET("Current id_array->id[%d]: %lld\n", i, LongLong(ids.id[i]));
  }
}

nc_int32 MoveIdArrays(list_head* id_arrays, BodyWriter* body) {
  nc_int32 count = 0;
  for (auto& node : RecordsSafely<nc_dm_id_array_node_t>(id_arrays)) {
    if (body->length() + kIdArrayReserve > kMaxBodyLen) {
      LogFull();
      break;
    }
    WriteIds(node.id_array, body);
    Free(&node);
    ++count;
  }
  return count;
}

}  // namespace

void EncodeFilterSegment(nc_dm_msg_t* dm_msg, nc_int32 pkt_type, list_head* values) {
  BodyWriter body(dm_msg);
  body.Int32(pkt_type);
  dm_msg->head.entry_cnt = MoveValues(values, &body);
  body.Finish(NC_DM_MSG_TYPE_FILTER_RSP);
}

void EncodeGetidSegment(nc_dm_msg_t* dm_msg, nc_int32 pkt_type, list_head* id_arrays) {
  BodyWriter body(dm_msg);
  body.Int32(pkt_type);
  dm_msg->head.entry_cnt = MoveIdArrays(id_arrays, &body);
  body.Finish(NC_DM_MSG_TYPE_GETID_RSP, NC_DM_MSG_FLAG_IDS);
}

}  // namespace nc
