// Sequences of frames into a running agent: requests that are nearly right, requests with a field
// spoilt, frames of raw bytes, and between them what else happens to an agent (answers written,
// registrations applied, the server gone and back). Behind each sequence the tree has to hang
// together.

#include <stdlib.h>

#include <memory>
#include <string>

#include "fuzz/application.h"
#include "fuzz/input.h"
#include "fuzz/platform.h"
#include "fuzz/request_frames.h"
#include "fuzz/server_socket.h"
#include "netconf_dm_kernel.h"

namespace {

using ncdm_fuzz::Input;
using Frame = ncdm_fuzz::RequestFrame;

// A copy of just its size, so that every byte read behind it is noticed.
void HandFrame(const Frame& frame) {
  const size_t size = sizeof(frame.head) + frame.body.size();
  std::unique_ptr<char, decltype(&free)> bytes(static_cast<char*>(malloc(size)), &free);
  memcpy(bytes.get(), &frame.head, sizeof(frame.head));
  memcpy(bytes.get() + sizeof(frame.head), frame.body.data(), frame.body.size());
  auto* msg = reinterpret_cast<nc_dm_msg_t*>(bytes.get());
  g_nc_dm_mng_info.curr_dstype = static_cast<nc_dm_ds_type_t>(msg->head.ds_type);
  nc_dm_agent_handle_msg(g_nc_dm_mng_info.agent_fd, msg);
}

void SendFrame(const Frame& frame) {
  std::string bytes(reinterpret_cast<const char*>(&frame.head), sizeof(frame.head));
  ncdm_fuzz::SendToAgent(bytes + frame.body);
  if (g_nc_dm_mng_info.agent_fd >= 0 && nc_dm_agent_recv(g_nc_dm_mng_info.agent_fd) == -2) {
    nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  }
}

void Deliver(Input* input, Frame frame) {
  constexpr size_t kMaxBody = NC_DM_RECV_BUF_SIZE - NC_DM_MSG_HEAD_SIZE;
  ncdm_fuzz::Spoil(input, &frame);
  if (frame.body.size() > kMaxBody) frame.body.resize(kMaxBody);
  frame.head.len = static_cast<nc_int32>(frame.body.size());
  if (input->Chance(8)) frame.head.ds_type = NC_DM_DATASTORE_SDN;
  const size_t way = input->Below(16);
  if (way == 1) frame.head.len = input->Number<int16_t>();
  way < 3 ? SendFrame(frame) : HandFrame(frame);
}

// ---- Events between the frames ----

void WriteAnswers(size_t limit) {
  while (limit-- > 0 && (ncdm_fuzz::RunTask(nc_dm_agent_send_filter_rsp_lst) ||
                         ncdm_fuzz::RunTask(nc_dm_agent_send_getid_rsp_lst))) {
    ncdm_fuzz::ReadAll();
  }
}

void QueueInstance(Input* input) {
  std::string path = input->Chance(16) ? input->Text() : input->OneOf(ncdm_fuzz::kInstancePaths);
  if (input->Chance(2)) {
    nc_dm_agent_unreg(path.data());
  } else {
    nc_dm_agent_cli_reg(path.data(), static_cast<nc_dm_node_src_t>(input->Below(4)));
  }
}

void Reconnect(Input* input) {
  if (input->Chance(2)) ncdm_fuzz::HangUp();
  nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  ncdm_fuzz::RunTask(nc_dm_agent_reconnect);
  ncdm_fuzz::Accept();
}

void Step(Input* input) {
  const size_t kind = input->Below(24);
  if (kind < ncdm_fuzz::kFrameKinds) return Deliver(input, ncdm_fuzz::FrameOfKind(kind, input));
  switch (kind) {
    case 19:
      ncdm_fuzz::RunTask(nc_dm_agent_reg_handler);
      return;
    case 20:
    case 21:
      return QueueInstance(input);
    case 22:
      return WriteAnswers(input->Below(4) + 1);
    default:
      if (input->Chance(32)) {
        nc_dm_agent_unreg_all(nullptr);
      } else if (input->Chance(4)) {
        Reconnect(input);
      }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ncdm_fuzz::StartAgent();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  constexpr int kMaxSteps = 64;
  Input input(bytes, size);
  ncdm_fuzz::StartApplication(&input);
  for (int step = 0; step < kMaxSteps && !input.AtEnd(); ++step) {
    Step(&input);
    ncdm_fuzz::ReadAll();
  }
  ncdm_fuzz::Reset();
  return 0;
}
