// Paths with instance ids in place, as answers carry them: "interfaces.interface.3.mtu".
#ifndef NCDM_SERVER_INSTANCE_PATH_H_
#define NCDM_SERVER_INSTANCE_PATH_H_

#include <optional>
#include <string>
#include <string_view>

#include "server/request.h"
#include "server/schema.h"

namespace ncdm::server {

struct InstancePath {
  const SchemaNode* node = nullptr;
  Ids ids;  // of the lists on the way and of a leaf-list's value, outermost first
};

// What the path of a read value leads to. Nothing for a path that the agent did not register, one
// that names no entry of a list on its way, or an id where there is none to be; so whoever takes
// the result needs no further check of what the agent answered. (The value of a leaf-list may lack
// its id: an agent echoes one so that it was asked for.)
std::optional<InstancePath> FindInstance(const Schema& schema, std::string_view path);

// The node's path with ids in place, as far as there are ids.
std::string PathWithIds(const SchemaNode& node, const Ids& ids);

}  // namespace ncdm::server

#endif  // NCDM_SERVER_INSTANCE_PATH_H_
