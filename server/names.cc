#include "server/names.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <iterator>

#include "server/registry.h"

namespace ncdm::server {
namespace {

struct Name {
  std::int32_t number;
  const char* text;
};

constexpr Name kMessageTypes[] = {
    {NC_DM_MSG_TYPE_FAULT, "FAULT"},
    {NC_DM_MSG_TYPE_REG, "REG"},
    {NC_DM_MSG_TYPE_REG_RSP, "REG_RSP"},
    {NC_DM_MSG_TYPE_REG_NAME, "REG_NAME"},
    {NC_DM_MSG_TYPE_REG_NAME_RSP, "REG_NAME_RSP"},
    {NC_DM_MSG_TYPE_REG_YANG_ATTR, "REG_YANG_ATTR"},
    {NC_DM_MSG_TYPE_REG_YANG_ATTR_RSP, "REG_YANG_ATTR_RSP"},
    {NC_DM_MSG_TYPE_REG_CPLT, "REG_CPLT"},
    {NC_DM_MSG_TYPE_UNREG, "UNREG"},
    {NC_DM_MSG_TYPE_UNREG_RSP, "UNREG_RSP"},
    {NC_DM_MSG_TYPE_REG_OBJ, "REG_OBJ"},
    {NC_DM_MSG_TYPE_UNREG_OBJ, "UNREG_OBJ"},
    {NC_DM_MSG_TYPE_EDIT, "EDIT"},
    {NC_DM_MSG_TYPE_EDIT_RSP, "EDIT_RSP"},
    {NC_DM_MSG_TYPE_EDIT_LIST, "EDIT_LIST"},
    {NC_DM_MSG_TYPE_EDIT_LIST_RSP, "EDIT_LIST_RSP"},
    {NC_DM_MSG_TYPE_FILTER, "FILTER"},
    {NC_DM_MSG_TYPE_FILTER_RSP, "FILTER_RSP"},
    {NC_DM_MSG_TYPE_FILTER_LIST, "FILTER_LIST"},
    {NC_DM_MSG_TYPE_FILTER_LIST_RSP, "FILTER_LIST_RSP"},
    {NC_DM_MSG_TYPE_UNREG_CLIENT, "UNREG_CLIENT"},
    {NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, "UNREG_CLIENT_RSP"},
    {NC_DM_MSG_TYPE_GETID, "GETID"},
    {NC_DM_MSG_TYPE_GETID_RSP, "GETID_RSP"},
    {NC_DM_MSG_TYPE_DBG, "DBG"},
    {NC_DM_MSG_TYPE_SHOW, "SHOW"},
};

constexpr Name kFaultCodes[] = {
    {NC_DM_FAULT_CODE_OK, "OK"},
    {NC_DM_FAULT_CODE_UNKNOWN, "UNKNOWN"},
    {NC_DM_FAULT_CODE_LINK, "LINK"},
    {NC_DM_FAULT_CODE_MEM, "MEM"},
    {NC_DM_FAULT_CODE_PARSE, "PARSE"},
    {NC_DM_FAULT_CODE_MSGTYPE, "MSGTYPE"},
    {NC_DM_FAULT_CODE_INIT, "INIT"},
    {NC_DM_FAULT_CODE_OP_FAILED, "OP_FAILED"},
    {NC_DM_FAULT_CODE_OP_NOT_SUPPORTED, "OP_NOT_SUPPORTED"},
    {NC_DM_FAULT_CODE_DATA_EXISTS, "DATA_EXISTS"},
    {NC_DM_FAULT_CODE_DATA_MISSING, "DATA_MISSING"},
    {NC_DM_FAULT_CODE_DATA_INVALID_VALUE, "DATA_INVALID_VALUE"},
    {NC_DM_FAULT_CODE_BAD_ELEM, "BAD_ELEM"},
    {NC_DM_FAULT_CODE_UNKNOWN_ELEM, "UNKNOWN_ELEM"},
};

constexpr Name kDatastores[] = {
    {NC_DM_DATASTORE_CONFIG, "config"},       {NC_DM_DATASTORE_URL, "url"},
    {NC_DM_DATASTORE_RUNNING, "running"},     {NC_DM_DATASTORE_STARTUP, "startup"},
    {NC_DM_DATASTORE_CANDIDATE, "candidate"}, {NC_DM_DATASTORE_SDN, "sdn"},
};

constexpr Name kOperations[] = {
    {static_cast<std::int32_t>(Operation::kNone), "none"},
    {static_cast<std::int32_t>(Operation::kMerge), "merge"},
    {static_cast<std::int32_t>(Operation::kReplace), "replace"},
    {static_cast<std::int32_t>(Operation::kCreate), "create"},
    {static_cast<std::int32_t>(Operation::kDelete), "delete"},
    {static_cast<std::int32_t>(Operation::kRemove), "remove"},
};

constexpr Name kDefaultOperations[] = {
    {static_cast<std::int32_t>(DefaultOperation::kMerge), "merge"},
    {static_cast<std::int32_t>(DefaultOperation::kReplace), "replace"},
    {static_cast<std::int32_t>(DefaultOperation::kNone), "none"},
};

constexpr Name kErrorOptions[] = {
    {static_cast<std::int32_t>(ErrorOption::kStop), "stop-on-error"},
    {static_cast<std::int32_t>(ErrorOption::kContinue), "continue-on-error"},
    {static_cast<std::int32_t>(ErrorOption::kRollback), "rollback-on-error"},
};

constexpr Name kPacketTypes[] = {
    {NC_DM_PKT_TYPE_RSP, "answer"},         {NC_DM_PKT_TYPE_FILTER, "single"},
    {NC_DM_PKT_TYPE_OBJECT, "entry"},       {NC_DM_PKT_TYPE_OBJECT_END, "entry-end"},
    {NC_DM_PKT_TYPE_OBJECT_CMD, "command"}, {NC_DM_PKT_TYPE_OBJECT_CMD_END, "command-end"},
    {NC_DM_PKT_TYPE_SEGMENT, "segment"},    {NC_DM_PKT_TYPE_END, "end"},
    {NC_DM_PKT_TYPE_COMMIT, "commit"},
};

constexpr Name kYangAttributes[] = {
    {NC_DM_YANG_ATTR_MODULE_NAME, "module-name"},
    {NC_DM_YANG_ATTR_REVISION, "revision"},
};

constexpr Name kPathAttributes[] = {
    {NC_DM_FLAG_KEY, "key"},
    {NC_DM_FLAG_KEY_SETTABLE, "settable-key"},
    {NC_DM_FLAG_LEAF_LIST, "leaf-list"},
    {RegisteredPath::kSlot, "slot"},
    {NC_DM_FLAG_HASH_TAB, "hash-table"},
    {128, "restart"},
};

constexpr Name kDebugBits[] = {
    {NC_DM_DBG_ERROR, "error"},
    {NC_DM_DBG_INFO, "info"},
    {NC_DM_DBG_PACKET, "packet"},
    {NC_DM_DBG_TIMING, "timing"},
};

template <std::size_t N>
std::string NameOf(const Name (&names)[N], std::int32_t number) {
  const auto* name = std::ranges::find(names, number, &Name::number);
  return name == std::end(names) ? std::to_string(number) : name->text;
}

template <std::size_t N>
std::optional<std::int32_t> NumberOf(const Name (&names)[N], std::string_view text) {
  const auto* name =
      std::ranges::find_if(names, [&](const Name& candidate) { return text == candidate.text; });
  return name == std::end(names) ? std::nullopt : std::optional(name->number);
}

template <typename Enum, std::size_t N>
std::optional<Enum> EnumOf(const Name (&names)[N], std::string_view text) {
  const auto number = NumberOf(names, text);
  return number ? std::optional(static_cast<Enum>(*number)) : std::nullopt;
}

// The names of the bits that are set, and what is left as a number.
template <std::size_t N>
std::string BitNames(const Name (&names)[N], std::int32_t bits) {
  std::string text;
  const auto append = [&](std::string_view word) {
    text += text.empty() ? "" : ",";
    text += word;
  };
  for (const Name& name : names) {
    if ((bits & name.number) != 0) {
      append(name.text);
      bits &= ~name.number;
    }
  }
  if (bits != 0) {
    append(std::to_string(bits));
  }
  return text;
}

std::optional<std::int32_t> Number(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

}  // namespace

std::string MessageTypeName(std::int32_t type) { return NameOf(kMessageTypes, type); }

std::string FaultCodeName(std::int32_t code) { return NameOf(kFaultCodes, code); }

std::string DatastoreName(std::int32_t datastore) { return NameOf(kDatastores, datastore); }

std::string OperationName(std::int32_t operation) { return NameOf(kOperations, operation); }

std::string DefaultOperationName(std::int32_t operation) {
  return NameOf(kDefaultOperations, operation);
}

std::string ErrorOptionName(std::int32_t option) { return NameOf(kErrorOptions, option); }

std::string PacketTypeName(std::int32_t packet_type) { return NameOf(kPacketTypes, packet_type); }

std::string YangAttributeName(std::int32_t type) { return NameOf(kYangAttributes, type); }

std::string PathAttributeNames(std::int32_t attributes) {
  return BitNames(kPathAttributes, attributes);
}

std::string DebugBitNames(std::int32_t bits) { return BitNames(kDebugBits, bits); }

std::optional<nc_dm_ds_type_t> DatastoreFromName(std::string_view name) {
  return EnumOf<nc_dm_ds_type_t>(kDatastores, name);
}

std::optional<Operation> OperationFromName(std::string_view name) {
  return EnumOf<Operation>(kOperations, name);
}

std::optional<DefaultOperation> DefaultOperationFromName(std::string_view name) {
  return EnumOf<DefaultOperation>(kDefaultOperations, name);
}

std::optional<ErrorOption> ErrorOptionFromName(std::string_view name) {
  return EnumOf<ErrorOption>(kErrorOptions, name);
}

std::optional<std::int32_t> DebugBitsFromText(std::string_view text) {
  if (const auto number = Number(text)) {
    return number;
  }
  std::int32_t bits = 0;
  for (;;) {
    const std::size_t comma = text.find(',');
    const auto bit = NumberOf(kDebugBits, text.substr(0, comma));
    if (!bit) {
      return std::nullopt;
    }
    bits |= *bit;
    if (comma == std::string_view::npos) {
      return bits;
    }
    text.remove_prefix(comma + 1);
  }
}

std::string RenderFault(std::int32_t code, std::string_view path) {
  std::string text =
      code == NC_DM_FAULT_CODE_OK ? "refused, without a reason" : "fault " + FaultCodeName(code);
  if (!path.empty()) {
    text += ": ";
    text += path;
  }
  return text;
}

std::string RenderIds(const Ids& ids) {
  std::string text = "[";
  for (const std::int64_t id : ids) {
    text += (text.size() > 1 ? ", " : "") + std::to_string(id);
  }
  return text + "]";
}

}  // namespace ncdm::server
