#include "bench/isolated.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

namespace bench {
namespace {

void WriteAll(int fd, const std::vector<double>& values) {
  const char* data = reinterpret_cast<const char*>(values.data());
  std::size_t left = values.size() * sizeof(double);
  while (left > 0) {
    const ssize_t count = write(fd, data, left);
    if (count <= 0) return;
    data += count;
    left -= static_cast<std::size_t>(count);
  }
}

[[noreturn]] void RunChild(int fd, const std::function<std::vector<double>()>& measure) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    WriteAll(fd, measure());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    _exit(1);
  }
  _exit(0);
}

}  // namespace

std::vector<double> RunIsolated(const std::function<std::vector<double>()>& measure) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("cannot make a pipe");
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot start a measurement");
  if (child == 0) {
    close(ends[0]);
    RunChild(ends[1], measure);
  }
  close(ends[1]);
  std::vector<double> values;
  double value = 0;
  while (read(ends[0], &value, sizeof(value)) == static_cast<ssize_t>(sizeof(value))) {
    values.push_back(value);
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error("a measurement ended badly");
  }
  return values;
}

}  // namespace bench
