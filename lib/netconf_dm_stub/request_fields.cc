#include "netconf_dm_stub/request_fields.h"

#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace nc {
namespace {

// The peer says how many ids there are, and the array has a fixed number of slots: a larger count
// is refused as a count that cannot be decoded.
int ReadIds(BodyReader* body, const RequestWords& words, nc_dm_id_array_t** id_array) {
  constexpr const char* kFailure = "Failed to decode id_array->cnt!\n";
  nc_int32 count = 0;
  if (!body->Int32(&count) || count > NC_DM_MAX_DEPTH) return Refuse(kFailure);
  NC_DM_LOG_PACKET("%s->id_array->cnt:%d\n", words.record, count);
  if (count <= 0) return 0;

  *id_array = NewRecord<nc_dm_id_array_t>().release();
  if (*id_array == nullptr) return Refuse(kFailure);
  (*id_array)->cnt = count;
  for (nc_int32 i = 0; i < count; ++i) {
    nc_int64* id = &(*id_array)->id[i];
    if (!body->Int64(id)) {
      NC_DM_LOG_ERROR("Failed to decode id[%d]:%lld\n", i, LongLong(*id));
      return -1;
    }
    NC_DM_LOG_PACKET("%s->id_array->id[%d]:%lld\n", words.record, i, LongLong(*id));
  }
  return 0;
}

}  // namespace

int ReadPacketType(BodyReader* body, nc_int32* packet_type) {
  if (body->Int32(packet_type)) return 0;
  return Refuse("Failed to decode message packet type field!\n");
}

int ReadRequestFields(BodyReader* body, const RequestWords& words, nc_int32 present,
                      const RequestFields& fields) {
  if ((present & NC_DM_MSG_FLAG_NAME) != 0) {
    if (!body->Text(fields.name)) return Refuse(words.name_failure);
    NC_DM_LOG_PACKET("%s->name:%s\n", words.record, *fields.name);
  }
  if ((present & NC_DM_MSG_FLAG_VALUE) != 0) {
    if (!body->Text(fields.value)) return Refuse(words.value_failure);
    NC_DM_LOG_PACKET("%s->val:%s\n", words.record, *fields.value);
  }
  return (present & NC_DM_MSG_FLAG_IDS) == 0 ? 0 : ReadIds(body, words, fields.id_array);
}

}  // namespace nc
