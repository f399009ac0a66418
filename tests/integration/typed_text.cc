#include "typed_text.h"

#include <cstdint>
#include <cstring>

namespace ncdm_test {
namespace {

template <typename T>
T Typed(const char* typed) {
  T value;
  std::memcpy(&value, typed, sizeof(value));
  return value;
}

template <typename T>
void Write(char* typed, T value) {
  std::memcpy(typed, &value, sizeof(value));
}

}  // namespace

std::string TextOf(nc_dm_val_type_t type, const char* typed) {
  switch (type) {
    case NC_DM_VAL_TYPE_BOOL:
      return *typed != 0 ? "true" : "false";
    case NC_DM_VAL_TYPE_SHORT:
      return std::to_string(Typed<std::int16_t>(typed));
    case NC_DM_VAL_TYPE_USHORT:
      return std::to_string(Typed<std::uint16_t>(typed));
    case NC_DM_VAL_TYPE_INT:
      return std::to_string(Typed<std::int32_t>(typed));
    case NC_DM_VAL_TYPE_UINT:
      return std::to_string(Typed<std::uint32_t>(typed));
    case NC_DM_VAL_TYPE_LONGLONG:
      return std::to_string(Typed<std::int64_t>(typed));
    case NC_DM_VAL_TYPE_ULONGLONG:
      return std::to_string(Typed<std::uint64_t>(typed));
    default:
      return typed;
  }
}

void WriteTyped(nc_dm_val_type_t type, const std::string& text, char* typed) {
  switch (type) {
    case NC_DM_VAL_TYPE_BOOL:
      return Write<char>(typed, text == "true" ? 1 : 0);
    case NC_DM_VAL_TYPE_SHORT:
      return Write(typed, static_cast<std::int16_t>(std::stoi(text)));
    case NC_DM_VAL_TYPE_USHORT:
      return Write(typed, static_cast<std::uint16_t>(std::stoul(text)));
    case NC_DM_VAL_TYPE_INT:
      return Write(typed, static_cast<std::int32_t>(std::stoll(text)));
    case NC_DM_VAL_TYPE_UINT:
      return Write(typed, static_cast<std::uint32_t>(std::stoull(text)));
    case NC_DM_VAL_TYPE_LONGLONG:
      return Write(typed, static_cast<std::int64_t>(std::stoll(text)));
    case NC_DM_VAL_TYPE_ULONGLONG:
      return Write(typed, static_cast<std::uint64_t>(std::stoull(text)));
    default:
      std::memcpy(typed, text.c_str(), text.size() + 1);
  }
}

}  // namespace ncdm_test
