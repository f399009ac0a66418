#include "server/frame.h"

#include <cstring>
#include <utility>

namespace ncdm::server {
namespace {

template <typename T>
void AppendObject(std::string* bytes, const T& object) {
  const std::size_t offset = bytes->size();
  bytes->resize(offset + sizeof(T));
  std::memcpy(bytes->data() + offset, &object, sizeof(T));
}

template <typename T>
T ObjectAt(std::string_view bytes) {
  T object;
  std::memcpy(&object, bytes.data(), sizeof(T));
  return object;
}

void CheckHead(const nc_dm_msg_head_t& head) {
  if (head.type < NC_DM_MSG_TYPE_FAULT || head.type >= NC_DM_MSG_TYPE_MAX) {
    throw ProtocolError("unknown message type " + std::to_string(head.type));
  }
  if (head.len < 0 || static_cast<std::size_t>(head.len) > kMaxAnswerBody) {
    throw ProtocolError("impossible body length " + std::to_string(head.len));
  }
}

}  // namespace

static_assert(sizeof(nc_dm_msg_head_t) == NC_DM_MSG_HEAD_SIZE);

std::string EncodeFrame(const Frame& frame) {
  nc_dm_msg_head_t head = frame.head;
  head.len = static_cast<nc_int32>(frame.body.size());
  std::string bytes;
  bytes.reserve(sizeof(head) + frame.body.size());
  AppendObject(&bytes, head);
  bytes += frame.body;
  return bytes;
}

BodyWriter& BodyWriter::Int32(std::int32_t value) {
  AppendObject(&body_, value);
  return *this;
}

BodyWriter& BodyWriter::Int64(std::int64_t value) {
  AppendObject(&body_, value);
  return *this;
}

BodyWriter& BodyWriter::Text(std::string_view text) {
  Int32(static_cast<std::int32_t>(text.size()));
  body_ += text;
  return *this;
}

std::string_view BodyReader::Bytes(std::size_t count) {
  if (count > body_.size() - position_) {
    throw ProtocolError("a field of " + std::to_string(count) + " bytes at offset " +
                        std::to_string(position_) + " exceeds the body of " +
                        std::to_string(body_.size()) + " bytes");
  }
  const std::string_view bytes = body_.substr(position_, count);
  position_ += count;
  return bytes;
}

std::int32_t BodyReader::Int32() { return ObjectAt<std::int32_t>(Bytes(sizeof(std::int32_t))); }

std::int64_t BodyReader::Int64() { return ObjectAt<std::int64_t>(Bytes(sizeof(std::int64_t))); }

std::string_view BodyReader::Text() {
  const std::int32_t length = Int32();
  if (length < 0) {
    throw ProtocolError("negative text length " + std::to_string(length));
  }
  return Bytes(static_cast<std::size_t>(length));
}

void BodyReader::ExpectEnd() const {
  if (!at_end()) {
    throw ProtocolError(std::to_string(rest().size()) + " spare bytes behind the last field");
  }
}

void FrameReader::Feed(std::string_view bytes) {
  // What was handed out is dropped here, once a piece, rather than once a frame.
  buffer_.erase(0, position_);
  position_ = 0;
  buffer_ += bytes;
}

std::optional<Frame> FrameReader::Next() {
  const std::string_view unread = std::string_view(buffer_).substr(position_);
  if (unread.size() < sizeof(nc_dm_msg_head_t)) {
    return std::nullopt;
  }
  const auto head = ObjectAt<nc_dm_msg_head_t>(unread);
  CheckHead(head);
  const auto length = static_cast<std::size_t>(head.len);
  if (unread.size() - sizeof(head) < length) {
    return std::nullopt;
  }
  position_ += sizeof(head) + length;
  return Frame{head, std::string(unread.substr(sizeof(head), length))};
}

}  // namespace ncdm::server
