// The measured application, a process of its own: registers and fills the model that its arguments
// describe and serves the server until SIGTERM. The times in its reports are processor time.
//
// It writes lines "key value" to the descriptor of --report: what the start cost, "ready", and at
// the end what the hold probe found.

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "bench/agent_model.h"
#include "bench/clock.h"
#include "bench/hold_probe.h"
#include "netconf_dm_kernel.h"
#include "zu_thread.h"

namespace bench {
namespace {

zu_thread_master* g_loop = nullptr;

// Functions of their own, with names that a profiler can be told.
extern "C" __attribute__((noinline)) int bench_serve(zu_thread_master* loop) {
  return zu_thread_master_run(loop);
}
extern "C" __attribute__((noinline)) int bench_register() { return RegisterModel(); }

std::int64_t ResidentBytes() {
  long pages = 0;
  if (FILE* file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%*d %ld", &pages) != 1) pages = 0;
    std::fclose(file);
  }
  return std::int64_t{pages} * sysconf(_SC_PAGESIZE);
}

class Report {
 public:
  explicit Report(int fd) : file_(fd < 0 ? nullptr : fdopen(fd, "w")) {}
  void Put(const char* key, std::int64_t value) {
    if (file_ == nullptr) return;
    std::fprintf(file_, "%s %lld\n", key, static_cast<long long>(value));
    std::fflush(file_);
  }

 private:
  FILE* file_;
};

// The registration task runs a second after the start. What does not measure it need not wait.
void RunRegistrationNow() {
  zu_thread_cancel(g_nc_dm_agent_manage.tt_reg);
  g_nc_dm_agent_manage.tt_reg = nullptr;
  nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 0, 1);
}

std::int64_t g_registration_ns = 0;

int TimedRegistration() {
  const std::int64_t start = NanosecondsOf(CLOCK_THREAD_CPUTIME_ID);
  const int result = bench_register();
  g_registration_ns = NanosecondsOf(CLOCK_THREAD_CPUTIME_ID) - start;
  return result;
}

int Run(const Model& model, int report_fd) {
  Report report(report_fd);
  SetModel(model);
  g_loop = zu_thread_master_create();
  struct sigaction stop {};
  stop.sa_handler = [](int) { zu_thread_master_stop(g_loop); };
  sigaction(SIGTERM, &stop, nullptr);

  if (nc_dm_agent_init("bench", g_loop, TimedRegistration, nullptr) != 0) return 1;
  report.Put("registration_ns", g_registration_ns);
  const std::int64_t resident = ResidentBytes();
  const std::int64_t start = NanosecondsOf(CLOCK_THREAD_CPUTIME_ID);
  if (!Populate()) return 1;
  report.Put("populate_ns", NanosecondsOf(CLOCK_THREAD_CPUTIME_ID) - start);
  report.Put("resident_bytes", ResidentBytes() - resident);
  report.Put("nodes", g_nc_agent_dm.total_node);
  if (!model.slow_start) RunRegistrationNow();
  std::unique_ptr<HoldProbe> probe;
  if (model.hold_probe) probe = std::make_unique<HoldProbe>("system.slot.1.");
  report.Put("ready", 1);
  const int result = bench_serve(g_loop);
  if (probe != nullptr) {
    report.Put("hold_ns", probe->longest_ns());
    report.Put("hold_wall_ns", probe->longest_wall_ns());
    report.Put("hold_calls", probe->calls());
  }
  return result;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  // Not left behind by a parent that was killed.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  int report_fd = -1;
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::string kReport = "--report=";
    if (argument.starts_with(kReport)) {
      report_fd = std::atoi(argument.c_str() + kReport.size());
    } else {
      arguments.push_back(argument);
    }
  }
  try {
    const int result = bench::Run(bench::Model::FromArguments(arguments), report_fd);
    // The tree may be large, and the system is quicker with it.
    std::fflush(nullptr);
    _exit(result);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench-agent: %s\n", error.what());
    return 2;
  }
}
