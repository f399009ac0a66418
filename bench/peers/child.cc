#include "bench/peers/child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace bench::peers {
namespace {

constexpr std::size_t kShownOfLog = 2000;

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

[[noreturn]] void Execute(const std::vector<char*>& arguments,
                          const Child::Environment& environment, const std::string& log) {
  // Not left behind by a parent that was killed.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  if (output >= 0) {
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
  }
  execvp(arguments[0], arguments.data());
  _exit(127);
}

// True once it has ended.
bool HasEnded(pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; }

}  // namespace

Folder::Folder() : path_((std::filesystem::temp_directory_path() / "ncdm-peers-XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) Fail("cannot make a directory");
}

Folder::~Folder() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

Child::Child(std::vector<std::string> command, const Environment& environment,
             const std::string& log)
    : program_(command[0]), log_(log) {
  std::vector<char*> arguments;
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  pid_ = fork();
  if (pid_ < 0) Fail("cannot start " + program_);
  if (pid_ == 0) Execute(arguments, environment, log_);
}

Child::~Child() {
  if (pid_ < 0) return;
  kill(pid_, SIGTERM);
  for (int tenths = 0; tenths < 50; ++tenths) {
    if (HasEnded(pid_)) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void Child::CheckRuns() const {
  if (pid_ >= 0 && !HasEnded(pid_)) return;
  pid_ = -1;
  std::ifstream file(log_);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (text.size() > kShownOfLog) text.erase(0, text.size() - kShownOfLog);
  throw std::runtime_error(program_ + " has ended: " + text);
}

std::string BesideThis(const std::string& name) {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
}

}  // namespace bench::peers
