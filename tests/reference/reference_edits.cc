#include "reference/reference_edits.h"

#include <list>

#include "reference/reference_entry.h"
#include "reference/reference_subtree.h"

namespace ncdm_test {
namespace {

std::vector<ReferenceEdit> Read(const std::vector<ModelEdit>& edits) {
  return std::vector<ReferenceEdit>(edits.begin(), edits.end());
}

// What a request that nothing was accepted of has made goes again.
ReferenceOutcome End(ReferenceTree* tree, ReferenceRequest* request, nc_int64 result, size_t left) {
  if (!request->accepted()) tree->UnmakeWay();
  tree->KeepWay();
  return {result, request->fault(), static_cast<int>(left)};
}

}  // namespace

ReferenceOutcome ReferenceEdits::EditSubtree(const std::vector<ModelEdit>& edits, bool sdn) {
  ReferenceRequest request(application_, sdn);
  const std::vector<ReferenceEdit> read = Read(edits);
  std::list<ReferenceEdit> left(read.begin(), read.end());
  const nc_int64 result = ReferenceSubtree(tree_, &request).Edit(&left);
  return End(tree_, &request, result, left.size());
}

ReferenceOutcome ReferenceEdits::EditEntry(nc_int32 pkt_type, const std::vector<ModelEdit>& edits,
                                           bool sdn) {
  ReferenceRequest request(application_, sdn);
  const nc_int64 result = ReferenceEntry(tree_, &request).Edit(pkt_type, Read(edits));
  return End(tree_, &request, result, edits.size());
}

}  // namespace ncdm_test
