// The <config> of an <edit-config>: what it says to each node, and what comes of it.
#ifndef NCDM_SERVER_NETCONF_DEVICE_EDIT_H_
#define NCDM_SERVER_NETCONF_DEVICE_EDIT_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "server/netconf/device/read.h"
#include "server/netconf/device/rpc_errors.h"
#include "server/netconf/device/tree.h"
#include "server/netconf/device/xml_document.h"
#include "server/netconf/device/yang_context.h"

namespace ncdm::netconf {

enum class EditOperation { kNone, kMerge, kReplace, kCreate, kDelete, kRemove };

// "merge" and so on; nothing for another word.
std::optional<EditOperation> EditOperationFromName(std::string_view name);

// One container, list entry, leaf or leaf-list value of an edit.
struct EditNode {
  const lysc_node* schema = nullptr;  // null for the <config> itself
  const EditNode* parent = nullptr;
  EditOperation operation = EditOperation::kMerge;  // its own, or inherited
  std::optional<std::string> value{};  // of a leaf, canonical; may be missing where it is deleted
  std::vector<std::string> keys{};     // of an entry, canonical
  bool is_new = false;  // of an entry: a key is to be created, whatever the entry's own operation
  std::vector<std::unique_ptr<EditNode>> children{};  // keys are not among them

  InstancePath Path() const;
};

// Reads a <config>: namespaces, names, keys, values and operations are checked against the model.
// Throws OperationFailed.
std::unique_ptr<EditNode> ParseEdit(const YangContext& context, Element config,
                                    EditOperation default_operation);

// What of the present configuration decides what the edit does; of one that replaces everything
// only what it names.
Wanted ToRead(const EditNode& edit);

// Carries the edit out on `tree`, which holds what ToRead names. Throws OperationFailed at the
// first node that cannot be done; with `errors` given, leaves that node and goes on.
void ApplyEdit(const EditNode& edit, Tree* tree, std::vector<RpcError>* errors);

// True if the edit itself says that the node is to be there.
bool Sets(const EditNode& edit, const lyd_node* node);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_EDIT_H_
