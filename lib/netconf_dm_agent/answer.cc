// Answers to the server. A filter's or a lookup's result may be larger than any message: it waits
// in param_list, and each run of its write task sends one segment of it, then one closing message.

#include "netconf_dm_agent/answer.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace {

using nc::AnswerKind;

constexpr size_t kMaxBodyLen = NC_DM_SEND_BUF_SIZE - 1;
constexpr size_t kPktTypeLen = sizeof(nc_int32);
// Room kept free behind what a segment takes: the head and the two length fields of a value, and
// the longest id array.
constexpr size_t kValueReserve = 40;
constexpr size_t kIdArrayReserve = 192;

nc_dm_list_t* Answer() { return &g_nc_dm_mng_info.param_list; }

bool FitsAfter(size_t body_len, size_t name_len, size_t value_len) {
  return body_len + name_len + value_len + kValueReserve <= kMaxBodyLen;
}

void DropValue(nc_dm_val_node_t* node) {
  nc::Unlink(&node->lst);
  nc_dm_agent_free_val_node(node);
  free(node);
}

struct NamedText {
  std::string_view name;
  std::string_view value;
};

// What an element says; none when it has no name or no value, or when no segment could hold them:
// such an element would never leave the list.
std::optional<NamedText> Sendable(const nc_dm_val_entry_t& entry) {
  if (entry.dm_name == nullptr) {
    NC_DM_LOG_ERROR("The current val_entry.name is null!\n");
    return std::nullopt;
  }
  if (entry.dm_val == nullptr) {
    NC_DM_LOG_ERROR("The current val_entry.val is null!\n");
    return std::nullopt;
  }
  const NamedText text = {entry.dm_name, entry.dm_val};
  if (!FitsAfter(kPktTypeLen, text.name.size(), text.value.size())) {
    NC_DM_LOG_ERROR("The current val_entry is too large to send, name:%s.\n", entry.dm_name);
    return std::nullopt;
  }
  return text;
}

// As nc_dm_lv_str, of a text whose length is known.
void PutText(nc_dm_msg_t* out_msg, std::string_view text) {
  const auto length = static_cast<nc_int32>(text.size());
  char* end = out_msg->buf + out_msg->head.len;
  memcpy(end, &length, sizeof(length));
  memcpy(end + sizeof(length), text.data(), text.size());
  out_msg->head.len += static_cast<nc_int32>(sizeof(length)) + length;
}

// Moves values from the list into the body as long as there is room.
void FillFilterBody(nc_dm_msg_t* out_msg, list_head* values) {
  for (auto& node : nc::RecordsSafely<nc_dm_val_node_t>(values)) {
    const std::optional<NamedText> text = Sendable(node.val_entry);
    if (!text) {
      DropValue(&node);
      continue;
    }
    if (!FitsAfter(static_cast<size_t>(out_msg->head.len), text->name.size(), text->value.size())) {
      NC_DM_LOG_INFO("There is no more space to store another message.\n");
      return;
    }
    PutText(out_msg, text->name);
    PutText(out_msg, text->value);
    NC_DM_LOG_PACKET("The filter rsp name:%s.\n", node.val_entry.dm_name);
    NC_DM_LOG_PACKET("The filter rsp value:%s.\n", node.val_entry.dm_val);
    DropValue(&node);
    out_msg->head.entry_cnt++;
  }
}

// The same with id arrays.
void FillGetidBody(nc_dm_msg_t* out_msg, list_head* id_arrays) {
  int* len = &out_msg->head.len;
  for (auto& node : nc::RecordsSafely<nc_dm_id_array_node_t>(id_arrays)) {
    if (static_cast<size_t>(*len) + kIdArrayReserve > kMaxBodyLen) {
      NC_DM_LOG_INFO("There is no more space to store another message.\n");
      return;
    }
    const int cnt = std::clamp(node.id_array.cnt, 0, NC_DM_MAX_DEPTH);
    nc_dm_put_int32(out_msg->buf, len, cnt);
    NC_DM_LOG_PACKET("Current id_array->cnt: %d\n", cnt);
    for (int i = 0; i < cnt; i++) {
      nc_dm_put_int64(out_msg->buf, len, node.id_array.id[i]);
      NC_DM_LOG_PACKET("Current id_array->id[%d]: %lld\n", i, nc::LongLong(node.id_array.id[i]));
    }
    nc::Unlink(&node.lst);
    free(&node);
    out_msg->head.entry_cnt++;
  }
}

nc_dm_msg_t* StartAnswerMessage() {
  nc_dm_msg_t* out_msg = nc::StartMessage(g_nc_dm_mng_info.send_msg_buf);
  out_msg->head.sid = g_nc_dm_mng_info.msg_head.sid;
  return out_msg;
}

int SendFilterSegment(int fd) {
  nc_dm_stub_filter_rsp_list_t segment = {NC_DM_PKT_TYPE_SEGMENT, Answer()};
  return nc_dm_agent_send_filter_rsp(fd, StartAnswerMessage(), &segment);
}

int SendFilterEnd(int fd) {
  nc_dm_msg_t* out_msg = StartAnswerMessage();
  nc_dm_stub_filter_rsp_t end = {NC_DM_PKT_TYPE_END, nullptr, nullptr};
  nc_dm_agent_encode_filter_rsp(out_msg, &end);
  return nc_dm_agent_send(fd, out_msg);
}

int SendGetidSegment(int fd) {
  nc_dm_stub_getid_rsp_t segment = {NC_DM_PKT_TYPE_SEGMENT, Answer()};
  return nc_dm_agent_send_getid_rsp(fd, StartAnswerMessage(), &segment);
}

int SendGetidEnd(int fd) {
  nc_dm_msg_t* out_msg = StartAnswerMessage();
  nc_dm_stub_getid_rsp_t end = {NC_DM_PKT_TYPE_END, nullptr};
  nc_dm_agent_encode_getid_rsp(out_msg, &end);
  return nc_dm_agent_send(fd, out_msg);
}

void PrintGetTime() { nc::PrintTime("get", &g_nc_dm_mng_info.get_time); }

// What the write tasks of the two kinds of answer differ in.
struct AnswerTask {
  AnswerKind kind;
  int (*send_segment)(int fd);
  int (*send_end)(int fd);
  void (*print_time)();  // may be null
  const char* null_task;
  const char* segment_failure;
  const char* end_failure;  // may be null
  const char* success;
};

constexpr AnswerTask kFilterTask = {AnswerKind::kValues,
                                    SendFilterSegment,
                                    SendFilterEnd,
                                    PrintGetTime,
                                    "DM client filter response zu_thread is null.\n",
                                    "Failed to send filter response message!\n",
                                    nullptr,
                                    "Handle filter message successfully.\n"};

constexpr AnswerTask kGetidTask = {AnswerKind::kIdArrays,
                                   SendGetidSegment,
                                   SendGetidEnd,
                                   nullptr,
                                   "DM client getid_rsp zu_thread is null.\n",
                                   "Failed to send getid_rsp segment message!\n",
                                   "Failed to send getid_rsp end message.\n",
                                   "Handle getid message successfully.\n"};

// Ends an answer that the socket did not take. The connection counts as broken from then on, even
// if the FAULT still goes through: a part of the failed message may stand on the stream.
int FailAnswer(const AnswerTask& task, int fd) {
  nc::ReleaseAnswer(task.kind);
  nc_dm_fault_t* fault = &g_nc_dm_mng_info.fault;
  fault->fault_code = NC_DM_FAULT_CODE_LINK;
  if (task.print_time != nullptr) task.print_time();
  const int result =
      nc::SendFault(fd, g_nc_dm_mng_info.send_msg_buf, g_nc_dm_mng_info.msg_head.sid, fault);
  nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  return result;
}

int RunAnswerTask(const AnswerTask& task, const zu_thread* t) {
  if (t == nullptr) {
    NC_DM_LOG_ERROR("%s", task.null_task);
    nc::ReleaseAnswer(task.kind);
    g_nc_dm_mng_info.fault.fault_code = NC_DM_FAULT_CODE_UNKNOWN;
    return -1;
  }
  const int fd = t->value;
  if (!nc::IsEmpty(&Answer()->head)) {
    if (task.send_segment(fd) == 0) return 0;
    NC_DM_LOG_ERROR("%s", task.segment_failure);
    return FailAnswer(task, fd);
  }
  NC_DM_LOG_INFO("The id_array list has already sent completely.\n");
  if (task.print_time != nullptr) task.print_time();
  if (task.send_end(fd) == 0) {
    nc::ReleaseAnswer(task.kind);
    NC_DM_LOG_INFO("%s", task.success);
    return 0;
  }
  if (task.end_failure != nullptr) NC_DM_LOG_ERROR("%s", task.end_failure);
  return FailAnswer(task, fd);
}

}  // namespace

namespace nc {

int SendFault(int fd, char* buf, nc_int32 sid, nc_dm_fault_t* fault) {
  nc_dm_msg_t* out_msg = StartMessage(buf);
  out_msg->head.sid = sid;
  nc_dm_agent_encode_fault(out_msg, fault);
  return nc_dm_agent_send(fd, out_msg);
}

void BeginAnswer(AnswerKind kind) {
  ReleaseAnswer(kind);
  SetAnswerKind(kind);
  CancelTask(kind == AnswerKind::kValues ? NC_DM_EVENT_IDRSP_WRITE : NC_DM_EVENT_FLTRSP_WRITE);
}

void StartAnswer(const nc_dm_msg_t* request, nc_dm_event_t write_event) {
  g_nc_dm_mng_info.msg_head.sid = request->head.sid;
  nc_dm_agent_handle_event(write_event, g_nc_dm_mng_info.agent_fd, 0);
}

void PrintTime(const char* what, double* seconds) {
  if ((g_nc_dm_agent_dbg & NC_DM_DBG_TIMING) == 0) return;
  NC_DM_SYSLOG("[%s time]:%lf sec.\n", what, *seconds);
  *seconds = 0;
}

}  // namespace nc

int nc_dm_agent_send_filter_rsp(int fd, nc_dm_msg_t* out_msg,
                                nc_dm_stub_filter_rsp_list_t* filter_rsp_list) {
  if (out_msg == nullptr || filter_rsp_list == nullptr || filter_rsp_list->entry_list == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -1;
  }
  out_msg->head.type = NC_DM_MSG_TYPE_FILTER_RSP;
  out_msg->head.flag = 0;
  out_msg->head.entry_cnt = 0;
  out_msg->head.len = 0;
  nc_dm_put_int32(out_msg->buf, &out_msg->head.len, filter_rsp_list->pkt_type);
  FillFilterBody(out_msg, &filter_rsp_list->entry_list->head);
  if (nc_dm_agent_send(fd, out_msg) != 0) {
    NC_DM_LOG_ERROR("Dm agent failed to filter rsp list message!\n");
    return -1;
  }
  nc_dm_agent_handle_event(NC_DM_EVENT_FLTRSP_WRITE, fd, 0);
  return 0;
}

int nc_dm_agent_send_getid_rsp(int fd, nc_dm_msg_t* out_msg, nc_dm_stub_getid_rsp_t* getid_rsp) {
  if (out_msg == nullptr || getid_rsp == nullptr || getid_rsp->id_array_list == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -1;
  }
  out_msg->head.type = NC_DM_MSG_TYPE_GETID_RSP;
  out_msg->head.flag |= NC_DM_MSG_FLAG_IDS;
  out_msg->head.entry_cnt = 0;
  out_msg->head.len = 0;
  nc_dm_put_int32(out_msg->buf, &out_msg->head.len, getid_rsp->pkt_type);
  FillGetidBody(out_msg, &getid_rsp->id_array_list->head);
  if (nc_dm_agent_send(fd, out_msg) != 0) {
    NC_DM_LOG_ERROR("Dm agent failed to message!\n");
    return -1;
  }
  NC_DM_LOG_INFO("The list id_array entry count: %d\n", out_msg->head.entry_cnt);
  nc_dm_agent_handle_event(NC_DM_EVENT_IDRSP_WRITE, fd, 0);
  return 0;
}

int nc_dm_agent_send_filter_rsp_lst(zu_thread* t) {
  const nc::RetryAtEnd retry;
  g_nc_dm_agent_manage.tt_fltrsp = nullptr;
  return RunAnswerTask(kFilterTask, t);
}

int nc_dm_agent_send_getid_rsp_lst(zu_thread* t) {
  const nc::RetryAtEnd retry;
  g_nc_dm_agent_manage.tt_idrsp = nullptr;
  return RunAnswerTask(kGetidTask, t);
}
