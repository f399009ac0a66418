// Edits by paths: in groups, each of what stands beside each other.
#ifndef TESTS_REFERENCE_REFERENCE_SUBTREE_H_
#define TESTS_REFERENCE_REFERENCE_SUBTREE_H_

#include <list>
#include <vector>

#include "reference/reference_command.h"

namespace ncdm_test {

class ReferenceSubtree {
 public:
  ReferenceSubtree(ReferenceTree* tree, ReferenceRequest* request)
      : tree_(tree), request_(request) {}

  // Takes what it looks at out of the edits. The last group's result; -1 when it was ended.
  nc_int64 Edit(std::list<ReferenceEdit>* edits);

 private:
  // False ends the request.
  bool RunGroup(const std::vector<ReferenceEdit>& group, nc_int64* result);

  ReferenceTree* tree_;
  ReferenceRequest* request_;
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_REFERENCE_SUBTREE_H_
