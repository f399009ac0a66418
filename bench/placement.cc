#include "bench/placement.h"

#include <sched.h>

#include <cerrno>
#include <system_error>

namespace bench {
namespace {

// What this process was allowed when it started.
cpu_set_t AllowedCores() {
  static const cpu_set_t allowed = [] {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    if (sched_getaffinity(0, sizeof(cores), &cores) != 0) CPU_SET(0, &cores);
    return cores;
  }();
  return allowed;
}

// The last one: the first is where a small machine handles its interrupts.
cpu_set_t OneCore() {
  const cpu_set_t allowed = AllowedCores();
  int last = 0;
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (CPU_ISSET(core, &allowed)) last = core;
  }
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(last, &one);
  return one;
}

}  // namespace

std::string_view NameOf(Placement placement) {
  return placement == Placement::kOneCore ? "one-core" : "unpinned";
}

void Place(pid_t process, Placement placement) {
  AllowedCores();
  const cpu_set_t cores = placement == Placement::kOneCore ? OneCore() : AllowedCores();
  if (sched_setaffinity(process, sizeof(cores), &cores) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot place a process");
  }
}

}  // namespace bench
