// What the device's data and the agent's answers should be: plain models of the data and of the
// tree of instances, and the rules by which requests work on them. It shares no code with the
// library or the application.
#ifndef TESTS_INTEGRATION_PLAIN_DEVICE_H_
#define TESTS_INTEGRATION_PLAIN_DEVICE_H_

#include <memory>
#include <string>

#include "device_data.h"
#include "model_request.h"
#include "reference_tree.h"
#include "schema_tree.h"

namespace ncdm_test {

class ReferenceModel {
 public:
  ReferenceModel() : schema_(BuildSchema()), tree_(schema_.get()) {}

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
  void ForgetEverything() { application_ = {}; }

  // Carries a request out.
  Expectation Run(const ModelRequest& request);

  const Schema& schema() const { return *schema_; }
  const ReferenceApplication& application() const { return application_; }
  const ReferenceTree& tree() const { return tree_; }

 private:
  ReferenceTree::Node* OwnerOf(const Schema* schema, const Ids& ids);
  void Announce(const Schema* schema, const Ids& ids, nc_dm_node_src_t src);

  std::unique_ptr<const Schema> schema_;
  ReferenceApplication application_;
  ReferenceTree tree_;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_PLAIN_DEVICE_H_
