#include "plain_device.h"

#include "plain_reads.h"

namespace ncdm_test {
namespace {

std::vector<ModelLeaf> AllLeaves() {
  std::vector<ModelLeaf> leaves;
  for (const LeafDefinition& leaf : kLeaves) {
    constexpr unsigned kCallbacks = kSet | kGet | kCreate | kDelete | kGetAttr | kExeCmd;
    leaves.push_back({.path = leaf.path,
                      .type = leaf.type,
                      .flag = leaf.flag,
                      .index = leaf.slot,
                      .callbacks = leaf.offers & kCallbacks});
  }
  return leaves;
}

}  // namespace

PlainDevice::PlainDevice()
    : schema_(BuildSchema()),
      leaves_(AllLeaves()),
      tree_(leaves_),
      edits_(&tree_, [this](const ReferenceCall& call) {
        return data_.Answer(*schema_->FindPath(call.leaf->path), call);
      }) {}

void PlainDevice::PutEntry(const std::string& list, const Ids& ids, const std::string& keys,
                           nc_dm_node_src_t src) {
  const Schema* schema = schema_->FindPath(list);
  data_.PutEntry(*schema, ids, keys);
  Announce(schema, ids, src);
}

void PlainDevice::PutValue(const std::string& leaf, const Ids& ids, const std::string& text) {
  data_.PutValue(*schema_->FindPath(leaf), ids, text);
}

void PlainDevice::PutElement(const std::string& leaf_list, const Ids& ids, const std::string& text,
                             nc_dm_node_src_t src) {
  const Schema* schema = schema_->FindPath(leaf_list);
  data_.PutElement(*schema, ids, text);
  Announce(schema, ids, src);
}

void PlainDevice::TakeEntry(const std::string& list, const Ids& ids) {
  const Schema* schema = schema_->FindPath(list);
  data_.TakeEntry(*schema, ids);
  Withdraw(schema, ids);
}

void PlainDevice::TakeElement(const std::string& leaf_list, const Ids& ids) {
  const Schema* schema = schema_->FindPath(leaf_list);
  data_.TakeElement(*schema, ids);
  Withdraw(schema, ids);
}

PlainDevice::Node* PlainDevice::OwnerOf(const Schema* schema, const Ids& ids) const {
  return tree_.Follow(Names(schema->parent->path), ids, false).last;
}

// What is announced stamps what it is announced in; what is there already is stamped itself.
void PlainDevice::Announce(const Schema* schema, const Ids& ids, nc_dm_node_src_t src) {
  Node* owner = OwnerOf(schema, ids);
  Node* known = owner->Instance(schema->name, ids.back());
  Node* stamped = known != nullptr ? known : owner;
  if (stamped->src != NC_DM_NODE_SRC_SDN && stamped->src != NC_DM_NODE_SRC_CLI_ALW) {
    stamped->src = src;
  }
  if (known == nullptr) {
    ReferenceTree::MakeInstance(owner, *owner->Child(schema->name), ids.back(), src);
  }
}

void PlainDevice::Withdraw(const Schema* schema, const Ids& ids) {
  const Node* owner = OwnerOf(schema, ids);
  Node* known = owner != nullptr ? owner->Instance(schema->name, ids.back()) : nullptr;
  if (known != nullptr) ReferenceTree::Remove(known);
}

std::vector<std::int64_t> PlainDevice::InstancesAt(const Schema& list, const Ids& ids) const {
  const std::vector<std::string> names = Names(list.parent->path);
  const ReferenceTree::Way way = tree_.Follow(names, ids, false);
  std::vector<std::int64_t> found;
  if (way.last == nullptr || way.names != names.size()) return found;
  for (const auto& child : way.last->children) {
    if (child->IsInstance() && child->name == list.name) found.push_back(child->id);
  }
  return found;
}

// ---- Requests ----

Expectation PlainDevice::Edit(const ModelRequest& request, bool sdn) {
  std::vector<ModelEdit> edits;
  bool goes_on = false;
  for (const ncdm::server::EditElement& edit : request.edits) {
    edits.push_back({.name = edit.name,
                     .val = edit.value ? edit.value->c_str() : nullptr,
                     .op = static_cast<nc_int32>(edit.operation),
                     .defop = static_cast<nc_int32>(edit.default_operation),
                     .erropt = static_cast<nc_int32>(edit.error_option),
                     .flag = edit.key,
                     .ids = edit.ids});
    goes_on |= edit.error_option == ncdm::server::ErrorOption::kContinue;
  }
  const bool is_subtree = request.kind == ModelRequest::Kind::kSubtree;
  const ReferenceOutcome outcome =
      is_subtree ? edits_.EditSubtree(edits, sdn)
                 : edits_.EditEntry(request.as_command ? NC_DM_PKT_TYPE_OBJECT_CMD_END
                                                       : NC_DM_PKT_TYPE_OBJECT_END,
                                    edits, sdn);
  // Where a subtree's edits go on after a fault, it is told all the same.
  if (outcome.result < 0 || (is_subtree && goes_on && outcome.fault.code != 0)) {
    return {.ok = false, .fault_code = outcome.fault.code, .fault_path = outcome.fault.path};
  }
  return {.instance = outcome.result};
}

Expectation PlainDevice::Run(const ModelRequest& request) {
  const bool sdn = request.datastore == NC_DM_DATASTORE_SDN;
  const PlainReads reads(*schema_, data_, tree_, sdn);
  switch (request.kind) {
    case ModelRequest::Kind::kEntry:
    case ModelRequest::Kind::kSubtree:
      return Edit(request, sdn);
    case ModelRequest::Kind::kFind:
      return reads.Find(request);
    default:
      return reads.Read(request);
  }
}

}  // namespace ncdm_test
