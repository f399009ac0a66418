// Bytes of a frame as the log shows them.
#ifndef NETCONF_DM_UTIL_FRAME_DUMP_H_
#define NETCONF_DM_UTIL_FRAME_DUMP_H_

#include <cstddef>
#include <span>

#include "netconf_dm_util/log.h"

namespace nc {

// Writes each byte in hexadecimal, a bar behind every fourth, an empty line at the end. Each piece
// is a call of its own, because the log's buffer would cut a frame. The caller has checked the
// debug mask.
inline void DumpBytes(std::span<const char> bytes) {
  size_t written = 0;
  for (const char byte : bytes) {
    NC_DM_SYSLOG("%X ", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    if (++written % 4 == 0) NC_DM_SYSLOG("|");
  }
  NC_DM_SYSLOG("\n\n");
}

}  // namespace nc

#endif  // NETCONF_DM_UTIL_FRAME_DUMP_H_
