// The debug mask, and what it lets through: messages, frames, time stamps.

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <span>

#include "netconf_dm_util.h"
#include "netconf_dm_util/frame_dump.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

int g_nc_dm_agent_dbg = 0;

namespace {

struct Level {
  int flag;
  const char* prefix;
};

constexpr Level kLevels[] = {
    {NC_DM_DBG_ERROR, "[Error: NETCONF-CLIENT]"},
    {NC_DM_DBG_INFO, "[Info: NETCONF-CLIENT]"},
    {NC_DM_DBG_PACKET, "[Pkt: NETCONF-CLIENT]"},
};

constexpr size_t kTextSize = 1024;

// The switch file's name is cut at this many characters, its whole path at twice as many.
constexpr size_t kMaxSwitchName = 64;
constexpr size_t kMaxSwitchPath = 128;

}  // namespace

void nc_dm_agent_dbg_msg(int flag, const char* fmt, ...) {
  const Level* level = std::find_if(std::begin(kLevels), std::end(kLevels),
                                    [flag](const Level& known) { return known.flag == flag; });
  if (level == std::end(kLevels) || !nc::HasDebugBit(flag) || fmt == nullptr) return;

  char text[kTextSize] = "";
  va_list arguments;
  va_start(arguments, fmt);
  vsnprintf(text, sizeof(text), fmt, arguments);
  va_end(arguments);
  NC_DM_SYSLOG("%s %s", level->prefix, text);
}

void nc::LogRefusal(const char* message) { NC_DM_LOG_ERROR("%s", message); }

void nc_dm_agent_dbg_set(int dbg_type, bool is_open) {
  const std::atomic_ref mask(g_nc_dm_agent_dbg);
  if (is_open) {
    mask.fetch_or(dbg_type);
  } else {
    mask.fetch_and(~dbg_type);
  }
}

void nc_dm_agent_dbg_check(const char* agent_name) {
  if (agent_name == nullptr) return;
  char name[kMaxSwitchName + 1];
  // With a client's name of full length the file's name is cut, and so must be that on the device.
  if (snprintf(name, sizeof(name), "/.nc-%s-dbg", agent_name) < 0) return;
  char path[kMaxSwitchPath + 1];
  if (nc_dm_make_flash_home(name, path, sizeof(path)) == nullptr) return;
  if (access(path, F_OK) != 0) return;
  nc_dm_agent_dbg_set(NC_DM_DBG_ERROR | NC_DM_DBG_INFO | NC_DM_DBG_PACKET, true);
}

void nc_dm_agent_dbg_print_send_msg(nc_dm_msg_t* out_msg) {
  if (out_msg == nullptr) return;
  const nc_dm_msg_head_t& head = out_msg->head;
  NC_DM_LOG_INFO("Message type=%d, len=%d\n", head.type, head.len);
  if ((g_nc_dm_agent_dbg & NC_DM_DBG_PACKET) == 0) return;
  nc::DumpBytes(std::span(out_msg->buf, static_cast<size_t>(std::max(head.len, 0))));
}

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
void nc_dm_print_time(char* str) {
  if ((g_nc_dm_agent_dbg & NC_DM_DBG_TIMING) == 0) return;
  timeval now = {};
  gettimeofday(&now, nullptr);
  NC_DM_SYSLOG("%s current time sec: %ld, usec: %ld\n", str == nullptr ? "" : str,
               static_cast<long>(now.tv_sec), static_cast<long>(now.tv_usec));
}
