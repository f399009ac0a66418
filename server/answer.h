// What an agent answers: the decoded bodies of its messages, and answers put together from their
// segments.
#ifndef NCDM_SERVER_ANSWER_H_
#define NCDM_SERVER_ANSWER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "server/frame.h"
#include "server/request.h"

namespace ncdm::server {

struct Fault {
  std::int32_t code = 0;  // nc_dm_fault_code_t
  std::string path;
};

struct Value {
  std::string path;  // with the instance ids in place
  std::string value;
  friend bool operator==(const Value&, const Value&) = default;
};

// How a request ended.
enum class Outcome {
  kOk,
  kFault,         // the agent refused: `fault`
  kTimeout,       // no answer in time
  kDisconnected,  // the agent went away before it answered, or was not there
  kProtocol,      // the answer breaks the format or its limit; the connection was closed
};

struct Answer {
  Outcome outcome = Outcome::kOk;
  std::string error;  // one line for people, unless kOk
  Fault fault;
  std::int64_t instance = 0;  // of an edit: the list entry's instance id
  std::int32_t status = 0;    // of an edit
  std::vector<Value> values;  // of a read
  std::vector<Ids> ids;       // of an instance-id lookup
  std::size_t messages = 0;   // frames that the answer came in

  bool ok() const { return outcome == Outcome::kOk; }
};

// Body of an EDIT_RSP.
struct EditAnswer {
  std::int32_t packet_type = 0;
  std::int64_t instance = 0;
  std::int32_t status = 0;
};

// Body of a FILTER_RSP or GETID_RSP: a segment (NC_DM_PKT_TYPE_SEGMENT) or the closing message.
struct ValuesSegment {
  std::int32_t packet_type = 0;
  std::vector<Value> values;
};
struct IdsSegment {
  std::int32_t packet_type = 0;
  std::vector<Ids> ids;
};

// Body of a REG, UNREG or REG_NAME.
struct Announcement {
  std::int32_t attributes = 0;
  std::optional<std::string> name;
};

// Body of a REG_YANG_ATTR.
struct YangAnnouncement {
  std::int32_t type = 0;  // nc_dm_yang_attr_type_t
  std::string module;
  std::string value;
};

// Each throws ProtocolError when the body is not exactly what its head announces.
Fault DecodeFault(const Frame& frame);
EditAnswer DecodeEditAnswer(const Frame& frame);
ValuesSegment DecodeValues(const Frame& frame);
IdsSegment DecodeIds(const Frame& frame);
Announcement DecodeAnnouncement(const Frame& frame);
YangAnnouncement DecodeYangAnnouncement(const Frame& frame);

// Bytes of heap that an answer may take, unless something else is said.
inline constexpr std::size_t kDefaultMaxAnswer = std::size_t{256} << 20;

// Puts one answer together.
class AnswerAssembler {
 public:
  // `id_prefixes`: Request::id_prefixes. `max_heap`: bytes that values and ids may take.
  explicit AnswerAssembler(AnswerKind kind, std::vector<Ids> id_prefixes = {},
                           std::size_t max_heap = kDefaultMaxAnswer)
      : kind_(kind), id_prefixes_(std::move(id_prefixes)), max_heap_(max_heap) {}

  // Takes the next message of the answer; true when that was the last. A message of another kind,
  // a body that cannot be decoded, or an answer that would take more than it may, throws
  // ProtocolError.
  bool Accept(const Frame& frame);

  // A fault of a message before the last; the answer is still to come.
  void NoteFault(const Frame& frame);

  // Nobody wants the answer any more: what came so far is released, what comes is not kept.
  void Discard();

  Answer& answer() { return answer_; }

 private:
  void SetFault(Fault fault);
  bool IsAskedFor(const Ids& ids) const;
  template <typename Part>
  void Append(std::vector<Part>* whole, std::vector<Part>&& part);

  AnswerKind kind_;
  std::vector<Ids> id_prefixes_;
  std::size_t max_heap_;
  std::size_t part_heap_ = 0;  // what the values or arrays so far have on the heap of their own
  bool discards_ = false;
  Answer answer_;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_ANSWER_H_
