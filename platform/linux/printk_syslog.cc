#include "printk_syslog.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

#include <string_view>

namespace {

// Longer texts are cut: a log that loses a tail is better than one that needs memory to write.
constexpr int kLongestRecord = 2048;

bool WantsStandardError() {
  const char* destination = getenv("NC_DM_LOG");
  return destination && std::string_view(destination) == "stderr";
}

}  // namespace

void printk_syslog_ext(int level, const char* module, const char* kind, log_printk_type_e,
                       const char* format, ...) {
  const int saved_errno = errno;
  va_list args;
  va_start(args, format);
  if (WantsStandardError()) {
    vfprintf(stderr, format, args);
  } else {
    char text[kLongestRecord];
    vsnprintf(text, sizeof(text), format, args);
    syslog(LOG_PRI(level), "%s/%s: %s", module, kind, text);
  }
  va_end(args);
  errno = saved_errno;
}
