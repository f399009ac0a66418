// Reads and lookups, from the instances of the tree and the data of the application.
#ifndef TESTS_INTEGRATION_PLAIN_READS_H_
#define TESTS_INTEGRATION_PLAIN_READS_H_

#include <string>
#include <vector>

#include "device_data.h"
#include "model_request.h"
#include "reference_tree.h"

namespace ncdm_test {

class ReferenceReads {
 public:
  ReferenceReads(const ReferenceApplication& application, ReferenceTree* tree, bool sdn)
      : app_(application), tree_(tree), sdn_(sdn) {}

  Expectation Read(const ModelRequest& request) const;
  Expectation Find(const ModelRequest& request) const;

 private:
  using Node = ReferenceTree::Node;
  using Place = ReferenceTree::Place;
  using Values = std::vector<ncdm::server::Value>;
  using Element = ncdm::server::ReadElement;

  bool IsVisible(int src) const { return !sdn_ || src == NC_DM_NODE_SRC_SDN; }
  void Read(const Element& element, Values* values) const;
  void ReadLeaf(const Schema& leaf, int src, const Ids& ids, const std::string& path,
                Values* values) const;
  void ReadElements(const Node& owner, const Schema& leaf_list, const Ids& owner_ids,
                    const std::string& path, Values* values) const;
  void ReadBelow(const Node& node, const Ids& ids, const std::string& path, Values* values) const;
  void ReadWildcard(const Node& node, const Ids& ids, const std::string& path,
                    const std::vector<std::string>& names, std::size_t at, Values* values) const;
  void FindBelow(const Node& node, const Ids& ids, const std::vector<std::string>& names,
                 std::size_t at, const Element& element, std::vector<Ids>* found) const;

  const ReferenceApplication& app_;
  ReferenceTree* tree_;
  bool sdn_;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_PLAIN_READS_H_
