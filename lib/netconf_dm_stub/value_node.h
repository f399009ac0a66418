// The elements of a filter's answer, each one piece of memory: the record, and behind it its name
// and its value. An answer may have millions of them, and most of what it costs is memory.
#ifndef NETCONF_DM_STUB_VALUE_NODE_H_
#define NETCONF_DM_STUB_VALUE_NODE_H_

#include <cstdint>
#include <string_view>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace nc {

// An element that is linked nowhere, or null. A value whose data() is null is none.
MallocPtr<nc_dm_val_node_t> NewValueNode(std::string_view name, std::string_view value);

// Does a text belong to its element's memory. Such texts stand at odd addresses, which no
// allocation has: an element that somebody else built may own each of its texts.
inline bool IsInElement(const char* text) { return (reinterpret_cast<uintptr_t>(text) & 1) != 0; }

}  // namespace nc

#endif  // NETCONF_DM_STUB_VALUE_NODE_H_
