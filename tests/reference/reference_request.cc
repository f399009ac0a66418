#include "reference/reference_request.h"

namespace ncdm_test {
namespace {

// Creating an entry, or merging one by a command, answers its id; 0 is then no yes.
bool GivesEntry(const ReferenceCall& call) {
  if (call.callback == Callback::kCreate) return (call.leaf->flag & NC_DM_FLAG_LEAF_LIST) == 0;
  return call.callback == Callback::kExeCmd &&
         (call.op_flag == NC_DM_CMD_OP_CREATE || call.op_flag == NC_DM_CMD_OP_MERGE);
}

bool IsYes(const ReferenceCall& call, nc_int64 result) {
  if (call.callback == Callback::kGetAttr) return false;
  if (call.callback == Callback::kSet) return result == 0;
  return result > 0 || (result == 0 && !GivesEntry(call));
}

}  // namespace

ReferenceAnswer ReferenceRequest::Call(const ReferenceCall& call) {
  ReferenceAnswer answer = application_(call);
  accepted_ |= IsYes(call, answer.result);
  return answer;
}

}  // namespace ncdm_test
