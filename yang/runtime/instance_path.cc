#include "instance_path.h"

#include <string_view>

namespace ncdm::model {

std::string InstancePath(const ncdm_node_t& node, const Ids& ids) {
  constexpr std::string_view kMarker = "{i}";
  std::string path = std::string(node.path) + ".{i}.";
  size_t at = 0;
  for (const int64_t id : ids) {
    at = path.find(kMarker, at);
    if (at == std::string::npos) break;
    const std::string number = std::to_string(id);
    path.replace(at, kMarker.size(), number);
    at += number.size();
  }
  return path;
}

}  // namespace ncdm::model
