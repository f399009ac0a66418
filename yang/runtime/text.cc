#include "text.h"

#include <cstdint>

namespace ncdm::model {
namespace {

// What the first byte of a character says: how many follow, and its own bits.
struct Lead {
  size_t following;
  uint32_t bits;
  uint32_t least;  // a lower character has a shorter form
};

std::optional<Lead> ReadLead(unsigned char byte) {
  if (byte < 0x80) return Lead{0, byte, 0};
  if (byte >= 0xC0 && byte < 0xE0) return Lead{1, byte & 0x1FU, 0x80};
  if (byte >= 0xE0 && byte < 0xF0) return Lead{2, byte & 0x0FU, 0x800};
  if (byte >= 0xF0 && byte < 0xF8) return Lead{3, byte & 0x07U, 0x10000};
  return std::nullopt;
}

bool IsYangCharacter(uint32_t character) {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  if (character >= 0xD800 && character < 0xE000) return false;
  if (character >= 0xFDD0 && character < 0xFDF0) return false;
  return character <= 0x10FFFF && (character & 0xFFFE) != 0xFFFE;
}

}  // namespace

std::optional<size_t> Utf8Length(std::string_view text) {
  size_t length = 0;
  while (!text.empty()) {
    const auto lead = ReadLead(static_cast<unsigned char>(text.front()));
    if (!lead || text.size() <= lead->following) return std::nullopt;
    uint32_t character = lead->bits;
    for (size_t i = 1; i <= lead->following; ++i) {
      const auto byte = static_cast<unsigned char>(text[i]);
      if ((byte & 0xC0U) != 0x80) return std::nullopt;
      character = character << 6 | (byte & 0x3FU);
    }
    if (character < lead->least || !IsYangCharacter(character)) return std::nullopt;
    text.remove_prefix(lead->following + 1);
    ++length;
  }
  return length;
}

}  // namespace ncdm::model
