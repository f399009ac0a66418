// From XML to EditNode.
#include <algorithm>
#include <array>
#include <unordered_set>

#include "server/netconf/device/choices.h"
#include "server/netconf/device/edit.h"
#include "server/netconf/device/filter.h"

namespace ncdm::netconf {
namespace {

// An agent's answer carries no more; a longer value could be set and never be read again.
constexpr std::size_t kMaxValue = 255;

struct OperationName {
  std::string_view name;
  EditOperation operation;
};

constexpr std::array kOperationNames = {
    OperationName{"none", EditOperation::kNone},
    OperationName{"merge", EditOperation::kMerge},
    OperationName{"replace", EditOperation::kReplace},
    OperationName{"create", EditOperation::kCreate},
    OperationName{"delete", EditOperation::kDelete},
    OperationName{"remove", EditOperation::kRemove},
};

bool Deletes(EditOperation operation) {
  return operation == EditOperation::kDelete || operation == EditOperation::kRemove;
}

class Parser {
 public:
  explicit Parser(const YangContext& context) : context_(context) {}

  void Children(const std::vector<Element>& elements, EditNode* parent) {
    std::unordered_set<std::string> seen;
    for (const Element element : elements) {
      const lysc_node* schema = Schema(element, *parent);
      if (IsKey(schema)) {
        continue;  // read with the entry
      }
      auto node = std::make_unique<EditNode>(
          EditNode{.schema = schema, .parent = parent, .operation = Operation(element, *parent)});
      Content(element, node.get());
      if (!seen.insert(Identity(*node)).second) {
        Fail(ElementError("bad-element", element.name(), "given twice"), *node);
      }
      parent->children.push_back(std::move(node));
    }
    CheckCases(*parent);
  }

 private:
  [[noreturn]] static void Fail(RpcError error, const InstancePath& at) {
    throw OperationFailed(At(std::move(error), at));
  }
  [[noreturn]] static void Fail(RpcError error, const EditNode& at) {
    Fail(std::move(error), at.Path());
  }

  // What tells a node from its siblings.
  static std::string Identity(const EditNode& node) {
    std::string identity = std::string(node.schema->module->name) + ":" + node.schema->name;
    for (const std::string& key : node.keys) {
      identity += '\0' + key;
    }
    if (node.schema->nodetype == LYS_LEAFLIST) {
      identity += '\0' + node.value.value_or("");
    }
    return identity;
  }

  const lysc_node* Schema(Element element, const EditNode& parent) const {
    const lys_module* module = context_.ImplementedByNamespace(element.name_space());
    if (module == nullptr || !HasData(module)) {
      RpcError error = ElementError("unknown-namespace", element.name(),
                                    "no module has the namespace of this element");
      error.info.push_back({"bad-namespace", std::string(element.name_space())});
      Fail(std::move(error), parent);
    }
    const lysc_node* schema = nullptr;
    ForEachChild(parent.schema, parent.schema == nullptr ? module : nullptr,
                 [&](const lysc_node* child) {
                   if (child->module == module && element.name() == child->name) {
                     schema = child;
                   }
                 });
    if (schema == nullptr) {
      Fail(ElementError("unknown-element", element.name(), "the model has no such element here"),
           parent);
    }
    if (!IsConfig(schema)) {
      Fail(ElementError("unknown-element", element.name(), "this is state, no configuration"),
           parent);
    }
    return schema;
  }

  // A module that only augments others has a namespace in use, too.
  static bool HasData(const lys_module* module) {
    return module->compiled->data != nullptr ||
           (module->parsed != nullptr && module->parsed->augments != nullptr);
  }

  EditOperation Operation(Element element, const EditNode& parent) const {
    EditOperation operation = parent.operation;
    for (const Element::AttributeName& attribute : element.Attributes()) {
      if (attribute.name != "operation" || attribute.name_space != kBaseNamespace) {
        AttributeError("unknown-attribute", attribute.name, element, parent);
      }
      const auto named = EditOperationFromName(*element.Attribute("operation", kBaseNamespace));
      if (!named || *named == EditOperation::kNone) {
        AttributeError("bad-attribute", attribute.name, element, parent);
      }
      operation = *named;
    }
    return operation;
  }

  [[noreturn]] static void AttributeError(const char* tag, std::string_view attribute,
                                          Element element, const EditNode& parent) {
    RpcError error = netconf::ProtocolError(tag, "attribute '" + std::string(attribute) + "'");
    error.info.push_back({"bad-attribute", std::string(attribute)});
    error.info.push_back({"bad-element", std::string(element.name())});
    Fail(std::move(error), parent);
  }

  void Content(Element element, EditNode* node) {
    if (IsTerm(node->schema)) {
      Value(element, node);
      return;
    }
    if (node->schema->nodetype == LYS_ANYDATA) {
      Fail(ApplicationError("operation-not-supported", "this kind of node is not served"), *node);
    }
    if (!element.Trimmed().empty()) {
      Fail(ElementError("bad-element", element.name(), "text where elements belong"), *node);
    }
    const std::vector<Element> children = element.Children();
    if (node->schema->nodetype == LYS_LIST) {
      Keys(children, node);
    }
    Children(children, node);
  }

  void Value(Element element, EditNode* node) const {
    const std::vector<Element> children = element.Children();
    if (!children.empty()) {
      Fail(ElementError("unknown-element", children.front().name(), "a leaf has no elements"),
           *node);
    }
    const std::string text = element.Text();
    if (Deletes(node->operation) && node->schema->nodetype == LYS_LEAF) {
      return;  // whatever it says, the leaf goes
    }
    node->value = Canonical(element, node->schema, text, node->Path());
  }

  std::string Canonical(Element element, const lysc_node* schema, const std::string& text,
                        const InstancePath& at) const {
    try {
      std::string value = CanonicalValue(context_, schema, element, text);
      if (value.size() > kMaxValue) {
        Fail(ApplicationError("too-big", "a value has at most 255 bytes"), at);
      }
      return value;
    } catch (const OperationFailed& failed) {
      RpcError error = failed.errors().front();
      if (!error.path.empty()) {
        throw;
      }
      error.info.push_back({"bad-element", std::string(element.name())});
      Fail(std::move(error), at);
    }
  }

  void Keys(const std::vector<Element>& children, EditNode* node) const {
    InstancePath list = node->parent->Path();
    list.Enter(node->schema);
    const std::vector<const lysc_node*> keys = KeysOf(node->schema);
    if (keys.size() > kMaxKeys) {
      Fail(ApplicationError("operation-not-supported", "a list of so many keys is not served"),
           list);
    }
    std::vector<Element> elements;
    for (const lysc_node* key : keys) {
      const auto is_key = [&](Element child) { return child.Is(key->name, key->module->ns); };
      const auto child = std::ranges::find_if(children, is_key);
      if (child == children.end()) {
        Fail(ElementError("missing-element", key->name, "an entry is named by all its keys"), list);
      }
      if (std::ranges::count_if(children, is_key) > 1) {
        Fail(ElementError("bad-element", key->name, "given twice"), list);
      }
      InstancePath at = list;
      at.Enter(key);
      node->keys.push_back(Canonical(*child, key, child->Text(), at));
      elements.push_back(*child);
    }
    for (const Element key : elements) {
      KeyOperation(key, node);
    }
  }

  // A key is there as long as its entry: to create it is to say that the entry is not there yet,
  // and it is deleted with the entry alone.
  void KeyOperation(Element key, EditNode* entry) const {
    const EditOperation operation = Operation(key, *entry);
    if (Deletes(entry->operation)) {
      return;
    }
    if (Deletes(operation)) {
      AttributeError("bad-attribute", "operation", key, *entry);
    }
    entry->is_new = entry->is_new || operation == EditOperation::kCreate;
  }

  // Nodes of two cases of one choice cannot both be wanted.
  static void CheckCases(const EditNode& parent) {
    std::vector<const EditNode*> in_cases;
    for (const auto& child : parent.children) {
      if (!IsInCase(child->schema) || Deletes(child->operation)) {
        continue;
      }
      for (const EditNode* other : in_cases) {
        if (AreInDifferentCases(child->schema, other->schema)) {
          Fail(ElementError("bad-element", child->schema->name,
                            "belongs to another case than " + std::string(other->schema->name)),
               *child);
        }
      }
      in_cases.push_back(child.get());
    }
  }

  const YangContext& context_;
};

}  // namespace

std::optional<EditOperation> EditOperationFromName(std::string_view name) {
  const auto known = std::ranges::find(kOperationNames, name, &OperationName::name);
  return known == kOperationNames.end() ? std::nullopt : std::optional(known->operation);
}

InstancePath EditNode::Path() const {
  if (schema == nullptr) {
    return {};
  }
  InstancePath path = parent->Path();
  if (schema->nodetype == LYS_LEAFLIST && value) {
    path.Enter(schema, {*value});
  } else {
    path.Enter(schema, keys);
  }
  return path;
}

std::unique_ptr<EditNode> ParseEdit(const YangContext& context, Element config,
                                    EditOperation default_operation) {
  auto root = std::make_unique<EditNode>(EditNode{.operation = default_operation});
  if (!config.Trimmed().empty()) {
    throw OperationFailed(ElementError("bad-element", "config", "text where elements belong"));
  }
  Parser(context).Children(config.Children(), root.get());
  return root;
}

}  // namespace ncdm::netconf
