// How a callback passes a value through the library's buffer.
#ifndef EXAMPLES_COMMON_VALUES_H_
#define EXAMPLES_COMMON_VALUES_H_

#include <cstdio>
#include <cstring>
#include <string>

#include "netconf_dm_agent.h"

// What a `get`, `delete` or `exe_cmd` answers when the object that it is asked about does not
// exist.
inline constexpr int kNoSuchObject = NC_DM_FAULT_CODE_OP_FAILED;

// For the string types: the text itself, which may be 255 characters long.
inline int PutText(const std::string& text, char* value) {
  snprintf(value, NC_DM_VALUE_BUF_SIZE - 1, "%s", text.c_str());
  return 0;
}

// For every other type: the bytes of the typed object. The buffer is not aligned for it, so it is
// copied.
template <typename Value>
int PutValue(const Value& typed, char* value) {
  memcpy(value, &typed, sizeof typed);
  return 0;
}

template <typename Value>
Value TakeValue(const char* value) {
  Value typed;
  memcpy(&typed, value, sizeof typed);
  return typed;
}

#endif  // EXAMPLES_COMMON_VALUES_H_
