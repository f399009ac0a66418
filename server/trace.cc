#include "server/trace.h"

#include <array>
#include <cstdio>
#include <string>

#include "server/answer.h"
#include "server/names.h"
#include "server/printable.h"

namespace ncdm::server {
namespace {

constexpr std::size_t kMaxDumpedBytes = 64;

std::string Hex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes.substr(0, kMaxDumpedBytes)) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), " %02x", static_cast<unsigned char>(c));
    text += digits.data();
  }
  if (bytes.size() > kMaxDumpedBytes) {
    text += " ...";
  }
  return text;
}

const char* Arrow(Direction direction) { return direction == Direction::kToAgent ? "> " : "< "; }

// Renders the body of one frame; what is rendered when a field turns out not to fit is kept.
class BodyRenderer {
 public:
  BodyRenderer(const Frame& frame, std::string* line)
      : head_(frame.head), body_(frame.body), line_(line) {}

  void Render() {
    switch (head_.type) {
      case NC_DM_MSG_TYPE_FAULT:
      case NC_DM_MSG_TYPE_REG_RSP:
        RenderFaultCode();
        break;
      case NC_DM_MSG_TYPE_REG:
      case NC_DM_MSG_TYPE_UNREG:
      case NC_DM_MSG_TYPE_REG_NAME:
        RenderAnnouncement();
        break;
      case NC_DM_MSG_TYPE_REG_YANG_ATTR:
        RenderYangAttribute();
        break;
      case NC_DM_MSG_TYPE_EDIT:
        RenderEdit();
        break;
      case NC_DM_MSG_TYPE_EDIT_RSP:
        RenderPacketType();
        *line_ += " inst=" + std::to_string(body_.Int64());
        *line_ += " status=" + std::to_string(body_.Int32());
        break;
      case NC_DM_MSG_TYPE_FILTER:
      case NC_DM_MSG_TYPE_GETID:
        RenderRead();
        break;
      case NC_DM_MSG_TYPE_FILTER_RSP:
        RenderValues();
        break;
      case NC_DM_MSG_TYPE_GETID_RSP:
        RenderIdArrays();
        break;
      case NC_DM_MSG_TYPE_DBG:
        RenderDebug();
        break;
      default:
        break;
    }
    body_.ExpectEnd();
  }

  std::string_view rest() const { return body_.rest(); }

 private:
  bool HasFlag(std::int32_t flag) const { return (head_.flag & flag) != 0; }

  std::int32_t RenderPacketType() {
    const std::int32_t packet_type = body_.Int32();
    *line_ += " " + PacketTypeName(packet_type);
    return packet_type;
  }

  std::string Text() { return Quoted(body_.Text()); }

  void RenderFaultCode() {
    *line_ += " " + FaultCodeName(body_.Int32());
    if (head_.type == NC_DM_MSG_TYPE_FAULT || HasFlag(NC_DM_MSG_FLAG_NAME)) {
      *line_ += " " + Text();
    }
  }

  void RenderAnnouncement() {
    const std::int32_t attributes = body_.Int32();
    if (HasFlag(NC_DM_MSG_FLAG_NAME)) {
      *line_ += " " + Text();
    }
    *line_ += " attr=" + std::to_string(attributes);
    if (attributes != 0) {
      *line_ += "(" + PathAttributeNames(attributes) + ")";
    }
  }

  void RenderYangAttribute() {
    const std::int32_t type = body_.Int32();
    *line_ += " " + Text();
    *line_ += " " + YangAttributeName(type) + "=" + Text();
  }

  void RenderDebug() {
    const std::int32_t bits = body_.Int32();
    *line_ += body_.Int32() != 0 ? " on " : " off ";
    *line_ += std::to_string(bits) + "(" + DebugBitNames(bits) + ")";
  }

  std::string IdArray() {
    const std::int32_t count = body_.Int32();
    Ids ids;
    for (std::int32_t i = 0; i < count; ++i) {
      ids.push_back(body_.Int64());
    }
    return RenderIds(ids);
  }

  // Name, value and ids as they end each element of a request.
  void RenderTail(bool has_value) {
    *line_ += Text();
    if (has_value) {
      *line_ += "=" + Text();
    }
    const std::string ids = IdArray();
    if (ids != "[]") {
      *line_ += " " + ids;
    }
  }

  template <typename RenderEntry>
  void RenderEntries(std::int32_t count, RenderEntry render_entry) {
    *line_ += " entries=" + std::to_string(count);
    for (std::int32_t i = 0; i < count; ++i) {
      *line_ += i == 0 ? ": " : ", ";
      render_entry();
    }
  }

  static bool Collects(std::int32_t packet_type) {
    return packet_type == NC_DM_PKT_TYPE_OBJECT || packet_type == NC_DM_PKT_TYPE_OBJECT_CMD ||
           packet_type == NC_DM_PKT_TYPE_SEGMENT;
  }

  void RenderEdit() {
    if (Collects(RenderPacketType())) {
      RenderEntries(head_.entry_cnt, [this] { RenderEditElement(); });
    }
  }

  void RenderEditElement() {
    const std::int32_t flag = body_.Int32();
    const std::int32_t operation = body_.Int32();
    const std::int32_t default_operation = body_.Int32();
    const std::int32_t error_option = body_.Int32();
    const std::int32_t test_option = body_.Int32();
    const bool has_value = body_.Int32() != 0;
    *line_ += OperationName(operation) + " ";
    if (flag != 0) {
      *line_ += PathAttributeNames(flag) + " ";
    }
    RenderTail(has_value);
    RenderOption("default-operation", default_operation, DefaultOperationName);
    RenderOption("error-option", error_option, ErrorOptionName);
    RenderOption("test-option", test_option,
                 [](std::int32_t option) { return std::to_string(option); });
  }

  template <typename NameFunction>
  void RenderOption(const char* name, std::int32_t value, NameFunction name_function) {
    if (value != 0) {
      *line_ += std::string(" ") + name + "=" + name_function(value);
    }
  }

  void RenderRead() {
    const std::int32_t packet_type = RenderPacketType();
    if (packet_type == NC_DM_PKT_TYPE_SEGMENT) {
      RenderEntries(head_.entry_cnt, [this] { RenderTail(body_.Int32() != 0); });
    } else if (packet_type == NC_DM_PKT_TYPE_FILTER) {
      RenderFlaggedFields();
      if (HasFlag(NC_DM_MSG_FLAG_IDS)) {
        *line_ += " " + IdArray();
      }
    }
  }

  // A name and a value, each announced by a bit of the head.
  void RenderFlaggedFields() {
    if (HasFlag(NC_DM_MSG_FLAG_NAME)) {
      *line_ += " " + Text();
    }
    if (HasFlag(NC_DM_MSG_FLAG_VALUE)) {
      *line_ += "=" + Text();
    }
  }

  void RenderValues() {
    if (RenderPacketType() == NC_DM_PKT_TYPE_SEGMENT) {
      RenderEntries(head_.entry_cnt, [this] {
        *line_ += Text();
        *line_ += "=" + Text();
      });
    } else {
      RenderFlaggedFields();
    }
  }

  void RenderIdArrays() {
    const std::int32_t packet_type = RenderPacketType();
    if (packet_type == NC_DM_PKT_TYPE_SEGMENT) {
      RenderEntries(head_.entry_cnt, [this] { *line_ += IdArray(); });
    } else if (HasFlag(NC_DM_MSG_FLAG_IDS)) {
      RenderEntries(body_.Int32(), [this] { *line_ += IdArray(); });
    }
  }

  const nc_dm_msg_head_t& head_;
  BodyReader body_;
  std::string* line_;
};

}  // namespace

std::string RenderFrame(Direction direction, const Frame& frame) {
  std::string line = Arrow(direction) + MessageTypeName(frame.head.type) +
                     " sid=" + std::to_string(frame.head.sid);
  if (frame.head.ds_type != 0) {
    line += " ds=" + DatastoreName(frame.head.ds_type);
  }
  BodyRenderer renderer(frame, &line);
  try {
    renderer.Render();
  } catch (const ProtocolError& error) {
    line += std::string(" (malformed: ") + error.what() + ";" + Hex(renderer.rest()) + ")";
  }
  return line;
}

std::string RenderBytes(Direction direction, std::string_view bytes) {
  return Arrow(direction) + std::to_string(bytes.size()) + " bytes:" + Hex(bytes);
}

}  // namespace ncdm::server
