#include "base64.h"

#include <algorithm>
#include <cstdint>

namespace ncdm::model {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

bool DecodeBase64(std::string_view text, ncdm_binary_t& binary) {
  if (text.size() % 4 != 0) return false;
  size_t padding = 0;
  while (padding < 2 && !text.empty() && text.back() == '=') {
    text.remove_suffix(1);
    ++padding;
  }
  if (text.size() * 3 / 4 > NCDM_BINARY_SIZE) return false;
  binary.size = 0;
  uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const size_t digit = kAlphabet.find(c);
    if (digit == std::string_view::npos) return false;
    bits = bits << 6 | static_cast<uint32_t>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    binary.octets[binary.size++] = static_cast<uint8_t>(bits >> count);
  }
  // The bits that fill up the last digit are 0 in the one text that stands for these octets.
  return (bits & ((1U << count) - 1)) == 0;
}

bool EncodeBase64(const ncdm_binary_t& binary, char text[NCDM_TEXT_SIZE]) {
  if (binary.size > NCDM_BINARY_SIZE) return false;
  char* out = text;
  for (size_t i = 0; i < binary.size; i += 3) {
    const size_t octets = std::min<size_t>(3, binary.size - i);
    uint32_t bits = 0;
    for (size_t k = 0; k < 3; ++k) {
      bits = bits << 8 | (k < octets ? binary.octets[i + k] : 0U);
    }
    for (size_t k = 0; k < 4; ++k) {
      *out++ = k <= octets ? kAlphabet[bits >> (18 - 6 * k) & 63] : '=';
    }
  }
  *out = '\0';
  return true;
}

}  // namespace ncdm::model
