#include "server/netconf/log.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <utility>

namespace ncdm::netconf {
namespace {

std::function<void(std::string_view)> g_sink;

}  // namespace

void set_log_sink(std::function<void(std::string_view line)> sink) { g_sink = std::move(sink); }

void Log(std::string_view line) {
  std::string text(line);
  std::ranges::replace_if(
      text, [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
  if (g_sink) {
    g_sink(text);
    return;
  }
  text = "ncdm-netconf: " + text + '\n';
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace ncdm::netconf
