// Whole lives of an agent on an event loop that fails to schedule now and then: its tasks run in
// any order, the server sends requests that are nearly right, does not read, hangs up, is not
// there, and comes back, and the application registers.
//
// Behind each sequence every scheduling succeeds again, the application makes one call, and a
// server is there that reads. Then the agent has to be connected, the server to have been told all
// that is registered, with the attributes' last values, and a request to be answered.

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include <array>
#include <set>
#include <string>
#include <string_view>

#include "fuzz/application.h"
#include "fuzz/input.h"
#include "fuzz/platform.h"
#include "fuzz/request_frames.h"
#include "fuzz/server_socket.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"

namespace {

using ncdm_fuzz::Input;
using ncdm_fuzz::RequestFrame;

constexpr const char* kModule = "model";
constexpr int kFinalSid = 0x5ca1ab1e;
constexpr nc_int32 kNothing = 2;  // a packet type of an edit that does nothing and is answered

// ---- The server ----

// What the server has been sent on the connection that it has.
class Told {
 public:
  void Forget() {
    bytes_.clear();
    paths_.clear();
    revision_.clear();
    is_answered_ = false;
  }

  // Takes the messages that are whole.
  void Feed(const std::string& bytes) {
    bytes_ += bytes;
    nc_dm_msg_head_t head;
    size_t at = 0;
    while (at + sizeof(head) <= bytes_.size()) {
      memcpy(&head, bytes_.data() + at, sizeof(head));
      NCDM_FUZZ_CHECK(head.len >= 0 && head.len < NC_DM_SEND_BUF_SIZE);
      const size_t size = sizeof(head) + static_cast<size_t>(head.len);
      if (at + size > bytes_.size()) break;
      Take(head, std::string_view(bytes_).substr(at + sizeof(head), size - sizeof(head)));
      at += size;
    }
    bytes_.erase(0, at);
  }

  bool Has(const std::string& path) const { return paths_.contains(path); }
  const std::string& revision() const { return revision_; }
  bool is_answered() const { return is_answered_; }

 private:
  static nc_int32 TakeInt32(std::string_view* body) {
    nc_int32 value = 0;
    NCDM_FUZZ_CHECK(body->size() >= sizeof(value));
    memcpy(&value, body->data(), sizeof(value));
    body->remove_prefix(sizeof(value));
    return value;
  }

  static std::string TakeText(std::string_view* body) {
    const auto size = static_cast<size_t>(TakeInt32(body));
    NCDM_FUZZ_CHECK(size <= body->size());
    const std::string text(body->substr(0, size));
    body->remove_prefix(size);
    return text;
  }

  void Take(const nc_dm_msg_head_t& head, std::string_view body) {
    switch (head.type) {
      case NC_DM_MSG_TYPE_REG:
        TakeInt32(&body);
        paths_.insert(TakeText(&body));
        break;
      case NC_DM_MSG_TYPE_REG_YANG_ATTR:
        TakeInt32(&body);
        if (TakeText(&body) == kModule) revision_ = TakeText(&body);
        break;
      case NC_DM_MSG_TYPE_EDIT_RSP:
        if (head.sid == kFinalSid) is_answered_ = true;
        break;
      default:
        break;
    }
  }

  std::string bytes_;
  std::set<std::string> paths_;
  std::string revision_;
  bool is_answered_ = false;
};

Told g_told;

void Accept() {
  if (ncdm_fuzz::Accept()) g_told.Forget();
}

void Receive(size_t most) { g_told.Feed(ncdm_fuzz::Read(most)); }

void Send(RequestFrame frame) {
  frame.head.len = static_cast<nc_int32>(frame.body.size());
  std::string bytes(reinterpret_cast<const char*>(&frame.head), sizeof(frame.head));
  ncdm_fuzz::SendToAgent(bytes + frame.body);
}

void SendRequest(size_t kind, Input* input) {
  RequestFrame frame = ncdm_fuzz::FrameOfKind(kind, input);
  ncdm_fuzz::Spoil(input, &frame);
  Send(frame);
}

// The agent may send very little before it has to wait.
void ShrinkSendBuffer(bool* is_shrunk) {
  const int least = 1;
  const int fd = g_nc_dm_mng_info.agent_fd;
  if (fd >= 0) *is_shrunk |= setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof(least)) == 0;
}

// ---- The application ----

void SetRevision(const std::string& value) {
  nc_dm_agent_yang_attr_reg(kModule, NC_DM_YANG_ATTR_REVISION, value.c_str());
}

void Register(Input* input) {
  std::string path = input->OneOf(ncdm_fuzz::kInstancePaths);
  switch (input->Below(8)) {
    case 0:
    case 1:
      nc_dm_agent_reg(path.data());
      return;
    case 2:
      nc_dm_agent_unreg(path.data());
      return;
    case 3:
    case 4:
      return SetRevision(std::to_string(input->Byte()));
    case 5:
      nc_dm_agent_mode_reg_cplt();
      return;
    case 6:
      return ncdm_fuzz::StartSmallApplication(input);
    default:
      nc_dm_agent_unreg_all(nullptr);
      return ncdm_fuzz::StartSmallApplication(input);
  }
}

// ---- The loop ----

constexpr std::array<zu_thread * nc_dm_thread_manage_t::*, 8> kHandles = {
    &nc_dm_thread_manage_t::tt_connect, &nc_dm_thread_manage_t::tt_reconnect,
    &nc_dm_thread_manage_t::tt_read,    &nc_dm_thread_manage_t::tt_fltrsp,
    &nc_dm_thread_manage_t::tt_idrsp,   &nc_dm_thread_manage_t::tt_reg,
    &nc_dm_thread_manage_t::tt_watch,   &nc_dm_thread_manage_t::tt_unreg_client};

// A task without a handle could not be cancelled, a handle without a task would be.
void CheckHandles() {
  size_t handles = 0;
  for (const auto handle : kHandles) handles += g_nc_dm_agent_manage.*handle != nullptr ? 1 : 0;
  NCDM_FUZZ_CHECK(handles == ncdm_fuzz::ScheduledTasks());
}

void RunSomeTasks(Input* input) {
  for (size_t count = input->Below(4); count > 0; --count) {
    if (!ncdm_fuzz::RunReadyTask(input->Byte())) return;
    CheckHandles();
  }
}

// ---- The end of a sequence ----

bool IsEverythingTold() {
  nc_dm_list_t list = {};
  nc::InitList(&list.head);
  NCDM_FUZZ_CHECK(nc_dm_agent_get_regs_list(&g_nc_agent_dm.dm_root, &list) == 0);
  bool is_told = true;
  for (const auto& node : nc::Records<nc_dm_reg_node_t>(&list.head)) {
    is_told = is_told && g_told.Has(node.reg_entry.dm_path);
  }
  nc_dm_agent_free_reg_list(&list);
  const nc_dm_yang_attr_t* revision = nc_dm_agent_get_yang_attr(kModule, NC_DM_YANG_ATTR_REVISION);
  NCDM_FUZZ_CHECK(revision != nullptr);
  return is_told && g_told.revision() == revision->attr;
}

// Turns a loop on which nothing fails, with a server that reads, until `done`; false when that
// never comes.
template <typename Done>
bool RunUntil(Done done) {
  constexpr int kMaxTurns = 500;
  for (int turn = 0; turn < kMaxTurns; ++turn) {
    Accept();
    Receive(1 << 16);
    if (done()) return true;
    for (size_t i = ncdm_fuzz::ScheduledTasks(); i > 0; --i) {
      ncdm_fuzz::RunReadyTask(i);
      CheckHandles();
    }
  }
  return false;
}

bool IsAnswered() {
  Send({{NC_DM_MSG_TYPE_EDIT, kFinalSid, 0, 0, NC_DM_DATASTORE_RUNNING, 0},
        ncdm_fuzz::PktTypeFrame(NC_DM_MSG_TYPE_EDIT, kNothing).body});
  return RunUntil([] { return g_told.is_answered(); });
}

void Recover(bool must_reconnect) {
  static Input none(nullptr, 0);
  ncdm_fuzz::FailEvery(0);
  ncdm_fuzz::ListenAgain();
  if (must_reconnect) ncdm_fuzz::HangUp();
  // Where nothing is scheduled any more, nothing but the application can bring the library back.
  SetRevision("last");
  NCDM_FUZZ_CHECK(g_nc_dm_agent_manage.owed == 0);
  NCDM_FUZZ_CHECK(RunUntil(IsEverythingTold));
  if (IsAnswered()) return;
  // A frame of a wrong length may have swallowed the request.
  ncdm_fuzz::HangUp();
  g_told.Forget();
  NCDM_FUZZ_CHECK(RunUntil(IsEverythingTold));
  NCDM_FUZZ_CHECK(IsAnswered());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ncdm_fuzz::StartAgent();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  constexpr int kMaxSteps = 48;
  Input input(bytes, size);
  g_told.Forget();
  ncdm_fuzz::StartSmallApplication(&input);
  bool is_shrunk = false;
  bool is_listening = true;
  for (int step = 0; step < kMaxSteps && !input.AtEnd(); ++step) {
    const size_t kind = input.Below(32);
    if (kind < ncdm_fuzz::kFrameKinds) {
      SendRequest(kind, &input);
    } else if (kind < 22) {
      ncdm_fuzz::FailEvery(input.Below(6), input.Below(8));
    } else if (kind < 25) {
      Register(&input);
    } else if (kind < 27) {
      Accept();
    } else if (kind < 29) {
      Receive(size_t{1} << input.Below(16));
    } else if (kind == 29) {
      ncdm_fuzz::HangUp();
    } else if (kind == 30) {
      is_listening ? ncdm_fuzz::StopListening() : ncdm_fuzz::ListenAgain();
      is_listening = !is_listening;
    } else {
      ShrinkSendBuffer(&is_shrunk);
    }
    RunSomeTasks(&input);
  }
  Recover(is_shrunk);
  ncdm_fuzz::Reset();
  return 0;
}
