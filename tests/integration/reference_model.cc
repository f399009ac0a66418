#include "reference_model.h"

#include "reference_edits.h"
#include "reference_reads.h"

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

// What is announced stamps what it is announced in.
void ReferenceModel::Announce(const Schema* schema, const Ids& ids, nc_dm_node_src_t src) {
  ReferenceTree::Node* owner = tree_.Match(Names(schema->parent->path), ids, false).node;
  if (owner->src != NC_DM_NODE_SRC_SDN && owner->src != NC_DM_NODE_SRC_CLI_ALW) owner->src = src;
  ReferenceTree::AddInstance(owner, schema, ids.back(), src);
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
