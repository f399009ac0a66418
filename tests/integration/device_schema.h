// The data model of the device that the integration tests play, and the habits of its application
// that a test has to know: which ids it gives and what it refuses.
#ifndef TESTS_INTEGRATION_DEVICE_SCHEMA_H_
#define TESTS_INTEGRATION_DEVICE_SCHEMA_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_agent.h"
#include "reference/reference_value.h"

namespace ncdm_test {

using Ids = std::vector<nc_int64>;

// What a leaf's callbacks offer.
enum Offer : unsigned {
  kSet = 1,
  kGet = 2,
  kCreate = 4,
  kDelete = 8,
  kGetAttr = 16,
  kExeCmd = 32,
  kDeleteUnset = 64,  // deleting a value that is not there succeeds, where others say "missing"
};

struct LeafDefinition {
  const char* path;  // as it is registered
  nc_dm_val_type_t type;
  int flag;
  int slot;
  unsigned offers;
};

// Lists whose entries are made by create and delete (user and what is in it, route) and by command
// (port, acl), three levels of lists, leaf-lists, containers, plain leaves; route and sys.dns have
// hash tables. Every list's first leaf is its first key.
inline constexpr LeafDefinition kLeaves[] = {
    {"sys.name", NC_DM_VAL_TYPE_STRING, 0, 0, kSet | kGet | kDelete},
    {"sys.enabled", NC_DM_VAL_TYPE_BOOL, 0, 0, kSet | kGet},
    {"sys.limit", NC_DM_VAL_TYPE_INT, 0, 0, kSet | kGet | kDelete | kDeleteUnset},
    {"sys.secret", NC_DM_VAL_TYPE_STRING, 0, 0, kSet},
    {"sys.clock.offset", NC_DM_VAL_TYPE_SHORT, 0, 0, kSet | kGet | kDelete | kDeleteUnset},
    {"sys.clock.zone", NC_DM_VAL_TYPE_STRING, 0, 0, kSet | kGet | kDelete | kDeleteUnset},
    {"sys.ntp.server", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_LEAF_LIST, 0, kGet | kCreate | kDelete},
    {"sys.dns", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_LEAF_LIST, 0, kGet | kCreate | kDelete},

    {"net.user.{i}.name", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, 0, kGet | kCreate | kDelete},
    {"net.user.{i}.uid", NC_DM_VAL_TYPE_UINT, 0, 0, kSet | kGet | kDelete},
    {"net.user.{i}.shell", NC_DM_VAL_TYPE_STRING, 0, 0, kSet | kGet},
    {"net.user.{i}.quota", NC_DM_VAL_TYPE_LONGLONG, 0, 0, kSet | kGet | kDelete | kDeleteUnset},
    {"net.user.{i}.group", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_LEAF_LIST, 0,
     kGet | kCreate | kDelete},
    {"net.user.{i}.prefs.lang", NC_DM_VAL_TYPE_STRING, 0, 0, kSet | kGet | kDelete | kDeleteUnset},
    {"net.user.{i}.prefs.tabs", NC_DM_VAL_TYPE_USHORT, 0, 0, kSet | kGet},
    {"net.user.{i}.key.{i}.number", NC_DM_VAL_TYPE_USHORT, NC_DM_FLAG_KEY, 0,
     kGet | kCreate | kDelete},
    {"net.user.{i}.key.{i}.text", NC_DM_VAL_TYPE_BASE64, 0, 0, kSet | kGet},
    {"net.user.{i}.key.{i}.use.{i}.tag", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, 0,
     kGet | kCreate | kDelete},
    {"net.user.{i}.key.{i}.use.{i}.count", NC_DM_VAL_TYPE_ULONGLONG, 0, 0, kSet | kGet | kDelete},

    {"net.port.{i}.name", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, 1, kGet | kGetAttr | kExeCmd},
    {"net.port.{i}.mtu", NC_DM_VAL_TYPE_UINT, 0, 2, kGet | kDelete | kExeCmd},
    {"net.port.{i}.text", NC_DM_VAL_TYPE_STRING, 0, 3, kGet | kExeCmd},
    {"net.port.{i}.speed", NC_DM_VAL_TYPE_ULONGLONG, 0, 4, kGet | kDelete | kExeCmd},
    {"net.port.{i}.note", NC_DM_VAL_TYPE_STRING, 0, 0, kSet | kGet},
    {"net.port.{i}.limits.rate", NC_DM_VAL_TYPE_UINT, 0, 0, kSet | kGet | kDelete},
    {"net.port.{i}.tag", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_LEAF_LIST, 0, kGet | kCreate | kDelete},
    {"net.port.{i}.acl.{i}.name", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, 1,
     kGet | kGetAttr | kExeCmd},
    {"net.port.{i}.acl.{i}.order", NC_DM_VAL_TYPE_UINT, NC_DM_FLAG_KEY_SETTABLE, 2,
     kGet | kGetAttr | kExeCmd},
    {"net.port.{i}.acl.{i}.action", NC_DM_VAL_TYPE_STRING, 0, 3, kGet | kExeCmd},

    {"net.route.{i}.dest", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, 0, kGet | kCreate | kDelete},
    {"net.route.{i}.metric", NC_DM_VAL_TYPE_INT, 0, 0, kSet | kGet | kDelete | kDeleteUnset},
    {"net.route.{i}.via", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_LEAF_LIST, 0, kGet | kCreate | kDelete},
};
inline constexpr int kLeafCount = static_cast<int>(sizeof(kLeaves) / sizeof(kLeaves[0]));

// Lists and leaf-lists with a hash table.
inline constexpr const char* kHashed[] = {"net.route.{i}", "sys.dns"};

// What the application announces beside the paths.
struct YangDefinition {
  const char* module;
  nc_dm_yang_attr_type_t type;
  const char* value;
};
inline constexpr YangDefinition kYangAttributes[] = {
    {"device-sys", NC_DM_YANG_ATTR_MODULE_NAME, "device-sys"},
    {"device-sys", NC_DM_YANG_ATTR_REVISION, "2024-01-31"},
    {"device-net", NC_DM_YANG_ATTR_MODULE_NAME, "device-net"},
};

// A path's components, without list markers.
std::vector<std::string> Names(std::string_view path);
// The same joined: "net.user.name".
std::string PlainPath(std::string_view path);
// Lists on the path.
int Depth(std::string_view path);
// The list whose entries have the leaf ("net.user"); empty for a leaf outside lists.
std::string ListOf(std::string_view path);

// The id that the device gives to the entry, or leaf-list element, `key` below the plain path
// `where`. Any two differ, and most do not fit 32 bits.
std::int64_t DeviceId(std::string_view where, std::string_view key);
// The key of an entry with two of them.
std::string JoinKeys(std::string_view first, std::string_view second);

// What the device does with some values, whether they are keys, elements or leaves: it refuses
// them, it answers their creation with id 0, it does not let them be deleted. An empty key it
// refuses, too.
inline constexpr std::string_view kRefusedText = "refused";
inline constexpr std::string_view kRefusedNumber = "13";
inline constexpr std::string_view kZeroText = "zero";
inline constexpr std::string_view kZeroNumber = "14";
inline constexpr std::string_view kLockedText = "locked";
inline constexpr std::string_view kLockedNumber = "15";
inline bool IsRefused(std::string_view text) {
  return text == kRefusedText || text == kRefusedNumber;
}
inline bool IsZero(std::string_view text) { return text == kZeroText || text == kZeroNumber; }
inline bool IsLocked(std::string_view text) { return text == kLockedText || text == kLockedNumber; }

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_DEVICE_SCHEMA_H_
