// Frames and their fields, written from the format alone: the agent's codec is not used here, so
// that a mistake in one end shows in the other.
//
// A frame is a head of six 32-bit numbers (nc_dm_msg_head_t) and `len` bytes of body. Numbers are
// in the host's byte order, fields follow each other without padding, a text is a 32-bit length and
// its bytes.
#ifndef NCDM_SERVER_FRAME_H_
#define NCDM_SERVER_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "netconf_dm_util.h"

namespace ncdm::server {

// What the peer sent breaks the format.
class ProtocolError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The largest body that an agent's receive buffer takes.
inline constexpr std::size_t kMaxRequestBody = NC_DM_RECV_BUF_SIZE - NC_DM_MSG_HEAD_SIZE;
// The largest body that is taken for an answer. Agents send less than 2 KiB; a larger number is a
// lost frame border.
inline constexpr std::size_t kMaxAnswerBody = std::size_t{64} * 1024;

struct Frame {
  nc_dm_msg_head_t head{};
  std::string body;
};

// The bytes of a frame; `len` of the head is the body's size, whatever stands there.
std::string EncodeFrame(const Frame& frame);

// Builds a body field by field.
class BodyWriter {
 public:
  BodyWriter& Int32(std::int32_t value);
  BodyWriter& Int64(std::int64_t value);
  BodyWriter& Text(std::string_view text);

  std::size_t size() const { return body_.size(); }
  std::string Take() { return std::move(body_); }

 private:
  std::string body_;
};

// Reads a body field by field; a field that does not fit throws ProtocolError.
class BodyReader {
 public:
  explicit BodyReader(std::string_view body) : body_(body) {}

  std::int32_t Int32();
  std::int64_t Int64();
  std::string_view Text();

  std::string_view rest() const { return body_.substr(position_); }
  bool at_end() const { return position_ == body_.size(); }
  // Throws unless every byte was read.
  void ExpectEnd() const;

 private:
  std::string_view Bytes(std::size_t count);

  std::string_view body_;
  std::size_t position_ = 0;
};

// Cuts a byte stream, arriving in any pieces, into frames.
class FrameReader {
 public:
  void Feed(std::string_view bytes);
  // The next complete frame, if there is one. Throws ProtocolError for a head that no agent sends;
  // the stream is lost then.
  std::optional<Frame> Next();
  // Bytes that wait for the rest of their frame.
  std::size_t pending() const { return buffer_.size() - position_; }

 private:
  std::string buffer_;
  std::size_t position_ = 0;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_FRAME_H_
