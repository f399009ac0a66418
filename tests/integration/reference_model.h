// What the device's data and the agent's answers should be: a plain model of the data, of the tree
// of instances and of the rules by which requests work on them, that shares no code with the
// library or the application.
//
// The data is a map from instance paths ("net.user.3.name") to texts. Beside it stands the tree,
// because the agent answers from the instances that it knows, in their order of creation, and those
// are not always what the application has.
#ifndef TESTS_INTEGRATION_REFERENCE_MODEL_H_
#define TESTS_INTEGRATION_REFERENCE_MODEL_H_

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device_schema.h"
#include "server/answer.h"
#include "server/request.h"

namespace ncdm_test {

// A request as the random test makes it.
struct ModelRequest {
  enum class Kind { kEntry, kSubtree, kRead, kReadOne, kFind };
  Kind kind = Kind::kRead;
  bool as_command = false;
  nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING;
  std::vector<ncdm::server::EditElement> edits{};
  std::vector<ncdm::server::ReadElement> reads{};

  ncdm::server::Request Build() const;
  std::string Text() const;
};

struct Expectation {
  bool ok = true;
  std::int32_t fault_code = 0;
  std::string fault_path{};
  std::int64_t instance = 0;
  std::vector<ncdm::server::Value> values{};
  std::vector<Ids> ids{};

  // What differs; empty when the answer is as expected.
  std::string Compare(const ncdm::server::Answer& answer) const;
};

// A node of the schema.
struct Schema {
  enum class Kind { kContainer, kList, kLeafList, kLeaf };
  Kind kind = Kind::kContainer;
  std::string name{};
  std::string path{};        // plain
  std::size_t depth = 0;     // lists on the path, itself included
  bool has_command = false;  // a list that is served by exe_cmd and get_attr
  LeafSpec leaf{};           // of a leaf or leaf-list
  const Schema* parent = nullptr;
  std::vector<std::unique_ptr<Schema>> children{};
  std::vector<const Schema*> keys{};  // of a list

  const Schema* Find(std::string_view child) const;
  bool offers(Offer offer) const { return (leaf.offers & offer) != 0; }
  // The list whose entries it is in; null outside lists.
  const Schema* EnclosingList() const;
  // Nodes of the subtree, itself included.
  std::size_t Size() const;
};

class ReferenceModel {
 public:
  ReferenceModel();

  // What the application had before the start, as for DeviceApp.
  void PutEntry(const std::string& list, const Ids& ids, const std::string& keys,
                nc_dm_node_src_t src);
  void PutValue(const std::string& leaf, const Ids& ids, const std::string& text);
  void PutElement(const std::string& leaf_list, const Ids& ids, const std::string& text,
                  nc_dm_node_src_t src);

  // Carries a request out.
  Expectation Run(const ModelRequest& request);

  const std::map<std::string, std::string>& data() const { return data_; }
  const Schema& schema() const { return schema_; }
  const Schema* FindSchema(std::string_view path) const;
  // The ids of the instances of a list, or leaf-list, that the tree has below the instance `ids`.
  std::vector<std::int64_t> InstancesAt(const Schema& list, const Ids& ids) const;
  // What the tree should count.
  std::size_t total_nodes() const;
  std::size_t total_entries() const { return CountInstances(root_, Schema::Kind::kList); }
  std::size_t total_elements() const { return CountInstances(root_, Schema::Kind::kLeafList); }

 private:
  using Element = ncdm::server::EditElement;

  // A container, an entry or an element in the tree.
  struct Node {
    const Schema* schema = nullptr;
    int src = 0;
    std::map<std::string, int> leaf_src{};
    std::map<std::string, Node> containers{};
    std::map<std::pair<std::string, std::int64_t>, Node> instances{};
    std::vector<std::pair<std::string, std::int64_t>> order{};  // of creation
  };

  // Where a path leads.
  struct Place {
    enum class Kind { kNothing, kObject, kLeaf, kLeafList, kElement };
    Kind kind = Kind::kNothing;
    const Schema* schema = nullptr;
    Node* node = nullptr;   // of an object or element; else of what has the leaf
    Node* owner = nullptr;  // the node above; null at the top
    std::size_t matched = 0;
    std::size_t ids_used = 0;
  };

  struct Fault {
    std::int32_t code = 0;
    std::string path{};
    bool fresh = false;
    void Set(std::int32_t new_code, std::optional<std::string> new_path = {});
    void SetUnlessSet(std::int32_t new_code, const std::string& new_path);
  };

  enum class Action { kMerge, kDelete, kLookup };
  static Action ActionOf(const Element& edit);

  // ---- The tree ----
  static Node Make(const Schema* schema, int src);
  static Node* AddInstance(Node* owner, const Schema* schema, std::int64_t id, int src);
  static void RemoveInstance(Node* owner, const std::string& name, std::int64_t id);
  static Node* FindInstance(Node* owner, const std::string& name, std::int64_t id);
  static Place Step(const Place& from, const Schema* child, Node* at);
  Place Match(const std::vector<std::string>& names, const Ids& ids, bool to_leaf_list);
  Place CreateMissing(const std::vector<std::string>& names, const Ids& ids);
  static void StampPlace(const Place& place, int src);
  static std::size_t CountInstances(const Node& node, Schema::Kind kind);
  static std::size_t InstanceSizes(const Node& node);

  // ---- The application ----
  std::string At(const Schema& schema, const Ids& ids) const;
  bool HasEntry(const Schema* list, const Ids& ids) const;
  std::string KeysOf(const Schema& list, const Ids& ids) const;
  std::string IndexKey(const Schema& list, const Ids& parents, const std::string& keys) const;
  std::int64_t AppCreateEntry(const Schema& list, const Ids& ids, const std::string& text,
                              bool* existed);
  std::int64_t AppRemoveEntry(const Schema& list, const Ids& ids);
  std::int64_t AppDeleteEntry(const Schema& list, const Ids& ids, const std::string& text);
  std::int64_t AppCreateElement(const Schema& leaf_list, const Ids& ids, const std::string& text,
                                bool* existed);
  std::int64_t AppDeleteElement(const Schema& leaf_list, const Ids& ids, const std::string& text);
  int AppSet(const Schema& leaf, const Ids& ids, const std::string& text);
  std::int64_t AppDeleteLeaf(const Schema& leaf, const Ids& ids, const std::string& text);
  std::int64_t AppCommand(const Schema& list, int op_flag, const Ids& ids,
                          const std::map<int, std::string>& slots, bool* existed);
  std::string KeysInSlots(const Schema& list, const std::map<int, std::string>& slots) const;
  void PutKeys(const Schema& list, const Ids& ids, const std::string& keys);
  std::optional<std::string> AppGet(const Schema& leaf, const Ids& ids) const;

  // ---- Edits ----
  Expectation EditEntry(const ModelRequest& request);
  Expectation EditSubtree(const ModelRequest& request);
  std::int64_t DeleteByKey(const Schema& list, const Element& edit, Fault* fault);
  std::int64_t CreateByKey(const Schema& list, const Element& edit, Fault* fault);
  std::int64_t LookUp(const Schema& list, Node* owner, const Ids& owner_ids, const Ids& ids,
                      const std::vector<Element>& edits);
  std::vector<Element> TakeGroup(std::vector<Element>* edits);
  // False ends the request.
  bool RunGroup(const std::vector<Element>& group, Fault* fault, std::int64_t* result);
  std::int64_t Execute(const Schema& entry, Node* node, const std::vector<Element>& edits,
                       int cmd_op, Fault* fault);
  int DeleteBelow(Node* container, const Ids& ids, Fault* fault, bool goes_on);

  // ---- Reads ----
  using Values = std::vector<ncdm::server::Value>;
  bool IsVisible(int src) const { return !sdn_ || src == NC_DM_NODE_SRC_SDN; }
  void Read(const ncdm::server::ReadElement& element, Values* values);
  void ReadLeaf(const Schema& leaf, int src, const Ids& ids, const std::string& path,
                Values* values) const;
  void ReadElements(const Node& owner, const Schema& leaf_list, const Ids& owner_ids,
                    const std::string& path, Values* values) const;
  void ReadBelow(const Node& node, const Ids& ids, const std::string& path, Values* values) const;
  void ReadWildcard(const Node& node, const Ids& ids, const std::string& path,
                    const std::vector<std::string>& names, std::size_t at, Values* values) const;
  Expectation Find(const ModelRequest& request) const;
  void FindBelow(const Node& node, const Ids& ids, const std::vector<std::string>& names,
                 std::size_t at, const ncdm::server::ReadElement& element, std::size_t* known,
                 std::vector<Ids>* found) const;

  Schema schema_;
  Node root_;
  std::map<std::string, std::string> data_;
  std::map<std::string, std::int64_t> index_;  // entries by list, parents and keys
  // Of the request that is carried out.
  bool sdn_ = false;
  int src_ = 0;
};

// The canonical text of a value of a type; nothing when there is none. Without a text: what a
// cleared object reads as.
std::optional<std::string> Canonical(nc_dm_val_type_t type, const std::optional<std::string>& text);

// The components of a request's path, without list markers; nothing for a malformed path.
std::optional<std::vector<std::string>> ParsePath(std::string_view path);

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_REFERENCE_MODEL_H_
