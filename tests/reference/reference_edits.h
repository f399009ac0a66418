// A second, plain implementation of the edits of an entry and of those by paths. It holds a tree of
// its own and tells what the application should be asked, and the result and fault.
#ifndef TESTS_REFERENCE_REFERENCE_EDITS_H_
#define TESTS_REFERENCE_REFERENCE_EDITS_H_

#include <utility>
#include <vector>

#include "reference/reference_command.h"

namespace ncdm_test {

// What a request comes to.
struct ReferenceOutcome {
  nc_int64 result = 0;
  ReferenceFault fault = {};
  int left = 0;  // edits that were not looked at
};

class ReferenceEdits {
 public:
  ReferenceEdits(ReferenceTree* tree, ReferenceApplication application)
      : tree_(tree), application_(std::move(application)) {}

  // Edits by paths.
  ReferenceOutcome EditSubtree(const std::vector<ModelEdit>& edits, bool sdn);
  // The edit of an entry; the packet type says whether by its list's command.
  ReferenceOutcome EditEntry(nc_int32 pkt_type, const std::vector<ModelEdit>& edits, bool sdn);

 private:
  ReferenceTree* tree_;
  ReferenceApplication application_;
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_REFERENCE_EDITS_H_
