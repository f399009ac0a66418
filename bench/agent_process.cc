#include "bench/agent_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace bench {
namespace {

constexpr int kStartTimeoutMs = 300'000;
constexpr int kConnectTimeoutMs = 10'000;

std::vector<std::string> g_wrapper;

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

std::string NewRoot() {
  std::string root = (std::filesystem::temp_directory_path() / "ncdm-bench-XXXXXX").string();
  if (mkdtemp(root.data()) == nullptr) Fail("cannot make a directory");
  return root;
}

std::string AgentProgram() {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "bench-agent").string();
}

bool WaitReadable(int fd, int timeout_ms) {
  pollfd waiting{fd, POLLIN, 0};
  int result = 0;
  do {
    result = poll(&waiting, 1, timeout_ms);
  } while (result < 0 && errno == EINTR);
  return result > 0;
}

}  // namespace

void SetAgentWrapper(std::vector<std::string> command) { g_wrapper = std::move(command); }

AgentProcess::AgentProcess(const Model& model) : model_(model), root_(NewRoot()) {
  listener_.emplace(root_);
  Start();
  Accept();
  if (!ReadReports(true))
    throw std::runtime_error("bench-agent did not start: " + model.ToString());
}

AgentProcess::~AgentProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  listener_.reset();
  std::error_code error;
  std::filesystem::remove_all(root_, error);
}

void AgentProcess::Start() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) Fail("cannot make a pipe");
  report_ = ncdm::server::Descriptor(ends[0]);
  const ncdm::server::Descriptor child_end(ends[1]);

  std::vector<std::string> command = g_wrapper;
  command.push_back(AgentProgram());
  for (const std::string& argument : model_.ToArguments()) command.push_back(argument);
  command.push_back("--report=" + std::to_string(ends[1]));
  std::vector<char*> arguments;
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);

  pid_ = fork();
  if (pid_ < 0) Fail("cannot start bench-agent");
  if (pid_ == 0) {
    fcntl(ends[1], F_SETFD, 0);
    setenv("TMPDIR", root_.c_str(), 1);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
}

void AgentProcess::Accept() {
  if (!WaitReadable(listener_->fd(), link_ ? kConnectTimeoutMs : kStartTimeoutMs)) {
    throw std::runtime_error("bench-agent does not connect");
  }
  ncdm::server::Descriptor socket(accept4(listener_->fd(), nullptr, nullptr, SOCK_CLOEXEC));
  if (socket.get() < 0) Fail("cannot accept bench-agent");
  link_.emplace(std::move(socket));
}

bool AgentProcess::ReadReports(bool until_ready) {
  while (!until_ready || Reported("ready") == 0) {
    if (!WaitReadable(report_.get(), kStartTimeoutMs)) return false;
    char buffer[512];
    const ssize_t count = read(report_.get(), buffer, sizeof(buffer));
    if (count <= 0) return false;
    report_rest_.append(buffer, static_cast<std::size_t>(count));
    std::size_t end = 0;
    while ((end = report_rest_.find('\n')) != std::string::npos) {
      const std::string line = report_rest_.substr(0, end);
      report_rest_.erase(0, end + 1);
      const std::size_t space = line.find(' ');
      reported_[line.substr(0, space)] = std::stoll(line.substr(space + 1));
    }
  }
  return true;
}

std::int64_t AgentProcess::Reported(const std::string& key) const {
  const auto found = reported_.find(key);
  return found == reported_.end() ? 0 : found->second;
}

void AgentProcess::Reconnect() {
  shutdown(link_->fd(), SHUT_RDWR);
  link_.emplace(ncdm::server::Descriptor());
  Accept();
}

void AgentProcess::Stop() {
  kill(pid_, SIGTERM);
  ReadReports(false);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace bench
