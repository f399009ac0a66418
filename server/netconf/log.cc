#include "server/netconf/log.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>

namespace ncdm::netconf {

void Log(std::string_view line) {
  std::string text = "ncdm-netconf: " + std::string(line);
  std::ranges::replace_if(
      text, [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace ncdm::netconf
