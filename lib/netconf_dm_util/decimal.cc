// Decimal numbers in texts: the test, and the number that leads a longer text.

#include "netconf_dm_util/decimal.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <system_error>

#include "netconf_dm_util.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

constexpr size_t kMaxNumberLen = 256;

}  // namespace

int32_t nc::ClampedInt32(std::string_view decimal) {
  decimal = TrimBlanks(decimal);
  int32_t value = 0;
  const auto result = std::from_chars(decimal.data(), decimal.data() + decimal.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  using Limits = std::numeric_limits<int32_t>;
  return decimal.front() == '-' ? Limits::min() : Limits::max();
}

bool nc_dm_is_str_num(const char* str) { return str != nullptr && nc::IsDecimal(str); }

int nc_dm_parse_str_num(char* parse_str, char* parse_tag, nc_int32* parsed_num,
                        nc_int32* parse_len) {
  if (parse_str == nullptr || parse_tag == nullptr || parsed_num == nullptr ||
      parse_len == nullptr) {
    return nc::Refuse("parse string first number parmeter invalid!\n");
  }
  NC_DM_LOG_INFO("parse string first number, str:%s; tag:%s.\n", parse_str, parse_tag);
  const char* tag = strstr(parse_str, parse_tag);
  if (tag == nullptr) return nc::Refuse("parse number fail!\n");
  const std::string_view number(parse_str, static_cast<size_t>(tag - parse_str));
  *parse_len = static_cast<nc_int32>(number.size());
  if (number.size() > kMaxNumberLen) return nc::Refuse("parsed length of parse_tag is too long!\n");
  if (!nc::IsDecimal(number)) return nc::Refuse("parsed is not number!\n");
  *parsed_num = nc::ClampedInt32(number);
  ++*parse_len;
  return 0;
}
