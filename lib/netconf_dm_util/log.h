// Logging from inside the library. A text whose level is off costs a test of the debug mask:
// nothing is formatted, and no argument is evaluated, so arguments must be free of effects.
#ifndef NETCONF_DM_UTIL_LOG_H_
#define NETCONF_DM_UTIL_LOG_H_

#include <atomic>

#include "netconf_dm_util.h"
#include "printk_syslog.h"

#define NC_DM_LOG_AT(level, ...)                       \
  do {                                                 \
    if (__builtin_expect(nc::HasDebugBit(level), 0)) { \
      nc_dm_agent_dbg_msg((level), __VA_ARGS__);       \
    }                                                  \
  } while (false)

#define NC_DM_LOG_ERROR(...) NC_DM_LOG_AT(NC_DM_DBG_ERROR, __VA_ARGS__)
#define NC_DM_LOG_INFO(...) NC_DM_LOG_AT(NC_DM_DBG_INFO, __VA_ARGS__)
#define NC_DM_LOG_PACKET(...) NC_DM_LOG_AT(NC_DM_DBG_PACKET, __VA_ARGS__)

namespace nc {

// From any thread; the server may switch the bits at any time.
inline bool HasDebugBit(int bit) {
  return (std::atomic_ref(g_nc_dm_agent_dbg).load(std::memory_order_relaxed) & bit) != 0;
}

// For output that must appear whatever the mask: the dump of the tree and the timing lines.
inline constexpr int kSyslogLevel = 7;
inline constexpr const char* kSyslogModule = "UNKNOW_MODULE";
inline constexpr const char* kSyslogKind = "DEBUG";

// "%lld" prints long long, and int64_t is long on 64-bit machines.
inline long long LongLong(int64_t value) { return value; }

}  // namespace nc

#define NC_DM_SYSLOG(...)                                                                 \
  printk_syslog_ext(nc::kSyslogLevel, nc::kSyslogModule, nc::kSyslogKind, LOG_TYPE_DEBUG, \
                    __VA_ARGS__)

#endif  // NETCONF_DM_UTIL_LOG_H_
