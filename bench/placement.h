// On which cores the two ends of a measurement run.
#ifndef BENCH_PLACEMENT_H_
#define BENCH_PLACEMENT_H_

#include <sys/types.h>

#include <string_view>

namespace bench {

enum class Placement {
  kOneCore,   // both ends on the same core: what is done, without wake-ups across cores
  kUnpinned,  // where the system puts them
};

std::string_view NameOf(Placement placement);

// Moves a process; 0 is the caller.
void Place(pid_t process, Placement placement);

}  // namespace bench

#endif  // BENCH_PLACEMENT_H_
