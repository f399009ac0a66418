// Decimal numbers as paths and values write them.
#ifndef NETCONF_DM_UTIL_DECIMAL_H_
#define NETCONF_DM_UTIL_DECIMAL_H_

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace nc {

// True if the character is a blank, in any locale. Vertical tab and form feed are none.
constexpr bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// True if the text is a decimal number: digits without a leading zero, or '-' and any digits or
// none. Blanks around it do not matter.
constexpr bool IsDecimal(std::string_view text) {
  text = TrimBlanks(text);
  if (text.empty()) return false;
  if (text.size() >= 2 && text.front() == '0') return false;
  if (text.front() == '-') text.remove_prefix(1);
  return std::all_of(text.begin(), text.end(), IsDigit);
}

// The value of what IsDecimal accepts; a lone '-' is 0. A number out of range becomes the nearest
// limit, as in a conversion to a 32-bit long. errno is left alone, though: a date with such a field
// is accepted, and must not make the next value look out of range.
int32_t ClampedInt32(std::string_view decimal);

}  // namespace nc

#endif  // NETCONF_DM_UTIL_DECIMAL_H_
