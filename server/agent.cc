#include "server/agent.h"

#include "server/names.h"
#include "server/schema.h"

namespace ncdm::server {
namespace {

constexpr std::int32_t kRestarted = 128;

// What an agent's own calls accept: so whoever walks a registered path goes no deeper.
constexpr std::size_t kMaxPath = 256;
constexpr std::size_t kMaxComponents = NC_DM_MAX_DEPTH;

// List markers and ids are no components of their own.
std::size_t CountComponents(std::string_view path) {
  std::size_t count = 0;
  for (bool more = true; more;) {
    const std::size_t dot = path.find('.');
    const std::string_view component = path.substr(0, dot);
    count += component != kListMarker && !IsNumber(component) ? 1 : 0;
    more = dot != std::string_view::npos;
    path.remove_prefix(more ? dot + 1 : 0);
  }
  return count;
}

std::string Path(const Announcement& announcement) {
  if (!announcement.name || announcement.name->empty()) {
    throw ProtocolError("a registration without a path");
  }
  if (announcement.name->size() > kMaxPath) {
    throw ProtocolError("a path of " + std::to_string(announcement.name->size()) + " characters");
  }
  const std::size_t components = CountComponents(*announcement.name);
  if (components > kMaxComponents) {
    throw ProtocolError("a path of " + std::to_string(components) + " components");
  }
  return *announcement.name;
}

}  // namespace

void BeginConnection(Agent* agent, const Announcement& name) {
  agent->name = name.name.value_or("");
  agent->connected = true;
  agent->restarted = (name.attributes & kRestarted) != 0;
  agent->complete = false;
  agent->settled = false;
  agent->unregistered = false;
  ++agent->connections;
  agent->registry.Clear();
}

void EndConnection(Agent* agent) {
  agent->connected = false;
  agent->complete = false;
  agent->settled = false;
}

void TakeAnnouncement(Agent* agent, const Frame& frame) {
  switch (frame.head.type) {
    case NC_DM_MSG_TYPE_REG: {
      const Announcement announcement = DecodeAnnouncement(frame);
      agent->registry.Add(Path(announcement), announcement.attributes);
      agent->unregistered = false;
      break;
    }
    case NC_DM_MSG_TYPE_UNREG:
      agent->registry.Remove(Path(DecodeAnnouncement(frame)));
      break;
    case NC_DM_MSG_TYPE_REG_YANG_ATTR: {
      const YangAnnouncement announcement = DecodeYangAnnouncement(frame);
      agent->registry.SetYangAttribute(announcement.module, announcement.type, announcement.value);
      break;
    }
    case NC_DM_MSG_TYPE_REG_CPLT:
      agent->complete = true;
      agent->settled = agent->settled || agent->registry.path_count() > 0;
      break;
    case NC_DM_MSG_TYPE_UNREG_CLIENT:
      agent->registry.Clear();
      agent->unregistered = true;
      break;
    default:
      throw ProtocolError("a message of type " + MessageTypeName(frame.head.type) +
                          " that agents do not send");
  }
}

}  // namespace ncdm::server
