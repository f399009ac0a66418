#ifndef TESTS_NETCONF_DM_STUB_MESSAGE_H_
#define TESTS_NETCONF_DM_STUB_MESSAGE_H_

#include <stdlib.h>
#include <string.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "netconf_dm_kernel.h"

namespace ncdm_test {

// The bytes of a body, written field by field without the library's help.
class Body {
 public:
  Body& Int32(int32_t value) { return Raw(&value, sizeof(value)); }
  Body& Int64(int64_t value) { return Raw(&value, sizeof(value)); }
  Body& Text(std::string_view text) {
    Int32(static_cast<int32_t>(text.size()));
    return Raw(text.data(), text.size());
  }

  const std::string& bytes() const { return bytes_; }
  size_t size() const { return bytes_.size(); }
  // The first bytes alone.
  Body Cut(size_t size) const {
    Body cut;
    cut.bytes_ = bytes_.substr(0, size);
    return cut;
  }

 private:
  Body& Raw(const void* data, size_t size) {
    bytes_.append(static_cast<const char*>(data), size);
    return *this;
  }

  std::string bytes_;
};

// A received message in memory of exactly its size, so that the address sanitizer sees a byte too
// far.
class Message {
 public:
  explicit Message(const Body& body, int32_t flag = 0, int32_t entry_cnt = 0)
      : message_(static_cast<nc_dm_msg_t*>(calloc(1, sizeof(nc_dm_msg_head_t) + body.size()))) {
    message_->head.flag = flag;
    message_->head.entry_cnt = entry_cnt;
    message_->head.len = static_cast<int32_t>(body.size());
    memcpy(message_->buf, body.bytes().data(), body.size());
  }

  nc_dm_msg_t* get() const { return message_.get(); }
  nc_dm_msg_t* operator->() const { return message_.get(); }

 private:
  struct Free {
    void operator()(nc_dm_msg_t* message) const { free(message); }
  };
  std::unique_ptr<nc_dm_msg_t, Free> message_;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_STUB_MESSAGE_H_
