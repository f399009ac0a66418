#include "printk_syslog.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string_view>

#include "log_output.h"

namespace {

// Longer texts are cut: a log that loses a tail is better than one that needs memory to write.
class Text {
 public:
  Text(const char* format, va_list args) {
    const int length = vsnprintf(text_, sizeof(text_), format, args);
    length_ = std::clamp<size_t>(length < 0 ? 0 : static_cast<size_t>(length), 0, zu::kLongestText);
  }
  const char* c_str() const { return text_; }
  std::string_view view() const { return {text_, length_}; }

 private:
  char text_[zu::kLongestText + 1] = "";
  size_t length_;
};

// Where a text goes, and how a reader there learns that some are missing. False: not without
// waiting.
class Destination {
 public:
  Destination(int level, const char* module, const char* kind)
      : level_(LOG_PRI(level)), module_(module), kind_(kind) {
    const char* wanted = getenv("NC_DM_LOG");
    is_stderr_ = wanted != nullptr && std::string_view(wanted) == "stderr";
  }

  bool Write(const Text& text) const {
    if (is_stderr_) return zu::WriteAtOnce(STDERR_FILENO, text.view());
    if (!zu::SyslogTakesRecord()) return false;
    syslog(level_, "%s/%s: %s", module_, kind_, text.c_str());
    return true;
  }

  bool WriteLoss(unsigned long count) const {
    char text[80];
    snprintf(text, sizeof(text), "\n[%lu texts of the log were lost: it took nothing]\n", count);
    if (is_stderr_) return zu::WriteAtOnce(STDERR_FILENO, text);
    if (!zu::SyslogTakesRecord()) return false;
    syslog(LOG_WARNING, "%s/%s: %lu texts of the log were lost: it took nothing", module_, kind_,
           count);
    return true;
  }

 private:
  int level_;
  const char* module_;
  const char* kind_;
  bool is_stderr_;
};

// Texts that no destination took, since somebody was last told.
std::atomic<unsigned long> g_lost{0};

void WriteOrCount(const Destination& destination, const Text& text) {
  const unsigned long lost = g_lost.exchange(0);
  if (lost != 0 && !destination.WriteLoss(lost)) {
    g_lost += lost + 1;
  } else if (!destination.Write(text)) {
    ++g_lost;
  }
}

}  // namespace

void printk_syslog_ext(int level, const char* module, const char* kind, log_printk_type_e,
                       const char* format, ...) {
  const int saved_errno = errno;
  va_list args;
  va_start(args, format);
  const Text text(format, args);
  va_end(args);
  WriteOrCount(Destination(level, module, kind), text);
  errno = saved_errno;
}
