#include "server/netconf/framing.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace ncdm::netconf {
namespace {

constexpr std::string_view kDelimiter = "]]>]]>";
constexpr std::string_view kEndOfChunks = "\n##\n";
constexpr std::string_view kChunkStart = "\n#";
constexpr std::size_t kMaxSizeDigits = 10;
constexpr std::uint64_t kMaxChunk = std::numeric_limits<std::uint32_t>::max();

// What has been taken is dropped once it is this much and half of what is held.
constexpr std::size_t kDropTaken = 65536;

[[noreturn]] void RefuseSize() {
  throw MessageTooBig("a message of more than " + std::to_string(kMaxMessageBytes) + " bytes");
}

// "\n#" size "\n", or with size 0 "\n##\n".
struct ChunkHeader {
  std::size_t length = 0;  // in bytes; 0: more is needed
  std::uint64_t size = 0;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// True if `text` is as much as is there of `whole`.
bool IsBeginning(std::string_view text, std::string_view whole) {
  const std::size_t common = std::min(text.size(), whole.size());
  return text.substr(0, common) == whole.substr(0, common);
}

ChunkHeader ParseChunkSize(std::string_view text) {
  ChunkHeader header;
  std::size_t end = kChunkStart.size();
  while (end < text.size() && IsDigit(text[end])) {
    header.size = header.size * 10 + static_cast<std::uint64_t>(text[end] - '0');
    if (header.size == 0 || ++end - kChunkStart.size() > kMaxSizeDigits) {
      throw FramingError("a chunk whose size is no number from 1 to 4294967295");
    }
  }
  if (end == text.size()) {
    return {};
  }
  if (text[end] != '\n' || end == kChunkStart.size() || header.size > kMaxChunk) {
    throw FramingError("a chunk whose size is no number from 1 to 4294967295");
  }
  header.length = end + 1;
  return header;
}

ChunkHeader ParseChunkHeader(std::string_view text) {
  if (!IsBeginning(text, kChunkStart)) {
    throw FramingError("no chunk where one must begin");
  }
  if (text.size() <= kChunkStart.size()) {
    return {};
  }
  if (text[kChunkStart.size()] != '#') {
    return ParseChunkSize(text);
  }
  if (!IsBeginning(text, kEndOfChunks)) {
    throw FramingError("no line feed behind the last chunk");
  }
  return {text.size() < kEndOfChunks.size() ? 0 : kEndOfChunks.size(), 0};
}

}  // namespace

std::optional<std::string> MessageReader::Next() {
  return framing_ == Framing::kChunked ? NextChunked() : NextDelimited();
}

std::optional<std::string> MessageReader::NextDelimited() {
  const std::size_t end = Rest().find(kDelimiter, searched_);
  if (end == std::string_view::npos) {
    // The first bytes of a delimiter may be the last that are there.
    const std::size_t size = Rest().size();
    searched_ = size - std::min(size, kDelimiter.size() - 1);
    if (searched_ > kMaxMessageBytes) {
      RefuseSize();
    }
    return std::nullopt;
  }
  if (end > kMaxMessageBytes) {
    RefuseSize();
  }
  std::string message(Rest().substr(0, end));
  Take(end + kDelimiter.size());
  searched_ = 0;
  return message;
}

std::optional<std::string> MessageReader::NextChunked() {
  for (;;) {
    TakeChunkData();
    if (chunk_left_ > 0) {
      return std::nullopt;
    }
    const ChunkHeader header = ParseChunkHeader(Rest());
    if (header.length == 0) {
      return std::nullopt;
    }
    Take(header.length);
    if (header.size == 0) {
      if (message_.empty()) {
        throw FramingError("a message without a chunk");
      }
      return std::exchange(message_, {});
    }
    if (header.size > kMaxMessageBytes - message_.size()) {
      RefuseSize();
    }
    chunk_left_ = header.size;
  }
}

void MessageReader::TakeChunkData() {
  const std::string_view data = Rest().substr(0, chunk_left_);
  message_.append(data);
  chunk_left_ -= data.size();
  Take(data.size());
}

void MessageReader::Take(std::size_t count) {
  position_ += count;
  if (position_ == input_.size()) {
    input_.clear();
    position_ = 0;
  } else if (position_ >= kDropTaken && position_ >= input_.size() / 2) {
    input_.erase(0, position_);
    position_ = 0;
  }
}

std::string Framed(Framing framing, std::string_view message) {
  if (framing == Framing::kEndOfMessage) {
    return std::string(message).append(kDelimiter);
  }
  std::string framed;
  framed.reserve(message.size() + 32);
  framed.append(kChunkStart).append(std::to_string(message.size())).append("\n");
  framed.append(message).append(kEndOfChunks);
  return framed;
}

}  // namespace ncdm::netconf
