#include "tests/server/console_process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace ncdm_test {
namespace {

constexpr std::chrono::seconds kPatience{60};
constexpr int kStepMs = 1000;

struct Pipe {
  int read_end = -1;
  int write_end = -1;
};

Pipe NewPipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  return {ends[0], ends[1]};
}

[[noreturn]] void Become(const std::string& root, const std::vector<std::string>& arguments) {
  setenv("TMPDIR", root.c_str(), 1);
  setenv("HOME", root.c_str(), 1);
  setenv("TERM", "xterm", 1);
  std::vector<char*> argv{const_cast<char*>("ncdm-console")};
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);
  execv(NCDM_CONSOLE_PROGRAM, argv.data());
  _exit(127);
}

// Appends what can be read; false at the end.
bool ReadSome(int fd, std::string* text) {
  std::array<char, 4096> piece{};
  const ssize_t count = read(fd, piece.data(), piece.size());
  if (count > 0) {
    text->append(piece.data(), static_cast<std::size_t>(count));
  }
  return count > 0 || (count < 0 && errno == EINTR);
}

void CloseAndForget(int* fd) {
  if (*fd >= 0) {
    close(*fd);
    *fd = -1;
  }
}

}  // namespace

ConsoleProcess::ConsoleProcess(const std::string& root, std::vector<std::string> arguments,
                               Input input) {
  if (input == Input::kTerminal) {
    int terminal = -1;
    pid_ = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid_ == 0) {
      Become(root, arguments);
    }
    fcntl(terminal, F_SETFD, FD_CLOEXEC);
    input_ = terminal;
    output_fd_ = dup(terminal);
    return;
  }
  const Pipe in = NewPipe();
  const Pipe out = NewPipe();
  const Pipe err = NewPipe();
  pid_ = fork();
  if (pid_ == 0) {
    dup2(in.read_end, STDIN_FILENO);
    dup2(out.write_end, STDOUT_FILENO);
    dup2(err.write_end, STDERR_FILENO);
    Become(root, arguments);
  }
  close(in.read_end);
  close(out.write_end);
  close(err.write_end);
  input_ = in.write_end;
  output_fd_ = out.read_end;
  errors_fd_ = err.read_end;
  if (input == Input::kNone) {
    CloseInput();
  }
}

ConsoleProcess::~ConsoleProcess() {
  CloseInput();
  CloseAndForget(&output_fd_);
  CloseAndForget(&errors_fd_);
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

void ConsoleProcess::Write(const std::string& text) {
  if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("the console does not take its input");
  }
}

void ConsoleProcess::CloseInput() { CloseAndForget(&input_); }

void ConsoleProcess::Signal(int number) { kill(pid_, number); }

bool ConsoleProcess::Step(FakeAgent* agent) {
  std::array<pollfd, 3> descriptors{pollfd{output_fd_, POLLIN, 0}, pollfd{errors_fd_, POLLIN, 0},
                                    pollfd{agent == nullptr ? -1 : agent->fd(), POLLIN, 0}};
  poll(descriptors.data(), descriptors.size(), kStepMs);
  if (descriptors[0].revents != 0 && !ReadSome(output_fd_, &output_)) {
    CloseAndForget(&output_fd_);
  }
  if (descriptors[1].revents != 0 && !ReadSome(errors_fd_, &errors_)) {
    CloseAndForget(&errors_fd_);
  }
  if (descriptors[2].revents != 0 && !agent->Step()) {
    agent->Close();
  }
  return output_fd_ >= 0 || errors_fd_ >= 0;
}

bool ConsoleProcess::ServeUntil(FakeAgent* agent, const std::string& text) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (output_.find(text) == std::string::npos) {
    if (!Step(agent) || std::chrono::steady_clock::now() > deadline) {
      return false;
    }
  }
  return true;
}

int ConsoleProcess::Serve(FakeAgent* agent) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (Step(agent)) {
    if (std::chrono::steady_clock::now() > deadline) {
      return -1;
    }
  }
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace ncdm_test
