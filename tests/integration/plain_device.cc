#include "plain_device.h"

#include "plain_reads.h"
#include "reference_edits.h"

namespace ncdm_test {

void ReferenceModel::PutEntry(const std::string& list, const Ids& ids, const std::string& keys,
                              nc_dm_node_src_t src) {
  const Schema* schema = schema_->FindPath(list);
  application_.PutEntry(*schema, ids, keys);
  Announce(schema, ids, src);
}

void ReferenceModel::PutValue(const std::string& leaf, const Ids& ids, const std::string& text) {
  application_.PutValue(*schema_->FindPath(leaf), ids, text);
}

void ReferenceModel::PutElement(const std::string& leaf_list, const Ids& ids,
                                const std::string& text, nc_dm_node_src_t src) {
  const Schema* schema = schema_->FindPath(leaf_list);
  application_.PutElement(*schema, ids, text);
  Announce(schema, ids, src);
}

void ReferenceModel::TakeEntry(const std::string& list, const Ids& ids) {
  const Schema* schema = schema_->FindPath(list);
  application_.TakeEntry(*schema, ids);
  ReferenceTree::RemoveInstance(OwnerOf(schema, ids), schema->name, ids.back());
}

void ReferenceModel::TakeElement(const std::string& leaf_list, const Ids& ids) {
  const Schema* schema = schema_->FindPath(leaf_list);
  application_.TakeElement(*schema, ids);
  ReferenceTree::RemoveInstance(OwnerOf(schema, ids), schema->name, ids.back());
}

ReferenceTree::Node* ReferenceModel::OwnerOf(const Schema* schema, const Ids& ids) {
  return tree_.Match(Names(schema->parent->path), ids, false).node;
}

// What is announced stamps what it is announced in; what is there already is stamped itself.
void ReferenceModel::Announce(const Schema* schema, const Ids& ids, nc_dm_node_src_t src) {
  ReferenceTree::Node* owner = OwnerOf(schema, ids);
  ReferenceTree::Node* known = ReferenceTree::FindInstance(owner, schema->name, ids.back());
  ReferenceTree::Node* stamped = known != nullptr ? known : owner;
  if (stamped->src != NC_DM_NODE_SRC_SDN && stamped->src != NC_DM_NODE_SRC_CLI_ALW) {
    stamped->src = src;
  }
  if (known == nullptr) ReferenceTree::AddInstance(owner, schema, ids.back(), src);
}

Expectation ReferenceModel::Run(const ModelRequest& request) {
  const bool sdn = request.datastore == NC_DM_DATASTORE_SDN;
  ReferenceEdits edits(&application_, &tree_, sdn ? NC_DM_NODE_SRC_SDN : NC_DM_NODE_SRC_NONE);
  const ReferenceReads reads(application_, &tree_, sdn);
  switch (request.kind) {
    case ModelRequest::Kind::kEntry:
      return edits.EditEntry(request);
    case ModelRequest::Kind::kSubtree:
      return edits.EditSubtree(request);
    case ModelRequest::Kind::kFind:
      return reads.Find(request);
    default:
      return reads.Read(request);
  }
}

}  // namespace ncdm_test
