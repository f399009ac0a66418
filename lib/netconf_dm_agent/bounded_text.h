// A text in a caller's buffer of fixed size.
#ifndef NETCONF_DM_AGENT_BOUNDED_TEXT_H_
#define NETCONF_DM_AGENT_BOUNDED_TEXT_H_

#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

#include "netconf_dm_util.h"

namespace nc {

class BoundedText {
 public:
  // Takes over the text that stands in the buffer.
  BoundedText(char* buffer, size_t size)
      : buffer_(buffer), size_(size), len_(strnlen(buffer, size - 1)) {}

  size_t len() const { return len_; }
  void Cut(size_t len) { buffer_[len_ = len] = '\0'; }

  // Appends all of it or nothing.
  [[nodiscard]] bool Append(std::string_view text) {
    if (text.size() >= size_ - len_) return false;
    memcpy(buffer_ + len_, text.data(), text.size());
    Cut(len_ + text.size());
    return true;
  }

  [[nodiscard]] bool AppendId(nc_int64 id) {
    char digits[std::numeric_limits<nc_int64>::digits10 + 2];
    const auto result = std::to_chars(digits, digits + sizeof digits, id);
    return Append({digits, static_cast<size_t>(result.ptr - digits)}) && Append(".");
  }

 private:
  char* buffer_;
  size_t size_;
  size_t len_;
};

}  // namespace nc

#endif  // NETCONF_DM_AGENT_BOUNDED_TEXT_H_
