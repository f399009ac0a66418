// What the device's data and the agent's answers should be, for requests as the server sends them:
// a plain model of the data, and for the edits the model of tests/reference. It shares no code with
// the library or the application.
#ifndef TESTS_INTEGRATION_PLAIN_DEVICE_H_
#define TESTS_INTEGRATION_PLAIN_DEVICE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "device_data.h"
#include "model_request.h"
#include "reference/reference_edits.h"
#include "reference/reference_tree.h"
#include "schema_tree.h"

namespace ncdm_test {

class PlainDevice {
 public:
  PlainDevice();

  // What the application has before the start, as for DeviceApp.
  void PutEntry(const std::string& list, const Ids& ids, const std::string& keys,
                nc_dm_node_src_t src);
  void PutValue(const std::string& leaf, const Ids& ids, const std::string& text);
  void PutElement(const std::string& leaf_list, const Ids& ids, const std::string& text,
                  nc_dm_node_src_t src);

  // The same holds for what it announces later. The ways back: an entry with all that is in it, an
  // element, and all data behind the agent's back.
  void TakeEntry(const std::string& list, const Ids& ids);
  void TakeElement(const std::string& leaf_list, const Ids& ids);
  void ForgetEverything() { data_ = {}; }

  // Carries a request out.
  Expectation Run(const ModelRequest& request);

  const Schema& schema() const { return *schema_; }
  const DeviceData& data() const { return data_; }

  // The ids of the instances of a list, or leaf-list, below the instance `ids`.
  std::vector<std::int64_t> InstancesAt(const Schema& list, const Ids& ids) const;

  // What the agent should count.
  std::size_t total_nodes() const { return tree_.size(); }
  std::size_t total_entries() const { return tree_.Count(ReferenceTree::Kind::kEntry); }
  std::size_t total_elements() const { return tree_.Count(ReferenceTree::Kind::kElement); }

 private:
  using Node = ReferenceTree::Node;

  Expectation Edit(const ModelRequest& request, bool sdn);
  Node* OwnerOf(const Schema* schema, const Ids& ids) const;
  void Announce(const Schema* schema, const Ids& ids, nc_dm_node_src_t src);
  void Withdraw(const Schema* schema, const Ids& ids);

  std::unique_ptr<const Schema> schema_;
  std::vector<ModelLeaf> leaves_;
  DeviceData data_;
  ReferenceTree tree_;
  ReferenceEdits edits_;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_PLAIN_DEVICE_H_
