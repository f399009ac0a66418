// Messages in a stream of bytes (RFC 6242, section 4).
//
// Before and in <hello> a message ends with "]]>]]>". When both sides have announced base:1.1, the
// messages behind the two hellos come in chunks:
//
//   message = 1*chunk "\n##\n"
//   chunk   = "\n#" size "\n" size*OCTET      size: decimal, 1 to 4294967295, no leading zero
#ifndef NCDM_SERVER_NETCONF_FRAMING_H_
#define NCDM_SERVER_NETCONF_FRAMING_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ncdm::netconf {

inline constexpr std::size_t kMaxMessageBytes = std::size_t{16} * 1024 * 1024;

enum class Framing { kEndOfMessage, kChunked };

// The stream makes no sense any more: the session has to end.
class FramingError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A message is larger than kMaxMessageBytes. The session has to end here too.
class MessageTooBig : public FramingError {
  using FramingError::FramingError;
};

// Cuts what arrives, in pieces of any size, into messages. After an exception it is of no more use.
class MessageReader {
 public:
  void Append(std::string_view bytes) { input_.append(bytes); }
  // The next complete message. Throws FramingError as soon as what is there cannot become one.
  std::optional<std::string> Next();
  // From the next message on.
  void set_framing(Framing framing) { framing_ = framing; }

  // Bytes that are held: of a message that is incomplete, and of those behind it.
  std::size_t held() const { return message_.size() + (input_.size() - position_); }

 private:
  std::optional<std::string> NextDelimited();
  std::optional<std::string> NextChunked();
  std::string_view Rest() const { return std::string_view(input_).substr(position_); }
  void Take(std::size_t count);
  void TakeChunkData();

  Framing framing_ = Framing::kEndOfMessage;
  std::string input_;
  std::size_t position_ = 0;      // in input_: what is before it has been taken
  std::size_t searched_ = 0;      // bytes behind position_ in which no delimiter begins
  std::string message_;           // data of the chunks so far
  std::uint64_t chunk_left_ = 0;  // data that the current chunk still lacks
};

// A message as it goes out.
std::string Framed(Framing framing, std::string_view message);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_FRAMING_H_
