// The clock around the application's callbacks.
#ifndef NETCONF_DM_KERNEL_CALL_TIMER_H_
#define NETCONF_DM_KERNEL_CALL_TIMER_H_

#include <sys/time.h>

#include "netconf_dm_kernel/context.h"

namespace nc {

// Adds the time of its scope, in seconds, to one of the context's totals while the timing bit is
// set.
class CallTimer {
 public:
  explicit CallTimer(double* total)
      : total_((g_nc_dm_agent_dbg & NC_DM_DBG_TIMING) != 0 ? total : nullptr) {
    if (total_ != nullptr) gettimeofday(&begin_, nullptr);
  }
  CallTimer(const CallTimer&) = delete;
  CallTimer& operator=(const CallTimer&) = delete;
  ~CallTimer() {
    if (total_ == nullptr) return;
    timeval end;
    gettimeofday(&end, nullptr);
    *total_ += static_cast<double>(end.tv_sec - begin_.tv_sec) +
               static_cast<double>(end.tv_usec - begin_.tv_usec) / 1000000.0;
  }

 private:
  double* total_;
  timeval begin_{};
};

template <typename Call>
auto Timed(double* total, Call call) {
  const CallTimer timer(total);
  return call();
}

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_CALL_TIMER_H_
