// The fields that all requests have: the packet type at the start, and then, for each entry of a
// list or for a single request, a name, a value and the instance ids along the name.
#ifndef NETCONF_DM_STUB_REQUEST_FIELDS_H_
#define NETCONF_DM_STUB_REQUEST_FIELDS_H_

#include "netconf_dm_kernel/records.h"
#include "netconf_dm_stub/body_reader.h"

namespace nc {

// All of these return 0, or -1 with the failure logged.

int ReadPacketType(BodyReader* body, nc_int32* packet_type);

// The pointers in a zeroed record that take the fields.
struct RequestFields {
  char** name;
  char** value;
  nc_dm_id_array_t** id_array;
};

// The record's name in the log, and the messages for fields that cannot be decoded.
struct RequestWords {
  const char* record;
  const char* name_failure;
  const char* value_failure;
};

// Reads the fields whose NC_DM_MSG_FLAG_* bit is in `present`. What was read before a failure stays
// in the record. A count of ids that is not positive leaves the array null.
int ReadRequestFields(BodyReader* body, const RequestWords& words, nc_int32 present,
                      const RequestFields& fields);

// List entries announce their value by a field of their own, and always have the others.
inline nc_int32 PresentInEntry(nc_int32 has_value) {
  return NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_IDS | (has_value != 0 ? NC_DM_MSG_FLAG_VALUE : 0);
}

// Calls `read_entry`, which returns 0 or -1, for each entry that the head counts, until one fails.
template <typename ReadEntry>
int ReadEntries(const BodyReader& body, ReadEntry read_entry) {
  if (!body.HasEntryCount()) return -1;
  for (nc_int32 i = 0; i < body.entry_count(); ++i) {
    if (read_entry() != 0) return -1;
  }
  return 0;
}

}  // namespace nc

#endif  // NETCONF_DM_STUB_REQUEST_FIELDS_H_
