// The platform that the library runs on in a fuzzer: tasks run when the fuzzer says so, and the log
// is formatted and forgotten, so that every text that it is given is read.
#ifndef FUZZ_PLATFORM_H_
#define FUZZ_PLATFORM_H_

#include <stddef.h>

#include "zu_thread.h"

namespace ncdm_fuzz {

zu_thread_master* Master();

// Runs the scheduled task with this function, and returns whether there was one.
bool RunTask(zu_thread_func func);

// Runs one of the tasks that an event loop could run now: an event or a timer, or one whose
// descriptor is ready. False when there is none.
bool RunReadyTask(size_t choice);

// How many tasks are scheduled.
size_t ScheduledTasks();

// Makes every n-th scheduling call fail from now on, the first one after `first` others; 0 ends
// that.
void FailEvery(size_t n, size_t first = 0);

// Does the environment ask (NC_DM_LOG) to see what the library logs: for looking into a finding.
bool ShallLog();

}  // namespace ncdm_fuzz

// Ends the program when a condition that must hold does not, which is a finding.
#define NCDM_FUZZ_CHECK(condition) \
  if (!(condition)) ncdm_fuzz::Fail(__FILE__, __LINE__, #condition)

namespace ncdm_fuzz {
[[noreturn]] void Fail(const char* file, int line, const char* what);
}  // namespace ncdm_fuzz

#endif  // FUZZ_PLATFORM_H_
