// A message as the library receives it.
#ifndef TESTS_NETCONF_DM_STUB_MESSAGE_H_
#define TESTS_NETCONF_DM_STUB_MESSAGE_H_

#include <stdlib.h>
#include <string.h>

#include <cstdint>
#include <memory>

#include "netconf_dm_kernel.h"
#include "support/message_body.h"

namespace ncdm_test {

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
