// What the server asks of an agent, as the frames that carry it.
//
// Each builder returns the complete request: the collecting messages, split so that each fits the
// agent's receive buffer, and the message that executes them. Names go without list markers and ids
// ("interfaces.interface.mtu"); the instance ids of the lists along the path, outermost first,
// stand beside them.
#ifndef NCDM_SERVER_REQUEST_H_
#define NCDM_SERVER_REQUEST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/frame.h"

namespace ncdm::server {

using Ids = std::vector<std::int64_t>;

enum class Operation : std::int32_t { kNone = 0, kMerge, kReplace, kCreate, kDelete, kRemove };
enum class DefaultOperation : std::int32_t { kUnset = 0, kMerge, kReplace, kNone };
enum class ErrorOption : std::int32_t { kUnset = 0, kStop, kContinue, kRollback };

// An edit of one leaf, leaf-list value or container; or, with `key`, a key leaf that names the
// edited list entry.
struct EditElement {
  std::string name;
  std::optional<std::string> value{};
  Ids ids{};
  std::int32_t key = 0;  // NC_DM_FLAG_KEY or NC_DM_FLAG_KEY_SETTABLE, as the leaf was registered
  Operation operation = Operation::kMerge;
  DefaultOperation default_operation = DefaultOperation::kUnset;
  ErrorOption error_option = ErrorOption::kUnset;
  std::int32_t test_option = 0;
};

// A path to read, or to look instances up by.
struct ReadElement {
  std::string name;
  std::optional<std::string> value{};
  Ids ids{};
};

// What comes back when a request succeeds.
enum class AnswerKind {
  kNothing,  // nothing, unless it fails
  kEdit,     // one EDIT_RSP
  kValues,   // FILTER_RSP segments and the closing message
  kIds,      // GETID_RSP segments and the closing message
};

// Frames to be sent in a row, whose `sid` is filled in on sending: each gets one of its own, so
// that a fault tells which one failed. The last frame's `sid` is the request's: it alone has an
// answer.
struct Request {
  std::vector<Frame> frames;
  AnswerKind answer = AnswerKind::kNothing;
  // Of a lookup: the ids that each array of the answer begins with. What does not is dropped: an
  // agent may have taken them for those of other lists. (At most two; nothing begins with both.)
  std::vector<Ids> id_prefixes{};
  // Of an edit: it does not wait for the answers to the pipelined edits in front of it.
  bool pipelined = false;
};

// A request cannot be sent.
class RequestError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Creates, changes or deletes one list entry, named by the elements with `key`; the ids are those
// of the lists around it. The agent carries it out through the list's command when there is one,
// and otherwise through its create and delete callbacks; with `as_command` always through the
// command. Without elements: the executing message alone.
Request EditEntry(const std::vector<EditElement>& elements, bool as_command = false,
                  nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING);

// Changes leaves, leaf-lists and containers, at any number of paths.
Request EditSubtree(const std::vector<EditElement>& elements,
                    nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING);

// Reads everything at and below the paths. Ids may end early: the lists behind the last one are
// read whole.
Request ReadValues(const std::vector<ReadElement>& elements,
                   nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING);

// The same for one path, in the form of a single message.
Request ReadOne(const ReadElement& element, nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING);

// Looks up the instances whose leaf has the given value, for all elements at once (the
// intersection). The answer holds only instances within the ids given.
Request FindIds(const std::vector<ReadElement>& elements,
                nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING);

Request Commit();
Request SwitchDebug(std::int32_t bits, bool on);
Request ShowTree();

// Appends an empty instance-id lookup, whose answer (kIds, empty) tells that everything before it
// is done. For requests that are not answered when they succeed.
Request Confirmed(Request request);
// That lookup alone: answered once the agent has handled all that it was sent before.
Request Barrier();

// Answers to what an agent announces.
Frame RegistrationAnswer(std::int32_t fault_code, std::optional<std::string_view> path = {});
Frame UnregistrationAnswer();

// Bytes that an element takes in a body.
std::size_t EncodedSize(const EditElement& element);
std::size_t EncodedSize(const ReadElement& element);

}  // namespace ncdm::server

#endif  // NCDM_SERVER_REQUEST_H_
