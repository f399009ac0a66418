#include "tests/server/fake_agent.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "support/message_body.h"

namespace ncdm_test {
namespace {

constexpr int kPatienceMs = 20000;
constexpr std::size_t kHeadSize = 24;

enum : std::int32_t {
  kFault = 1,
  kReg = 2,
  kRegName = 4,
  kRegYangAttr = 6,
  kRegCplt = 8,
  kUnreg = 9,
  kEdit = 13,
  kEditRsp = 14,
  kFilter = 17,
  kFilterRsp = 18,
  kUnregClient = 21,
  kGetId = 23,
  kGetIdRsp = 24,
};

// What ends each element: presence of the value, name, value, ids.
std::string TailText(BodyReader* fields, bool has_value) {
  std::string text = fields->Text();
  if (has_value) {
    text += "=" + fields->Text();
  }
  const std::int32_t count = fields->Int32();
  for (std::int32_t i = 0; i < count; ++i) {
    text += (i == 0 ? " [" : ",") + std::to_string(fields->Int64());
  }
  return count > 0 ? text + "]" : text;
}

std::string EditText(BodyReader* fields) {
  const std::int32_t flag = fields->Int32();
  const std::int32_t op = fields->Int32();
  const std::int32_t defop = fields->Int32();
  const std::int32_t erropt = fields->Int32();
  fields->Int32();  // test option
  const bool has_value = fields->Int32() != 0;
  std::string text = std::to_string(op) + " ";
  if (flag != 0) {
    text += "key" + std::to_string(flag) + " ";
  }
  text += TailText(fields, has_value);
  if (defop != 0) {
    text += " defop" + std::to_string(defop);
  }
  if (erropt != 0) {
    text += " erropt" + std::to_string(erropt);
  }
  return text;
}

}  // namespace

std::string I32(std::int32_t value) { return Body().Int32(value).bytes(); }

std::string I64(std::int64_t value) { return Body().Int64(value).bytes(); }

std::string Lv(std::string_view text) { return Body().Text(text).bytes(); }

std::string RawFrame(std::int32_t type, std::int32_t sid, std::int32_t flag, std::int32_t entry_cnt,
                     std::int32_t ds_type, std::string_view body) {
  return I32(type) + I32(sid) + I32(flag) + I32(entry_cnt) + I32(ds_type) +
         I32(static_cast<std::int32_t>(body.size())) + std::string(body);
}

int ConnectToServer(const std::string& root) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = root + "/mng/netconf/netconf_server/.serv";
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
  while (std::chrono::steady_clock::now() < deadline) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
      return fd;
    }
    close(fd);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));  // until the server listens
  }
  throw std::runtime_error("no server listens at " + path);
}

FakeAgent::FakeAgent(const std::string& root, const std::string& name, std::int32_t attributes)
    : fd_(ConnectToServer(root)) {
  Send(RawFrame(kRegName, -1, 1, 0, 0, I32(attributes) + Lv(name)));
}

FakeAgent::~FakeAgent() { Close(); }

void FakeAgent::Close() {
  if (fd_ >= 0) {
    close(fd_);
    fd_ = -1;
  }
}

void FakeAgent::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno != EINTR) {
      return;  // the server is gone, which Step finds out
    }
    bytes.remove_prefix(static_cast<std::size_t>(count > 0 ? count : 0));
  }
}

void FakeAgent::Register(std::string_view path, std::int32_t attributes) {
  Send(RawFrame(kReg, -1, 1, 0, 0, I32(attributes) + Lv(path)));
}

void FakeAgent::Unregister(std::string_view path) {
  Send(RawFrame(kUnreg, -1, 1, 0, 0, I32(0) + Lv(path)));
}

void FakeAgent::Module(std::string_view module, std::int32_t type, std::string_view value) {
  Send(RawFrame(kRegYangAttr, -1, 0, 0, 0, I32(type) + Lv(module) + Lv(value)));
}

void FakeAgent::Complete() { Send(RawFrame(kRegCplt, -1, 0, 0, 0, "")); }

void FakeAgent::UnregisterClient() { Send(RawFrame(kUnregClient, 0, 0, 0, 0, "")); }

void FakeAgent::AnnounceModel() {
  for (const auto& [path, attributes] : ModelPaths()) {
    Register(path, attributes);
  }
  Complete();
}

void FakeAgent::AnswerEdit(std::int32_t sid, std::int64_t instance, std::int32_t status) {
  Send(RawFrame(kEditRsp, sid, 0, 0, 0, I32(3) + I64(instance) + I32(status)));
}

void FakeAgent::AnswerFault(std::int32_t sid, std::int32_t code, std::string_view path) {
  Send(RawFrame(kFault, sid, 0, 0, 0, I32(code) + Lv(path)));
}

void FakeAgent::AnswerValues(std::int32_t sid,
                             const std::vector<std::pair<std::string, std::string>>& values) {
  std::string body = I32(9);
  for (const auto& [path, value] : values) {
    body += Lv(path) + Lv(value);
  }
  Send(RawFrame(kFilterRsp, sid, 0, static_cast<std::int32_t>(values.size()), 0, body));
}

void FakeAgent::AnswerIds(std::int32_t sid, const std::vector<std::vector<std::int64_t>>& arrays) {
  std::string body = I32(9);
  for (const auto& ids : arrays) {
    body += I32(static_cast<std::int32_t>(ids.size()));
    for (const std::int64_t id : ids) {
      body += I64(id);
    }
  }
  Send(RawFrame(kGetIdRsp, sid, 4, static_cast<std::int32_t>(arrays.size()), 0, body));
}

void FakeAgent::CloseValues(std::int32_t sid) { Send(RawFrame(kFilterRsp, sid, 0, 0, 0, I32(10))); }

void FakeAgent::CloseIds(std::int32_t sid) { Send(RawFrame(kGetIdRsp, sid, 0, 0, 0, I32(10))); }

bool FakeAgent::Step() {
  bool open = true;
  for (;;) {
    char piece[4096];
    const ssize_t count = recv(fd_, piece, sizeof(piece), MSG_DONTWAIT);
    if (count <= 0) {
      open = count < 0 && (errno == EAGAIN || errno == EINTR);
      break;
    }
    input_.append(piece, static_cast<std::size_t>(count));
  }
  while (input_.size() >= kHeadSize) {
    BodyReader head(input_);
    RawMessage message;
    message.type = head.Int32();
    message.sid = head.Int32();
    message.flag = head.Int32();
    message.entry_cnt = head.Int32();
    message.ds_type = head.Int32();
    const auto length = static_cast<std::size_t>(head.Int32());
    if (input_.size() < kHeadSize + length) {
      break;
    }
    message.body = input_.substr(kHeadSize, length);
    input_.erase(0, kHeadSize + length);
    Handle(message);
  }
  return open;
}

bool FakeAgent::WaitAndStep() {
  pollfd descriptor{fd_, POLLIN, 0};
  return poll(&descriptor, 1, kPatienceMs) > 0 && Step();
}

void FakeAgent::Handle(const RawMessage& message) {
  if (message.type != kEdit && message.type != kFilter && message.type != kGetId) {
    messages_.push_back(message);
    return;
  }
  const std::int32_t packet_type = BodyReader(message.body).Int32();
  if (packet_type == 5 || packet_type == 7 || packet_type == 9) {
    Collect(message);
  } else {
    Execute(message, packet_type);
  }
}

void FakeAgent::Collect(const RawMessage& message) {
  BodyReader fields(message.body);
  fields.Int32();
  for (std::int32_t i = 0; i < message.entry_cnt; ++i) {
    if (message.type == kEdit) {
      collected_.push_back(EditText(&fields));
    } else {
      const bool has_value = fields.Int32() != 0;
      collected_.push_back(TailText(&fields, has_value));
    }
  }
  if (!fields.AtEnd()) {
    throw std::runtime_error("a request's body is longer than its elements");
  }
}

void FakeAgent::Execute(const RawMessage& message, std::int32_t packet_type) {
  Request request{message.type, packet_type, message.ds_type, message.sid,
                  std::exchange(collected_, {})};
  if (request.type == kEdit && packet_type == 11) {
    requests_.push_back(request);  // a commit is not answered
    return;
  }
  if (request.type == kGetId && request.elements.empty()) {
    CloseIds(request.sid);  // a barrier
    return;
  }
  requests_.push_back(request);
  if (answerer_) {
    answerer_(*this, request);
  } else {
    AnswerByDefault(request);
  }
}

void FakeAgent::AnswerByDefault(const Request& request) {
  if (request.type == kEdit) {
    AnswerEdit(request.sid, 0);
  } else if (request.type == kFilter) {
    CloseValues(request.sid);
  } else {
    CloseIds(request.sid);
  }
}

std::vector<std::pair<std::string, std::int32_t>> ModelPaths() {
  return {
      {"system.hostname", 0},
      {"system.dns", 4},
      {"interfaces.interface.{i}.name", 1 | 16},
      {"interfaces.interface.{i}.mtu", 16},
      {"interfaces.interface.{i}.description", 0},
      {"interfaces.interface.{i}.tags", 4},
      {"interfaces.interface.{i}.ipv4.mtu", 16},
      {"interfaces.interface.{i}.address.{i}.ip", 2 | 16},
      {"interfaces.interface.{i}.address.{i}.prefix", 16},
      {"routes.route.{i}.vrf", 1 | 16},
      {"routes.route.{i}.dest", 1 | 16},
      {"routes.route.{i}.metric", 16},
      {"routes.plain.{i}.value", 0},
  };
}

}  // namespace ncdm_test
