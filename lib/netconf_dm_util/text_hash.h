// The hash of a text, for a hash table in memory: std::hash would need libstdc++ at run time.
#ifndef NETCONF_DM_UTIL_TEXT_HASH_H_
#define NETCONF_DM_UTIL_TEXT_HASH_H_

#include <cstdint>

namespace nc {

// FNV-1a: names and paths are short.
inline uint32_t HashOfText(const char* text) {
  uint32_t hash = 2166136261U;
  for (const char* at = text; *at != '\0'; ++at) {
    hash = (hash ^ static_cast<unsigned char>(*at)) * 16777619U;
  }
  return hash;
}

}  // namespace nc

#endif  // NETCONF_DM_UTIL_TEXT_HASH_H_
