// Values both ways. The first byte is the type: texts to values, whose text has to be stable from
// then on; and raw objects to texts.

#include <errno.h>
#include <stdlib.h>
#include <time.h>

#include <memory>
#include <string>

#include "fuzz/input.h"
#include "fuzz/platform.h"
#include "netconf_dm_kernel.h"

namespace {

using Memory = std::unique_ptr<char, decltype(&free)>;

bool IsText(nc_dm_val_type_t type) {
  return type == NC_DM_VAL_TYPE_STRING || type == NC_DM_VAL_TYPE_BASE64 ||
         type == NC_DM_VAL_TYPE_ANYSIMPLETYPE;
}

int ToValue(std::string text, nc_dm_val_type_t type, Memory* value) {
  char* object = nullptr;
  errno = 0;
  const int result = nc_dm_unserialize_val(text.data(), &object, type);
  value->reset(object);
  return result;
}

std::string ToText(char* value, nc_dm_val_type_t type) {
  char* text = nullptr;
  NCDM_FUZZ_CHECK(nc_dm_serialize_val(&text, value, type) == 0);
  const Memory owner(text, &free);
  return text != nullptr ? text : "";
}

void StoreInBlock(char* value, nc_dm_val_type_t type, int index) {
  auto padb = std::make_unique<nc_dm_agent_data_block_t>();
  nc_dm_agent_padb_set_var(padb.get(), index, type, value);
  for (int i = 0; i < NC_DM_MAX_SLOTS; ++i) {
    NCDM_FUZZ_CHECK(strnlen(padb->string_var[i], NC_DM_VALUE_BUF_SIZE) < NC_DM_VALUE_BUF_SIZE);
  }
}

void CheckText(const std::string& text, nc_dm_val_type_t type, int index) {
  Memory value(nullptr, &free);
  if (ToValue(text, type, &value) != 0 || value == nullptr) return;
  StoreInBlock(value.get(), type, index);
  const std::string canonical = ToText(value.get(), type);
  if (IsText(type)) {
    NCDM_FUZZ_CHECK(canonical == text.substr(0, NC_DM_VALUE_BUF_SIZE - 1));
    return;
  }
  if (type == NC_DM_VAL_TYPE_DATATIME) return;  // its text has zeros that are not taken back
  Memory again(nullptr, &free);
  NCDM_FUZZ_CHECK(ToValue(canonical, type, &again) == 0);
  NCDM_FUZZ_CHECK(ToText(again.get(), type) == canonical);
}

// As much memory as the largest object takes.
void CheckObject(std::string bytes, nc_dm_val_type_t type) {
  if (IsText(type)) return;
  bytes.resize(sizeof(struct tm));
  Memory object(static_cast<char*>(malloc(bytes.size())), &free);
  memcpy(object.get(), bytes.data(), bytes.size());
  NCDM_FUZZ_CHECK(ToText(object.get(), type).size() < NC_DM_VALUE_BUF_SIZE);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  ncdm_fuzz::Input input(bytes, size);
  const size_t choice = input.Byte();
  const auto type = static_cast<nc_dm_val_type_t>(choice % (NC_DM_VAL_TYPE_MAX + 1));
  const int index = input.Number<int8_t>();
  const std::string rest = input.Rest();
  CheckObject(rest, type);
  CheckText(rest.c_str(), type, index);
  return 0;
}
