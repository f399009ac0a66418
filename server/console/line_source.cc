#include "server/console/line_source.h"

#include <unistd.h>

#include <array>
#include <cerrno>

namespace ncdm::console {
namespace {

constexpr std::size_t kReadSize = 4096;

std::string PlaceInFile(const std::string& name, int line) {
  return name + ":" + std::to_string(line);
}

}  // namespace

std::optional<std::string> ExpressionSource::Next() {
  if (next_ == expressions_.size()) {
    return std::nullopt;
  }
  return expressions_[next_++];
}

std::string ExpressionSource::Place() const { return "-e " + std::to_string(next_); }

std::optional<std::string> FileSource::Next() {
  std::string line;
  if (!std::getline(*file_, line)) {
    return std::nullopt;
  }
  ++line_;
  return line;
}

std::string FileSource::Place() const { return PlaceInFile(name_, line_); }

std::optional<std::string> DescriptorSource::Next() {
  std::size_t end = buffer_.find('\n');
  while (end == std::string::npos && ReadMore()) {
    end = buffer_.find('\n');
  }
  if (end == std::string::npos && buffer_.empty()) {
    return std::nullopt;
  }
  ++line_;
  std::string line = buffer_.substr(0, end);
  buffer_.erase(0, end == std::string::npos ? end : end + 1);
  return line;
}

bool DescriptorSource::ReadMore() {
  if (at_end_) {
    return false;
  }
  std::array<char, kReadSize> piece{};
  ssize_t count = -1;
  do {
    if (wait_(fd_) != WaitResult::kReady) {
      buffer_.clear();
      at_end_ = true;
      return false;
    }
    count = read(fd_, piece.data(), piece.size());
  } while (count < 0 && (errno == EINTR || errno == EAGAIN));
  if (count <= 0) {
    at_end_ = true;
    return false;
  }
  buffer_.append(piece.data(), static_cast<std::size_t>(count));
  return true;
}

std::string DescriptorSource::Place() const { return PlaceInFile(name_, line_); }

}  // namespace ncdm::console
