// The body of a message as it grows.
#ifndef NETCONF_DM_STUB_BODY_WRITER_H_
#define NETCONF_DM_STUB_BODY_WRITER_H_

#include <cstring>
#include <string_view>

#include "netconf_dm_kernel/records.h"

namespace nc {

// Writes a body field by field from its start. The caller sees to the room.
class BodyWriter {
 public:
  explicit BodyWriter(nc_dm_msg_t* message) : message_(message) {}

  size_t length() const { return static_cast<size_t>(length_); }

  void Int32(nc_int32 value) { nc_dm_put_int32(message_->buf, &length_, value); }
  void Int64(nc_int64 value) { nc_dm_put_int64(message_->buf, &length_, value); }

  // These two write a NUL behind the text, which the next field overwrites. A null text is an empty
  // one.
  void Text(char* text) {
    nc_dm_lv_str(message_->buf, &length_, text,
                 text == nullptr ? 0 : static_cast<int>(strlen(text)));
  }
  void Text(char* text, size_t longest) {
    nc_dm_lv_str(message_->buf, &length_, text, static_cast<int>(strnlen(text, longest)));
  }
  // A text whose length is known.
  void Text(std::string_view text) {
    const auto size = static_cast<nc_int32>(text.size());
    Int32(size);
    memcpy(message_->buf + length_, text.data(), text.size());
    length_ += size;
  }

  // Leaves room for an integer that is known only later.
  int Reserve() {
    const int position = length_;
    Int32(0);
    return position;
  }
  void Fill(int position, nc_int32 value) { nc_dm_put_int32(message_->buf, &position, value); }

  int Finish(nc_dm_msg_type_t type, nc_int32 flag = 0) {
    message_->head.type = type;
    message_->head.flag = flag;
    message_->head.len = length_;
    return 0;
  }

 private:
  nc_dm_msg_t* message_;
  int length_ = 0;
};

}  // namespace nc

#endif  // NETCONF_DM_STUB_BODY_WRITER_H_
