// Reads and lookups, from the instances of the tree and the data of the application.
#ifndef TESTS_INTEGRATION_PLAIN_READS_H_
#define TESTS_INTEGRATION_PLAIN_READS_H_

#include <optional>
#include <string>
#include <vector>

#include "device_data.h"
#include "model_request.h"
#include "reference/reference_tree.h"

namespace ncdm_test {

class PlainReads {
 public:
  PlainReads(const Schema& schema, const DeviceData& data, const ReferenceTree& tree, bool sdn)
      : schema_(schema), data_(data), tree_(tree), sdn_(sdn) {}

  Expectation Read(const ModelRequest& request) const;
  Expectation Find(const ModelRequest& request) const;

 private:
  using Node = ReferenceTree::Node;
  using Nodes = ReferenceTree::Nodes;
  using Values = std::vector<ncdm::server::Value>;
  using Element = ncdm::server::ReadElement;

  // What a leaf, or an element, reads as; nothing where the request does not see it.
  std::optional<std::string> ValueOf(const Node& leaf, const Ids& ids) const;

  void Read(const Element& element, Values* values) const;
  void ReadLeaf(const Node& leaf, const Ids& ids, const std::string& path, Values* values) const;
  void ReadElements(const Node& leaf_list, const Ids& owner_ids, const std::string& path,
                    Values* values) const;
  void ReadBelow(const Node& node, const Ids& ids, const std::string& path, Values* values) const;
  void ReadWildcard(const Node& node, const Ids& ids, const std::string& path,
                    const std::vector<std::string>& names, std::size_t at, Values* values) const;
  void FindBelow(const Nodes& level, const Ids& ids, const std::vector<std::string>& names,
                 std::size_t at, const Element& element, std::vector<Ids>* found) const;

  const Schema& schema_;
  const DeviceData& data_;
  const ReferenceTree& tree_;
  bool sdn_;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_PLAIN_READS_H_
