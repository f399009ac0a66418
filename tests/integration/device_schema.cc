#include "device_schema.h"

#include <algorithm>

namespace ncdm_test {

std::vector<std::string> Names(std::string_view path) {
  std::vector<std::string> names;
  while (!path.empty()) {
    const std::size_t dot = std::min(path.find('.'), path.size());
    const std::string_view name = path.substr(0, dot);
    if (name != "{i}") names.emplace_back(name);
    path.remove_prefix(std::min(dot + 1, path.size()));
  }
  return names;
}

std::string PlainPath(std::string_view path) {
  std::string plain;
  for (const std::string& name : Names(path)) {
    if (!plain.empty()) plain += '.';
    plain += name;
  }
  return plain;
}

int Depth(std::string_view path) { return static_cast<int>(std::ranges::count(path, '{')); }

std::string ListOf(std::string_view path) {
  const std::size_t marker = path.rfind(".{i}");
  return marker == std::string_view::npos ? std::string() : PlainPath(path.substr(0, marker));
}

std::int64_t DeviceId(std::string_view where, std::string_view key) {
  std::uint64_t hash = 14695981039346656037U;
  const auto mix = [&](std::string_view text) {
    for (const char c : text) {
      hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
  };
  mix(where);
  mix("\n");
  mix(key);
  return static_cast<std::int64_t>(hash >> 24) + 1;
}

std::string JoinKeys(std::string_view first, std::string_view second) {
  return std::string(first) + "/" + std::string(second);
}

}  // namespace ncdm_test
