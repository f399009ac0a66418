#include "reference/reference_value.h"

#include <algorithm>
#include <stdexcept>

namespace ncdm_test {
namespace {

bool IsNumber(const std::string& text) {
  const std::size_t first = text.starts_with('-') ? 1 : 0;
  if (text.size() == first) return false;
  if (text[0] == '0' && text.size() > 1) return false;
  return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(first), text.end(),
                     [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<std::string> InRange(const std::string& text, __int128 low, __int128 high) {
  if (!IsNumber(text) || text.size() > 21) return std::nullopt;
  __int128 value = 0;
  for (const char c : text) {
    if (c != '-') value = value * 10 + (c - '0');
  }
  if (text[0] == '-') value = -value;
  return value >= low && value <= high ? std::optional(text) : std::nullopt;
}

}  // namespace

bool IsTextType(nc_dm_val_type_t type) {
  return type == NC_DM_VAL_TYPE_STRING || type == NC_DM_VAL_TYPE_BASE64 ||
         type == NC_DM_VAL_TYPE_ANYSIMPLETYPE;
}

std::optional<std::string> Canonical(nc_dm_val_type_t type,
                                     const std::optional<std::string>& text) {
  constexpr __int128 kOne = 1;
  if (IsTextType(type)) return text.value_or("");
  if (type == NC_DM_VAL_TYPE_BOOL) {
    if (!text || *text == "false" || *text == "0") return "false";
    return *text == "true" || *text == "1" ? std::optional<std::string>("true") : std::nullopt;
  }
  const std::string number = text.value_or("0");
  switch (type) {
    case NC_DM_VAL_TYPE_SHORT:
      return InRange(number, -32768, 32767);
    case NC_DM_VAL_TYPE_USHORT:
      return InRange(number, 0, 65535);
    case NC_DM_VAL_TYPE_INT:
      return InRange(number, -(kOne << 31), (kOne << 31) - 1);
    case NC_DM_VAL_TYPE_UINT:
      return InRange(number, 0, (kOne << 32) - 1);
    case NC_DM_VAL_TYPE_LONGLONG:
      return InRange(number, -(kOne << 63), (kOne << 63) - 1);
    case NC_DM_VAL_TYPE_ULONGLONG:
      return InRange(number, 0, (kOne << 64) - 1);
    default:
      throw std::logic_error("a type that the device does not have");
  }
}

std::optional<std::vector<std::string>> ParsePath(std::string_view path) {
  if (path.ends_with('.')) path.remove_suffix(1);
  std::vector<std::string> names(1);
  for (const char c : path) {
    if (c == '.') {
      names.emplace_back();
    } else {
      names.back() += c;
    }
  }
  if (std::ranges::count(names, "") > 0) return std::nullopt;
  std::erase(names, "{i}");
  return names.empty() ? std::nullopt : std::optional(names);
}

}  // namespace ncdm_test
