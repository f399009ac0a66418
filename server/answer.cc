#include "server/answer.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "server/names.h"

namespace ncdm::server {
namespace {

Ids ReadIds(BodyReader* body) {
  const std::int32_t count = body->Int32();
  if (count < 0 || count > NC_DM_MAX_DEPTH) {
    throw ProtocolError("impossible count of instance ids " + std::to_string(count));
  }
  Ids ids;
  for (std::int32_t i = 0; i < count; ++i) {
    ids.push_back(body->Int64());
  }
  return ids;
}

// Every counted thing takes at least 4 bytes, so a count that the body cannot hold is found before
// it is believed.
std::int32_t CheckedCount(std::int32_t count, const BodyReader& body) {
  if (count < 0 || static_cast<std::size_t>(count) > body.rest().size() / sizeof(std::int32_t)) {
    throw ProtocolError("impossible entry count " + std::to_string(count));
  }
  return count;
}

// What an allocation costs beside its bytes.
constexpr std::size_t kAllocation = 16;

std::size_t HeapOf(const std::string& text) {
  static const std::size_t kInPlace = std::string().capacity();
  return text.capacity() <= kInPlace ? 0 : text.capacity() + kAllocation;
}

std::size_t HeapOf(const Value& value) { return HeapOf(value.path) + HeapOf(value.value); }

std::size_t HeapOf(const Ids& ids) {
  return ids.empty() ? 0 : ids.capacity() * sizeof(Ids::value_type) + kAllocation;
}

// The array of parts when `more` are appended: while it grows there are two of them.
template <typename Part>
std::size_t HeapWhileGrowing(const std::vector<Part>& whole, std::size_t more) {
  const std::size_t size = whole.size() + more;
  const std::size_t parts = size <= whole.capacity()
                                ? whole.capacity()
                                : whole.capacity() + std::max(size, 2 * whole.capacity());
  return parts * sizeof(Part);
}

std::int32_t AnswerType(AnswerKind kind) {
  switch (kind) {
    case AnswerKind::kEdit:
      return NC_DM_MSG_TYPE_EDIT_RSP;
    case AnswerKind::kValues:
      return NC_DM_MSG_TYPE_FILTER_RSP;
    case AnswerKind::kIds:
      return NC_DM_MSG_TYPE_GETID_RSP;
    case AnswerKind::kNothing:
      break;
  }
  return 0;
}

}  // namespace

Fault DecodeFault(const Frame& frame) {
  BodyReader body(frame.body);
  Fault fault;
  fault.code = body.Int32();
  fault.path = body.Text();
  body.ExpectEnd();
  return fault;
}

EditAnswer DecodeEditAnswer(const Frame& frame) {
  BodyReader body(frame.body);
  EditAnswer answer;
  answer.packet_type = body.Int32();
  answer.instance = body.Int64();
  answer.status = body.Int32();
  body.ExpectEnd();
  return answer;
}

ValuesSegment DecodeValues(const Frame& frame) {
  BodyReader body(frame.body);
  ValuesSegment segment;
  segment.packet_type = body.Int32();
  if (segment.packet_type == NC_DM_PKT_TYPE_SEGMENT) {
    const std::int32_t count = CheckedCount(frame.head.entry_cnt, body);
    for (std::int32_t i = 0; i < count; ++i) {
      Value value;
      value.path = body.Text();
      value.value = body.Text();
      segment.values.push_back(std::move(value));
    }
  } else if ((frame.head.flag & (NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE)) != 0) {
    // One path and value outside a segment, each announced by its bit.
    Value& value = segment.values.emplace_back();
    if ((frame.head.flag & NC_DM_MSG_FLAG_NAME) != 0) {
      value.path = body.Text();
    }
    if ((frame.head.flag & NC_DM_MSG_FLAG_VALUE) != 0) {
      value.value = body.Text();
    }
  }
  body.ExpectEnd();
  return segment;
}

IdsSegment DecodeIds(const Frame& frame) {
  BodyReader body(frame.body);
  IdsSegment segment;
  segment.packet_type = body.Int32();
  // A segment counts its arrays in the head, any other message in its body.
  std::int32_t count = 0;
  if (segment.packet_type == NC_DM_PKT_TYPE_SEGMENT) {
    count = CheckedCount(frame.head.entry_cnt, body);
  } else if ((frame.head.flag & NC_DM_MSG_FLAG_IDS) != 0) {
    count = body.Int32();
    CheckedCount(count, body);
  }
  for (std::int32_t i = 0; i < count; ++i) {
    segment.ids.push_back(ReadIds(&body));
  }
  body.ExpectEnd();
  return segment;
}

Announcement DecodeAnnouncement(const Frame& frame) {
  BodyReader body(frame.body);
  Announcement announcement;
  announcement.attributes = body.Int32();
  if ((frame.head.flag & NC_DM_MSG_FLAG_NAME) != 0) {
    announcement.name = std::string(body.Text());
  }
  body.ExpectEnd();
  return announcement;
}

YangAnnouncement DecodeYangAnnouncement(const Frame& frame) {
  BodyReader body(frame.body);
  YangAnnouncement announcement;
  announcement.type = body.Int32();
  announcement.module = body.Text();
  announcement.value = body.Text();
  body.ExpectEnd();
  return announcement;
}

bool AnswerAssembler::Accept(const Frame& frame) {
  ++answer_.messages;
  if (frame.head.type == NC_DM_MSG_TYPE_FAULT) {
    SetFault(DecodeFault(frame));
    return true;
  }
  if (frame.head.type != AnswerType(kind_)) {
    throw ProtocolError("an answer of type " + MessageTypeName(frame.head.type) + " where " +
                        MessageTypeName(AnswerType(kind_)) + " was due");
  }
  if (kind_ == AnswerKind::kEdit) {
    const EditAnswer edit = DecodeEditAnswer(frame);
    answer_.instance = edit.instance;
    answer_.status = edit.status;
    return true;
  }
  if (kind_ == AnswerKind::kValues) {
    ValuesSegment segment = DecodeValues(frame);
    Append(&answer_.values, std::move(segment.values));
    return segment.packet_type != NC_DM_PKT_TYPE_SEGMENT;
  }
  IdsSegment segment = DecodeIds(frame);
  std::erase_if(segment.ids, [this](const Ids& ids) { return !IsAskedFor(ids); });
  Append(&answer_.ids, std::move(segment.ids));
  return segment.packet_type != NC_DM_PKT_TYPE_SEGMENT;
}

bool AnswerAssembler::IsAskedFor(const Ids& ids) const {
  return std::ranges::all_of(id_prefixes_, [&](const Ids& prefix) {
    return ids.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), ids.begin());
  });
}

template <typename Part>
void AnswerAssembler::Append(std::vector<Part>* whole, std::vector<Part>&& part) {
  if (discards_) {
    return;
  }
  for (const Part& one : part) {
    part_heap_ += HeapOf(one);
  }
  if (part_heap_ + HeapWhileGrowing(*whole, part.size()) > max_heap_) {
    throw ProtocolError("an answer that takes more than " + std::to_string(max_heap_) + " bytes");
  }
  whole->insert(whole->end(), std::make_move_iterator(part.begin()),
                std::make_move_iterator(part.end()));
}

void AnswerAssembler::Discard() {
  discards_ = true;
  answer_ = Answer{};
}

void AnswerAssembler::NoteFault(const Frame& frame) { SetFault(DecodeFault(frame)); }

void AnswerAssembler::SetFault(Fault fault) {
  if (answer_.outcome == Outcome::kFault) {
    return;  // the first one is the cause
  }
  answer_.outcome = Outcome::kFault;
  answer_.error = RenderFault(fault.code, fault.path);
  answer_.fault = std::move(fault);
}

}  // namespace ncdm::server
