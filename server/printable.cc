#include "server/printable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace ncdm::server {
namespace {

struct Character {
  std::uint32_t code;
  std::size_t size;  // in bytes
};

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

// Lead byte's range, the smallest code that needs as many bytes, and the bits that the lead has.
struct Utf8Form {
  std::size_t size;
  unsigned lead;
  unsigned lead_mask;
  std::uint32_t smallest;
};

constexpr std::array<Utf8Form, 4> kUtf8Forms = {
    {{1, 0x00, 0x80, 0}, {2, 0xc0, 0xe0, 0x80}, {3, 0xe0, 0xf0, 0x800}, {4, 0xf0, 0xf8, 0x10000}}};
constexpr Range kSurrogates{0xd800, 0xdfff};
constexpr std::uint32_t kLastCode = 0x10ffff;

// What is never shown as it is: control characters (those of 8-bit terminals too), marks and
// overrides of direction, line and paragraph separators.
constexpr Range kEscaped[] = {{0x00, 0x1f},     {0x7f, 0x9f},     {0x61c, 0x61c},  {0x200e, 0x200f},
                              {0x2028, 0x202e}, {0x2066, 0x2069}, {0xfeff, 0xfeff}};

bool Contains(const Range& range, std::uint32_t code) {
  return code >= range.first && code <= range.last;
}

// The first character; nothing when the text does not begin with one.
std::optional<Character> FirstCharacter(std::string_view text) {
  const unsigned lead = static_cast<unsigned char>(text.front());
  const auto* form = std::ranges::find_if(kUtf8Forms, [&](const Utf8Form& candidate) {
    return (lead & candidate.lead_mask) == candidate.lead;
  });
  if (form == kUtf8Forms.end() || text.size() < form->size) {
    return std::nullopt;
  }
  std::uint32_t code = lead & ~form->lead_mask;
  for (std::size_t i = 1; i < form->size; ++i) {
    const unsigned byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xc0) != 0x80) {
      return std::nullopt;
    }
    code = code << 6 | (byte & 0x3f);
  }
  const bool is_valid = code >= form->smallest && code <= kLastCode && !Contains(kSurrogates, code);
  return is_valid ? std::optional(Character{code, form->size}) : std::nullopt;
}

std::string Escaped(const char* format, unsigned number) {
  std::array<char, 12> text{};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

std::string Escape(std::uint32_t code) {
  switch (code) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return Escaped(code < 0x80 ? "\\x%02x" : "\\u%04x", code);
  }
}

// `also`: ASCII characters that get a backslash before them.
std::string EscapedText(std::string_view text, std::string_view also) {
  if (also.empty() && std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; })) {
    return std::string(text);
  }
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    const std::optional<Character> character = FirstCharacter(text);
    if (!character) {
      shown += Escaped("\\x%02x", static_cast<unsigned char>(text.front()));
      text.remove_prefix(1);
      continue;
    }
    const std::string_view bytes = text.substr(0, character->size);
    if (std::ranges::any_of(kEscaped,
                            [&](const Range& range) { return Contains(range, character->code); })) {
      shown += Escape(character->code);
    } else {
      shown += also.find(bytes) != std::string_view::npos ? "\\" : "";
      shown += bytes;
    }
    text.remove_prefix(character->size);
  }
  return shown;
}

}  // namespace

std::string Printable(std::string_view text) { return EscapedText(text, ""); }

std::string Quoted(std::string_view text) { return '"' + EscapedText(text, "\"\\") + '"'; }

}  // namespace ncdm::server
