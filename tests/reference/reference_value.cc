#include "reference/reference_value.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
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

template <typename Integer>
std::optional<std::string> InRange(const std::string& text) {
  Integer value{};
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, value);
  const bool is_whole = parsed.ec == std::errc() && parsed.ptr == end;
  return IsNumber(text) && is_whole ? std::optional(text) : std::nullopt;
}

}  // namespace

bool IsTextType(nc_dm_val_type_t type) {
  return type == NC_DM_VAL_TYPE_STRING || type == NC_DM_VAL_TYPE_BASE64 ||
         type == NC_DM_VAL_TYPE_ANYSIMPLETYPE;
}

std::optional<std::string> Canonical(nc_dm_val_type_t type,
                                     const std::optional<std::string>& text) {
  if (IsTextType(type)) return text.value_or("");
  if (type == NC_DM_VAL_TYPE_BOOL) {
    if (!text || *text == "false" || *text == "0") return "false";
    return *text == "true" || *text == "1" ? std::optional<std::string>("true") : std::nullopt;
  }
  const std::string number = text.value_or("0");
  switch (type) {
    case NC_DM_VAL_TYPE_SHORT:
      return InRange<std::int16_t>(number);
    case NC_DM_VAL_TYPE_USHORT:
      return InRange<std::uint16_t>(number);
    case NC_DM_VAL_TYPE_INT:
      return InRange<std::int32_t>(number);
    case NC_DM_VAL_TYPE_UINT:
      return InRange<std::uint32_t>(number);
    case NC_DM_VAL_TYPE_LONGLONG:
      return InRange<std::int64_t>(number);
    case NC_DM_VAL_TYPE_ULONGLONG:
      return InRange<std::uint64_t>(number);
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
