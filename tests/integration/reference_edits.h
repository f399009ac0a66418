// Edits as the server asks for them: of one entry by its keys, and of a subtree by paths and ids.
#ifndef TESTS_INTEGRATION_REFERENCE_EDITS_H_
#define TESTS_INTEGRATION_REFERENCE_EDITS_H_

#include <cstdint>
#include <vector>

#include "model_request.h"
#include "reference_command.h"

namespace ncdm_test {

class ReferenceEdits {
 public:
  ReferenceEdits(ReferenceApplication* application, ReferenceTree* tree, int src)
      : context_{application, tree, src, &fault_, &accepted_} {
    tree->BeginWay();
  }
  ~ReferenceEdits() {
    if (!accepted_) context_.tree->UnmakeWay();
  }
  ReferenceEdits(const ReferenceEdits&) = delete;
  ReferenceEdits& operator=(const ReferenceEdits&) = delete;

  Expectation EditEntry(const ModelRequest& request);
  Expectation EditSubtree(const ModelRequest& request);

 private:
  using Element = ncdm::server::EditElement;
  using Node = ReferenceTree::Node;
  using Place = ReferenceTree::Place;

  Expectation Failure() const;
  Expectation FailOn(const Schema& list);
  Expectation DeleteEntry(const ModelRequest& request, const Element& key, const Schema& list,
                          Node* above);
  Expectation MergeEntry(const ModelRequest& request, const Element& key, const Schema& list,
                         Node* above);
  Expectation LookUpEntry(const ModelRequest& request, const Element& key, const Schema& list,
                          const Place& above);
  std::int64_t DeleteByKey(const Schema& list, const Element& edit);
  std::int64_t CreateByKey(const Schema& list, const Element& edit);
  void StampEntry(const std::vector<Element>& edits, Node* entry) const;
  std::int64_t Execute(const Schema& entry, Node* node, const std::vector<Element>& edits,
                       int cmd_op);
  // False ends the request.
  bool RunGroup(const std::vector<Element>& group, std::int64_t* result);

  ReferenceFault fault_;
  bool accepted_ = false;
  ReferenceContext context_;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_REFERENCE_EDITS_H_
