// Integers as this machine's bytes have them. Tests write them byte by byte, the least significant
// first, and so for every machine alike.
#ifndef TESTS_SUPPORT_HOST_BYTES_H_
#define TESTS_SUPPORT_HOST_BYTES_H_

#include <algorithm>
#include <bit>
#include <string>

namespace ncdm_test {

inline std::string HostInt(std::string bytes) {
  if (std::endian::native == std::endian::big) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

// The same for two hexadecimal digits a byte.
inline std::string HostIntDigits(const std::string& digits) {
  if (std::endian::native == std::endian::little) return digits;
  std::string reversed;
  for (size_t at = digits.size(); at > 0; at -= 2) reversed += digits.substr(at - 2, 2);
  return reversed;
}

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_HOST_BYTES_H_
