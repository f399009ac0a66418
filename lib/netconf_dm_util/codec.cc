// Fields of a message body: integers in the byte order of the machine, on which both ends run, and
// strings behind their length. Readers check each length and position against the body; writers
// leave it to their callers that there is room.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

constexpr int kLengthSize = sizeof(nc_int32);

template <typename Integer>
void Put(char* buf, int* offset, Integer value) {
  memcpy(buf + *offset, &value, sizeof(value));
  *offset += static_cast<int>(sizeof(value));
}

void LogMisfit(int64_t end, nc_int32 msg_len) {
  constexpr int64_t kMax = std::numeric_limits<int>::max();
  NC_DM_LOG_ERROR("The message error len=%d, decode len=%d!\n", msg_len,
                  static_cast<int>(std::min(end, kMax)));
}

// True if there is a field of `bytes` bytes at `position`. Lengths come from the peer, so the end
// is reckoned in 64 bits, and a negative length fits nowhere.
bool Fits(nc_int32 position, nc_int32 bytes, nc_int32 msg_len) {
  const int64_t end = int64_t{position} + bytes;
  if (position >= 0 && bytes >= 0 && end <= msg_len) return true;
  LogMisfit(end, msg_len);
  return false;
}

template <typename Integer>
int DecodeInteger(Integer* data, nc_int32* decode_len, const char* msg, nc_int32 msg_len) {
  constexpr auto kSize = static_cast<nc_int32>(sizeof(Integer));
  if (!Fits(*decode_len, kSize, msg_len)) return -1;
  memcpy(data, msg + *decode_len, sizeof(Integer));
  *decode_len += kSize;
  return 0;
}

// The length of a string, with the position left behind it.
int DecodeLength(nc_int32* length, nc_int32* decode_len, const char* msg, nc_int32 msg_len) {
  if (!Fits(*decode_len, kLengthSize, msg_len)) return -1;
  *length = get_int32(msg + *decode_len);
  *decode_len += kLengthSize;
  return 0;
}

}  // namespace

void nc_dm_put_int32(char* buf, int* offset, nc_int32 value) { Put(buf, offset, value); }

void nc_dm_put_int64(char* buf, int* offset, nc_int64 value) { Put(buf, offset, value); }

void nc_dm_lv_str(char* buf, int* offset, char* value, int value_len) {
  // A text longer than its announced length is cut there, so that the stored length never promises
  // more than was written.
  const size_t length =
      value == nullptr || value_len <= 0 ? 0 : strnlen(value, static_cast<size_t>(value_len));
  Put(buf, offset, static_cast<nc_int32>(length));
  if (length > 0) memcpy(buf + *offset, value, length);
  *offset += static_cast<int>(length);
  buf[*offset] = '\0';
}

int nc_dm_decode_int32(nc_int32* data, nc_int32* decode_len, char* msg, nc_int32 msg_len) {
  return DecodeInteger(data, decode_len, msg, msg_len);
}

int nc_dm_decode_int64(nc_int64* data, nc_int32* decode_len, char* msg, nc_int32 msg_len) {
  return DecodeInteger(data, decode_len, msg, msg_len);
}

int nc_dm_decode_str(char** data, nc_int32* decode_len, nc_int32 data_len, char* msg,
                     nc_int32 msg_len) {
  if (!Fits(*decode_len, data_len, msg_len)) return -1;
  const auto length = static_cast<size_t>(data_len);
  auto* text = static_cast<char*>(malloc(length + 1));
  if (text == nullptr) return nc::Refuse("Failed to malloc for *data!\n");
  memcpy(text, msg + *decode_len, length);
  text[length] = '\0';
  *decode_len += data_len;
  *data = text;
  return 0;
}

int nc_dm_decode_lv(char** data, nc_int32* decode_len, char* msg, nc_int32 msg_len) {
  nc_int32 length = 0;
  if (DecodeLength(&length, decode_len, msg, msg_len) != 0) return -1;
  return nc_dm_decode_str(data, decode_len, length, msg, msg_len);
}

int nc_dm_decode_lv_non(char* data, nc_int32* decode_len, char* msg, nc_int32 msg_len) {
  nc_int32 length = 0;
  if (DecodeLength(&length, decode_len, msg, msg_len) != 0) return -1;
  if (!Fits(*decode_len, length, msg_len)) return -1;
  // The buffer has an end, too.
  if (length > NC_DM_MAX_PATH_LEN) {
    LogMisfit(*decode_len + length, msg_len);
    return -1;
  }
  memcpy(data, msg + *decode_len, static_cast<size_t>(length));
  *decode_len += length;
  return 0;
}

nc_int32 get_int32(const void* ptr) {
  nc_int32 value;
  memcpy(&value, ptr, sizeof(value));
  return value;
}

char* nc_dm_copy_str(const char* s) { return s == nullptr ? nullptr : strdup(s); }

nc_dm_msg_t* nc_dm_agent_init_out_msg(char* buf, int size) {
  if (buf == nullptr || size < 1) return nullptr;
  memset(buf, 0, static_cast<size_t>(size));
  return reinterpret_cast<nc_dm_msg_t*>(buf);
}
