#include "server/request.h"

#include <algorithm>
#include <utility>

namespace ncdm::server {
namespace {

constexpr std::size_t kInt32Size = sizeof(std::int32_t);

std::size_t TextSize(std::string_view text) { return kInt32Size + text.size(); }

// The fields that end every element: presence is written before the name, the value and the ids
// behind it.
std::size_t TailSize(std::string_view name, const std::optional<std::string>& value,
                     const Ids& ids) {
  return kInt32Size + TextSize(name) + (value ? TextSize(*value) : 0) + kInt32Size +
         ids.size() * sizeof(std::int64_t);
}

void WriteIds(BodyWriter* body, const Ids& ids) {
  body->Int32(static_cast<std::int32_t>(ids.size()));
  for (const std::int64_t id : ids) {
    body->Int64(id);
  }
}

void WriteTail(BodyWriter* body, std::string_view name, const std::optional<std::string>& value,
               const Ids& ids) {
  body->Int32(value ? 1 : 0).Text(name);
  if (value) {
    body->Text(*value);
  }
  WriteIds(body, ids);
}

void WriteElement(BodyWriter* body, const EditElement& element) {
  body->Int32(element.key)
      .Int32(static_cast<std::int32_t>(element.operation))
      .Int32(static_cast<std::int32_t>(element.default_operation))
      .Int32(static_cast<std::int32_t>(element.error_option))
      .Int32(element.test_option);
  WriteTail(body, element.name, element.value, element.ids);
}

void WriteElement(BodyWriter* body, const ReadElement& element) {
  WriteTail(body, element.name, element.value, element.ids);
}

Frame NewFrame(nc_dm_msg_type_t type, nc_dm_ds_type_t datastore) {
  Frame frame;
  frame.head.type = type;
  frame.head.ds_type = datastore;
  return frame;
}

Frame PacketFrame(nc_dm_msg_type_t type, nc_dm_ds_type_t datastore, std::int32_t packet_type) {
  Frame frame = NewFrame(type, datastore);
  frame.body = BodyWriter().Int32(packet_type).Take();
  return frame;
}

void CheckElement(std::string_view name, const Ids& ids, std::size_t size) {
  if (ids.size() > NC_DM_MAX_DEPTH) {
    throw RequestError("'" + std::string(name) + "' has " + std::to_string(ids.size()) +
                       " instance ids, more than " + std::to_string(NC_DM_MAX_DEPTH));
  }
  if (size > kMaxRequestBody - kInt32Size) {
    throw RequestError("'" + std::string(name) + "' needs " + std::to_string(size) +
                       " bytes, more than the " + std::to_string(kMaxRequestBody - kInt32Size) +
                       " that one message carries");
  }
}

// Collecting messages of as many elements as fit each, then the executing message.
template <typename Element>
Request CollectAndExecute(nc_dm_msg_type_t type, nc_dm_ds_type_t datastore,
                          const std::vector<Element>& elements, std::int32_t collect_type,
                          std::int32_t execute_type, AnswerKind answer) {
  Request request;
  request.answer = answer;
  BodyWriter body;
  std::int32_t count = 0;
  const auto finish_message = [&] {
    if (count > 0) {
      Frame frame = NewFrame(type, datastore);
      frame.head.entry_cnt = count;
      frame.body = std::exchange(body, {}).Take();
      request.frames.push_back(std::move(frame));
      count = 0;
    }
  };
  for (const Element& element : elements) {
    const std::size_t size = EncodedSize(element);
    CheckElement(element.name, element.ids, size);
    if (body.size() + size > kMaxRequestBody) {
      finish_message();
    }
    if (count == 0) {
      body.Int32(collect_type);
    }
    WriteElement(&body, element);
    ++count;
  }
  finish_message();
  request.frames.push_back(PacketFrame(type, datastore, execute_type));
  return request;
}

bool BeginsWith(const Ids& ids, const Ids& prefix) {
  return ids.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), ids.begin());
}

// The longest ids that were given; and those that have nothing in common with them, when there are
// any.
std::vector<Ids> IdPrefixes(const std::vector<ReadElement>& elements) {
  std::vector<Ids> prefixes;
  for (const ReadElement& element : elements) {
    if (prefixes.empty() || BeginsWith(element.ids, prefixes.front())) {
      prefixes = {element.ids};
    } else if (!BeginsWith(prefixes.front(), element.ids)) {
      prefixes.push_back(element.ids);
      break;
    }
  }
  return prefixes;
}

}  // namespace

std::size_t EncodedSize(const EditElement& element) {
  return 5 * kInt32Size + TailSize(element.name, element.value, element.ids);
}

std::size_t EncodedSize(const ReadElement& element) {
  return TailSize(element.name, element.value, element.ids);
}

Request EditEntry(const std::vector<EditElement>& elements, bool as_command,
                  nc_dm_ds_type_t datastore) {
  return CollectAndExecute(NC_DM_MSG_TYPE_EDIT, datastore, elements,
                           as_command ? NC_DM_PKT_TYPE_OBJECT_CMD : NC_DM_PKT_TYPE_OBJECT,
                           as_command ? NC_DM_PKT_TYPE_OBJECT_CMD_END : NC_DM_PKT_TYPE_OBJECT_END,
                           AnswerKind::kEdit);
}

Request EditSubtree(const std::vector<EditElement>& elements, nc_dm_ds_type_t datastore) {
  return CollectAndExecute(NC_DM_MSG_TYPE_EDIT, datastore, elements, NC_DM_PKT_TYPE_SEGMENT,
                           NC_DM_PKT_TYPE_END, AnswerKind::kEdit);
}

Request ReadValues(const std::vector<ReadElement>& elements, nc_dm_ds_type_t datastore) {
  return CollectAndExecute(NC_DM_MSG_TYPE_FILTER, datastore, elements, NC_DM_PKT_TYPE_SEGMENT,
                           NC_DM_PKT_TYPE_END, AnswerKind::kValues);
}

Request ReadOne(const ReadElement& element, nc_dm_ds_type_t datastore) {
  CheckElement(element.name, element.ids, EncodedSize(element));
  Frame frame = NewFrame(NC_DM_MSG_TYPE_FILTER, datastore);
  BodyWriter body;
  body.Int32(NC_DM_PKT_TYPE_FILTER).Text(element.name);
  frame.head.flag = NC_DM_MSG_FLAG_NAME;
  if (element.value) {
    body.Text(*element.value);
    frame.head.flag |= NC_DM_MSG_FLAG_VALUE;
  }
  if (!element.ids.empty()) {
    WriteIds(&body, element.ids);
    frame.head.flag |= NC_DM_MSG_FLAG_IDS;
  }
  frame.body = body.Take();
  return Request{{std::move(frame)}, AnswerKind::kValues};
}

Request FindIds(const std::vector<ReadElement>& elements, nc_dm_ds_type_t datastore) {
  Request request = CollectAndExecute(NC_DM_MSG_TYPE_GETID, datastore, elements,
                                      NC_DM_PKT_TYPE_SEGMENT, NC_DM_PKT_TYPE_END, AnswerKind::kIds);
  request.id_prefixes = IdPrefixes(elements);
  return request;
}

Request Commit() {
  return Request{{PacketFrame(NC_DM_MSG_TYPE_EDIT, NC_DM_DATASTORE_RUNNING, NC_DM_PKT_TYPE_COMMIT)},
                 AnswerKind::kNothing};
}

Request SwitchDebug(std::int32_t bits, bool on) {
  Frame frame = NewFrame(NC_DM_MSG_TYPE_DBG, NC_DM_DATASTORE_RUNNING);
  frame.body = BodyWriter().Int32(bits).Int32(on ? 1 : 0).Take();
  return Request{{std::move(frame)}, AnswerKind::kNothing};
}

Request ShowTree() {
  return Request{{NewFrame(NC_DM_MSG_TYPE_SHOW, NC_DM_DATASTORE_RUNNING)}, AnswerKind::kNothing};
}

Request Confirmed(Request request) {
  request.frames.push_back(
      PacketFrame(NC_DM_MSG_TYPE_GETID, NC_DM_DATASTORE_RUNNING, NC_DM_PKT_TYPE_END));
  request.answer = AnswerKind::kIds;
  return request;
}

Request Barrier() { return Confirmed(Request{}); }

Frame RegistrationAnswer(std::int32_t fault_code, std::optional<std::string_view> path) {
  Frame frame;
  frame.head.type = NC_DM_MSG_TYPE_REG_RSP;
  BodyWriter body;
  body.Int32(fault_code);
  if (path) {
    body.Text(*path);
    frame.head.flag = NC_DM_MSG_FLAG_NAME;
  }
  frame.body = body.Take();
  return frame;
}

Frame UnregistrationAnswer() {
  Frame frame;
  frame.head.type = NC_DM_MSG_TYPE_UNREG_CLIENT_RSP;
  return frame;
}

}  // namespace ncdm::server
