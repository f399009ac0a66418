// Reads a received body field by field from its start. Each reader returns true if the field was
// there; after the first that was not, the decoding is over.
#ifndef NETCONF_DM_STUB_BODY_READER_H_
#define NETCONF_DM_STUB_BODY_READER_H_

#include "netconf_dm_util/log.h"

namespace nc {

class BodyReader {
 public:
  explicit BodyReader(nc_dm_msg_t* message) : message_(message) {}

  bool Int32(nc_int32* value) {
    return nc_dm_decode_int32(value, &position_, message_->buf, message_->head.len) == 0;
  }
  bool Int64(nc_int64* value) {
    return nc_dm_decode_int64(value, &position_, message_->buf, message_->head.len) == 0;
  }
  // A new text, the caller's.
  bool Text(char** text) {
    return nc_dm_decode_lv(text, &position_, message_->buf, message_->head.len) == 0;
  }
  // A text into a zeroed buffer for a path.
  bool Path(char* path) {
    return nc_dm_decode_lv_non(path, &position_, message_->buf, message_->head.len) == 0;
  }

  // True if the fields read so far fill the body; otherwise that is logged.
  bool AtEnd() const { return position_ == message_->head.len || Misfit(); }

  // True if the head's count of entries is not negative; otherwise that is logged.
  bool HasEntryCount() const { return message_->head.entry_cnt >= 0 || Misfit(); }
  nc_int32 entry_count() const { return message_->head.entry_cnt; }

 private:
  bool Misfit() const {
    NC_DM_LOG_ERROR("The message error len=%d, decode len=%d!\n", message_->head.len, position_);
    return false;
  }

  nc_dm_msg_t* message_;
  nc_int32 position_ = 0;
};

}  // namespace nc

#endif  // NETCONF_DM_STUB_BODY_READER_H_
