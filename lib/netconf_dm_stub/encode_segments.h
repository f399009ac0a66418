// Segments: the bodies of answers that are larger than any message.
#ifndef NETCONF_DM_STUB_ENCODE_SEGMENTS_H_
#define NETCONF_DM_STUB_ENCODE_SEGMENTS_H_

#include "netconf_dm_kernel/records.h"

namespace nc {

// Build a segment in a message of NC_DM_SEND_BUF_SIZE bytes: they move elements from the front of
// the list into the body as long as there is room, free them, and fill the head but for its `sid`.
//
// A value without name or text, and one that fits no segment, would never leave the list: it is
// logged and dropped.
void EncodeFilterSegment(nc_dm_msg_t* dm_msg, nc_int32 pkt_type, list_head* values);
void EncodeGetidSegment(nc_dm_msg_t* dm_msg, nc_int32 pkt_type, list_head* id_arrays);

}  // namespace nc

#endif  // NETCONF_DM_STUB_ENCODE_SEGMENTS_H_
