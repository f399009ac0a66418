#include "held_paths.h"

#include <algorithm>
#include <string_view>

#include "integration/device_schema.h"

namespace ncdm_test {

// A hash table is made behind the registration: the path is announced without it at first and with
// it whenever the connection was lost.
std::string PathLine(const std::string& path, int attributes) {
  return path + " " + std::to_string(attributes & ~NC_DM_FLAG_HASH_TAB);
}

std::string YangLine(const std::string& module, int type, const std::string& value) {
  return "yang " + module + " " + std::to_string(type) + " " + value;
}

std::vector<std::string> RegisteredModel() {
  std::vector<std::string> lines;
  for (const LeafDefinition& leaf : kLeaves) {
    lines.push_back(PathLine(
        leaf.path, leaf.flag | (leaf.slot != 0 ? ncdm::server::RegisteredPath::kSlot : 0)));
  }
  for (const YangDefinition& yang : kYangAttributes) {
    lines.push_back(YangLine(yang.module, yang.type, yang.value));
  }
  std::ranges::sort(lines);
  return lines;
}

std::vector<std::string> HeldModel(const ncdm::server::Agent& agent) {
  std::vector<std::string> lines;
  for (const auto& path : agent.registry.Paths()) {
    lines.push_back(PathLine(path.path, path.attributes));
  }
  for (const auto& yang : agent.registry.yang_attributes()) {
    lines.push_back(YangLine(yang.module, yang.type, yang.value));
  }
  std::ranges::sort(lines);
  return lines;
}

}  // namespace ncdm_test
