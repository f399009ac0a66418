// Answers to the server. A filter's or a lookup's result may be larger than any message: it waits
// in param_list, and each run of its write task sends one segment of it, then one closing message.

#include "netconf_dm_agent/answer.h"

#include "netconf_dm_agent/fault_message.h"
#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/print_time.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_stub/encode_segments.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

using nc::AnswerKind;

nc_dm_list_t* Answer() { return &g_nc_dm_mng_info.param_list; }

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

// The write task of a kind of answer.
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
// if the FAULT goes through: a part of the failed message may be in the stream.
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

void BeginAnswer(AnswerKind kind) {
  ReleaseAnswer(kind);
  SetAnswerKind(kind);
  CancelTask(kind == AnswerKind::kValues ? NC_DM_EVENT_IDRSP_WRITE : NC_DM_EVENT_FLTRSP_WRITE);
}

void StartAnswer(const nc_dm_msg_t* request, nc_dm_event_t write_event) {
  g_nc_dm_mng_info.msg_head.sid = request->head.sid;
  nc_dm_agent_handle_event(write_event, g_nc_dm_mng_info.agent_fd, 0);
}

}  // namespace nc

int nc_dm_agent_send_filter_rsp(int fd, nc_dm_msg_t* out_msg,
                                nc_dm_stub_filter_rsp_list_t* filter_rsp_list) {
  if (out_msg == nullptr || filter_rsp_list == nullptr || filter_rsp_list->entry_list == nullptr) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  nc::EncodeFilterSegment(out_msg, filter_rsp_list->pkt_type, &filter_rsp_list->entry_list->head);
  if (nc_dm_agent_send(fd, out_msg) != 0) {
    return nc::Refuse("Dm agent failed to filter rsp list message!\n");
  }
  nc_dm_agent_handle_event(NC_DM_EVENT_FLTRSP_WRITE, fd, 0);
  return 0;
}

int nc_dm_agent_send_getid_rsp(int fd, nc_dm_msg_t* out_msg, nc_dm_stub_getid_rsp_t* getid_rsp) {
  if (out_msg == nullptr || getid_rsp == nullptr || getid_rsp->id_array_list == nullptr) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  nc::EncodeGetidSegment(out_msg, getid_rsp->pkt_type, &getid_rsp->id_array_list->head);
  if (nc_dm_agent_send(fd, out_msg) != 0) return nc::Refuse("Dm agent failed to message!\n");
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
