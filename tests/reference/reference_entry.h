// The edit of one entry of a list, found by its keys.
#ifndef TESTS_REFERENCE_REFERENCE_ENTRY_H_
#define TESTS_REFERENCE_REFERENCE_ENTRY_H_

#include <string>
#include <utility>
#include <vector>

#include "reference/reference_command.h"

namespace ncdm_test {

class ReferenceEntry {
 public:
  ReferenceEntry(ReferenceTree* tree, ReferenceRequest* request) : tree_(tree), request_(request) {}

  // The packet type says whether by its list's command. The entry's id; negative when it fails.
  nc_int64 Edit(nc_int32 pkt_type, const std::vector<ReferenceEdit>& edits);

 private:
  using Node = ReferenceTree::Node;
  using Keys = std::vector<std::pair<std::string, std::string>>;  // by name, as they came

  nc_int64 Delete(Node* above, Node* list, const std::vector<ReferenceEdit>& edits,
                  const ReferenceEdit& key, bool by_command);
  nc_int64 Merge(Node* above, Node* list, const std::vector<ReferenceEdit>& edits,
                 const ReferenceEdit& key, bool by_command);
  nc_int64 LookUp(const Node& above, const Node& list, const std::vector<ReferenceEdit>& edits,
                  const ReferenceEdit& key);
  bool TakesFirstKey(const Node& list, const ModelEdit& edit, Callback callback,
                     std::string* value);
  nc_int64 CreateByKey(const Node& list, const ModelEdit& edit);
  nc_int64 DeleteByKey(const Node& list, const ModelEdit& edit);
  nc_int64 AskApplication(const Node& list, const Keys& keys, const Ids& ids);
  bool HasKeys(const Node& entry, const Keys& keys);
  void StampEntry(Node* entry, const std::vector<ReferenceEdit>& edits) const;

  ReferenceTree* tree_;
  ReferenceRequest* request_;
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_REFERENCE_ENTRY_H_
