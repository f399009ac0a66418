#include "server/netconf/device/filter.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "server/netconf/device/rpc_errors.h"
#include "server/netconf/device/xpath_text.h"

namespace ncdm::netconf {
namespace {

// ---- Marks: what of a tree is selected ----

// In lyd_node::priv, which libyang leaves to its users.
void* const kOnTheWay = reinterpret_cast<void*>(std::uintptr_t{1});  // to something selected
void* const kWhole = reinterpret_cast<void*>(std::uintptr_t{2});     // with everything below

void MarkOnTheWay(lyd_node* node) {
  if (node->priv == nullptr) {
    node->priv = kOnTheWay;
  }
}

void FreeUnmarked(Tree* tree, lyd_node* first) {
  ForEachSibling(first, [&](lyd_node* node) {
    if (node->priv == kOnTheWay) {
      FreeUnmarked(tree, lyd_child(node));
    } else if (node->priv == nullptr && !IsKey(node->schema)) {
      tree->Free(node);
    }
  });
}

// ---- Subtree filters ----

// An element without a namespace stands for nodes of that name in any.
bool Names(Element element, const lysc_node* node) {
  return element.name() == node->name &&
         (element.name_space().empty() || element.name_space() == node->module->ns);
}

// A leaf with text: what has it is selected, what has not is not.
bool IsContentMatch(Element element) {
  return !element.has_children() && !element.Trimmed().empty();
}

class SubtreeFilter : public Filter {
 public:
  SubtreeFilter(const YangContext& context, Element filter) : context_(context), filter_(filter) {}

  Wanted ToRead() const override {
    Wanted root;
    for (const Element element : filter_.Children()) {
      for (const lys_module* module : context_.Modules()) {
        if (module->implemented != 0) {
          WantBelow(element, nullptr, module, &root);
        }
      }
    }
    return root;
  }

  void Apply(Tree* tree) const override {
    for (const Element element : filter_.Children()) {
      MarkSiblings(element, tree->first());
    }
    FreeUnmarked(tree, tree->first());
  }

 private:
  void WantBelow(Element element, const lysc_node* parent, const lys_module* module,
                 Wanted* wanted) const {
    ForEachChild(parent, module, [&](const lysc_node* child) {
      if (Names(element, child)) {
        WantNode(element, child, wanted);
      }
    });
  }

  void WantNode(Element element, const lysc_node* node, Wanted* parent) const {
    if (element.has_attributes()) {
      return;  // no data has attributes
    }
    if (IsTerm(node)) {
      parent->Child(node).whole = true;
      return;
    }
    const std::vector<Element> children = element.Children();
    const auto keys =
        node->nodetype == LYS_LIST ? KeysIn(children, node) : std::vector<std::string>();
    Wanted& wanted = parent->Child(node, keys);
    if (std::ranges::all_of(children, IsContentMatch)) {
      wanted.whole = true;
      return;
    }
    for (const Element child : children) {
      WantBelow(child, node, nullptr, &wanted);
    }
  }

  // The values of all keys, if content matches give them.
  std::vector<std::string> KeysIn(const std::vector<Element>& children,
                                  const lysc_node* list) const {
    std::vector<std::string> values;
    for (const lysc_node* key : KeysOf(list)) {
      const auto child =
          std::ranges::find_if(children, [&](Element candidate) { return Names(candidate, key); });
      if (child == children.end() || !IsContentMatch(*child)) {
        return {};
      }
      try {
        values.push_back(CanonicalValue(context_, key, *child, child->Trimmed()));
      } catch (const OperationFailed&) {
        return {};  // no entry has it
      }
    }
    return values;
  }

  bool MarkSiblings(Element element, lyd_node* first) const {
    bool any = false;
    for (lyd_node* node = first; node != nullptr; node = node->next) {
      if (Names(element, node->schema)) {
        any = Mark(element, node) || any;
      }
    }
    return any;
  }

  bool Mark(Element element, lyd_node* node) const {
    if (element.has_attributes()) {
      return false;
    }
    const bool selects =
        IsTerm(node->schema) ? MatchesValue(element, node) : MarkInside(element, node);
    if (selects) {
      MarkOnTheWay(node);
    }
    return selects;
  }

  bool MatchesValue(Element element, lyd_node* leaf) const {
    if (element.has_children()) {
      return false;
    }
    const std::string text = element.Trimmed();
    if (!text.empty() && !HasValue(element, leaf, text)) {
      return false;
    }
    leaf->priv = kWhole;
    return true;
  }

  bool HasValue(Element element, const lyd_node* leaf, const std::string& text) const {
    if (text == lyd_get_value(leaf)) {
      return true;
    }
    try {
      return CanonicalValue(context_, leaf->schema, element, text) == lyd_get_value(leaf);
    } catch (const OperationFailed&) {
      return false;
    }
  }

  // The children of a containment node are a sibling set: its content matches decide together
  // whether the node is selected at all, the others what of it.
  bool MarkInside(Element element, lyd_node* node) const {
    const std::vector<Element> children = element.Children();
    if (children.empty()) {
      if (!element.Trimmed().empty()) {
        return false;
      }
      node->priv = kWhole;
      return true;
    }
    bool has_match = false;
    bool has_other = false;
    for (const Element child : children) {
      if (!IsContentMatch(child)) {
        has_other = true;
      } else if (!HasMatch(child, node)) {
        return false;
      } else {
        has_match = true;
      }
    }
    if (!has_other) {
      node->priv = kWhole;
      return true;
    }
    bool any = has_match;
    for (const Element child : children) {
      any = MarkSiblings(child, lyd_child(node)) || any;
    }
    return any;
  }

  bool HasMatch(Element element, const lyd_node* parent) const {
    if (element.has_attributes()) {
      return false;
    }
    const std::string text = element.Trimmed();
    for (const lyd_node* child = lyd_child(parent); child != nullptr; child = child->next) {
      if (Names(element, child->schema) && IsTerm(child->schema) &&
          HasValue(element, child, text)) {
        return true;
      }
    }
    return false;
  }

  const YangContext& context_;
  Element filter_;
};

// ---- XPath filters ----

struct SetDeleter {
  void operator()(ly_set* set) const { ly_set_free(set, nullptr); }
};
using Set = std::unique_ptr<ly_set, SetDeleter>;

RpcError BadExpression(const std::string& message) {
  RpcError error = netconf::ProtocolError("invalid-value", message);
  error.info.push_back({"bad-attribute", "select"});
  error.info.push_back({"bad-element", "filter"});
  return error;
}

class XPathFilter : public Filter {
 public:
  XPathFilter(const YangContext& context, std::string expression)
      : context_(context), expression_(std::move(expression)) {}

  Wanted ToRead() const override {
    if (const auto steps = PlainPath(expression_)) {
      Wanted root;
      WantPath(*steps, &root);
      return root;
    }
    Wanted root;
    ly_set* set = nullptr;
    if (lys_find_xpath_atoms(context_.get(), nullptr, expression_.c_str(), 0, &set) != LY_SUCCESS) {
      throw OperationFailed(BadExpression(context_.LastError()));
    }
    const Set atoms(set);
    for (std::uint32_t i = 0; i < atoms->count; ++i) {
      Way(atoms->snodes[i], &root);
    }
    ly_set* result_set = nullptr;
    if (lys_find_xpath(context_.get(), nullptr, expression_.c_str(), 0, &result_set) ==
        LY_SUCCESS) {
      const Set results(result_set);
      for (std::uint32_t i = 0; i < results->count; ++i) {
        Way(results->snodes[i], &root)->whole = true;
      }
    }
    return root;
  }

  void Apply(Tree* tree) const override {
    // Without any data it is still told whether the expression selects nodes.
    Tree stand_in;
    if (tree->empty()) {
      NewContainer(&stand_in, nullptr, AnyContainer());
    }
    const lyd_node* start = tree->empty() ? stand_in.first() : tree->first();
    ly_set* set = nullptr;
    if (lyd_find_xpath(start, expression_.c_str(), &set) != LY_SUCCESS) {
      throw OperationFailed(BadExpression(context_.LastError()));
    }
    const Set found(set);
    for (std::uint32_t i = 0; i < found->count; ++i) {
      found->dnodes[i]->priv = kWhole;
      for (lyd_node* node = lyd_parent(found->dnodes[i]); node != nullptr;
           node = lyd_parent(node)) {
        MarkOnTheWay(node);
      }
    }
    FreeUnmarked(tree, tree->first());
  }

 private:
  const lysc_node* AnyContainer() const {
    return context_.Implemented("ietf-netconf-monitoring")->compiled->data;
  }

  static const lysc_node* ChildNamed(const YangContext& context, const lysc_node* parent,
                                     const std::string& name) {
    const std::size_t colon = name.find(':');
    const lys_module* module = context.Implemented(name.substr(0, colon));
    return module == nullptr ? nullptr
                             : lys_find_child(parent, module, name.c_str() + colon + 1, 0, 0, 0);
  }

  void WantPath(const std::vector<PathStep>& steps, Wanted* wanted) const {
    const lysc_node* node = nullptr;
    for (const PathStep& step : steps) {
      node = ChildNamed(context_, node, step.name);
      if (node == nullptr) {
        return;
      }
      wanted = &wanted->Child(node, KeysIn(step, node));
      for (const auto& [name, value] : step.predicates) {
        if (const lysc_node* child = ChildNamed(context_, node, name)) {
          wanted->Child(child).whole = true;
        }
      }
    }
    wanted->whole = true;
  }

  std::vector<std::string> KeysIn(const PathStep& step, const lysc_node* node) const {
    std::vector<std::string> values;
    for (const lysc_node* key : KeysOf(node)) {
      const std::string name = std::string(key->module->name) + ":" + key->name;
      const auto predicate =
          std::ranges::find(step.predicates, name, [](const auto& pair) { return pair.first; });
      if (predicate == step.predicates.end()) {
        return {};
      }
      values.push_back(predicate->second);
    }
    return values;
  }

  // Down to a node, whose children are then to be said.
  static Wanted* Way(const lysc_node* node, Wanted* root) {
    Wanted* parent = DataParent(node) == nullptr ? root : Way(DataParent(node), root);
    return (node->nodetype & (LYS_CHOICE | LYS_CASE)) != 0 ? parent : &parent->Child(node);
  }

  const YangContext& context_;
  std::string expression_;
};

// A prefix of the request, as the element declares it; a name without one is in no namespace
// (XPath 1.0), and no data is: the base module has none.
PrefixResolver FilterPrefixes(const YangContext& context, Element element) {
  return [&context, element](const std::string& prefix) -> std::optional<std::string> {
    if (prefix.empty()) {
      return "ietf-netconf";
    }
    const auto name_space = element.NamespaceOf(prefix);
    if (!name_space) {
      return std::nullopt;
    }
    const lys_module* module = context.ImplementedByNamespace(*name_space);
    return module == nullptr ? "ietf-netconf" : module->name;
  };
}

std::unique_ptr<Filter> MakeXPathFilter(const YangContext& context, Element filter) {
  const auto select = filter.Attribute("select");
  if (!select) {
    RpcError error = netconf::ProtocolError("missing-attribute", "an XPath filter has a select");
    error.info.push_back({"bad-attribute", "select"});
    error.info.push_back({"bad-element", "filter"});
    throw OperationFailed(std::move(error));
  }
  if (Trim(*select) == "/") {
    return nullptr;  // the root and all below it, which libyang's sets of nodes do not hold
  }
  auto expression = WithModuleNames(*select, FilterPrefixes(context, filter));
  if (!expression) {
    throw OperationFailed(BadExpression("a prefix of the expression is not declared"));
  }
  return std::make_unique<XPathFilter>(context, std::move(*expression));
}

// ---- Values with prefixes ----

// Of what a reference refers to.
const lysc_type* RealType(const lysc_type* type) {
  while (type->basetype == LY_TYPE_LEAFREF) {
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  return type;
}

bool HasPrefixes(const lysc_type* type) {
  type = RealType(type);
  switch (type->basetype) {
    case LY_TYPE_IDENT:
    case LY_TYPE_INST:
      return true;
    case LY_TYPE_UNION: {
      const auto* types = reinterpret_cast<const lysc_type_union*>(type);
      for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(types->types); ++i) {
        if (HasPrefixes(types->types[i])) {
          return true;
        }
      }
      return false;
    }
    default:
      return false;
  }
}

// The value with module names in the place of the prefixes that the element declares. Nothing for
// what is neither an identity nor an instance.
std::optional<std::string> ValueWithModuleNames(const YangContext& context, const lysc_node* schema,
                                                Element element, const std::string& text) {
  const auto module_of = [&](const std::string& prefix) -> std::optional<std::string> {
    const auto name_space = element.NamespaceOf(prefix);
    const lys_module* module = name_space ? context.ImplementedByNamespace(*name_space) : nullptr;
    if (module == nullptr && prefix.empty()) {
      return std::string(schema->module->name);
    }
    return module == nullptr ? std::nullopt : std::optional<std::string>(module->name);
  };
  return text.starts_with('/') ? InstanceWithModuleNames(text, module_of)
                               : IdentityWithModuleName(text, module_of);
}

// A value as the model takes it.
struct Validated {
  std::optional<std::string> canonical{};
  const lysc_type* type = nullptr;  // of a union the member's
};

Validated Validate(const YangContext& context, const lysc_node* schema, const std::string& value) {
  // The canonical text, as the dictionary keeps it.
  const char* canonical = nullptr;
  Validated validated;
  const LY_ERR result = lyd_value_validate(context.get(), schema, value.c_str(), value.size(),
                                           nullptr, &validated.type, &canonical);
  if (canonical != nullptr && (result == LY_SUCCESS || result == LY_EINCOMPLETE)) {
    validated.canonical = canonical;
  }
  lydict_remove(context.get(), canonical);
  return validated;
}

[[noreturn]] void InvalidValue(std::string message, std::string app_tag) {
  RpcError error = ApplicationError("invalid-value", std::move(message));
  error.app_tag = std::move(app_tag);
  throw OperationFailed(std::move(error));
}

}  // namespace

std::string CanonicalValue(const YangContext& context, const lysc_node* schema, Element element,
                           const std::string& text) {
  const lysc_type* type = RealType(reinterpret_cast<const lysc_node_leaf*>(schema)->type);
  if (HasPrefixes(type)) {
    const auto value = ValueWithModuleNames(context, schema, element, std::string(Trim(text)));
    const Validated named = value ? Validate(context, schema, *value) : Validated{};
    if (named.canonical && HasPrefixes(named.type)) {
      return *named.canonical;
    }
    if (type->basetype != LY_TYPE_UNION) {
      InvalidValue(value ? context.LastError() : "'" + text + "' has a prefix that is not declared",
                   context.LastErrorAppTag());
    }
  }
  const Validated validated = Validate(context, schema, text);
  // A union's member with prefixes was tried before.
  if (!validated.canonical || (validated.type != nullptr && HasPrefixes(validated.type))) {
    InvalidValue(context.LastError(), context.LastErrorAppTag());
  }
  return *validated.canonical;
}

std::unique_ptr<Filter> MakeFilter(const YangContext& context, Element filter) {
  if (!filter) {
    return nullptr;
  }
  const auto own_type = filter.Attribute("type");
  const auto type = own_type ? own_type : filter.Attribute("type", kBaseNamespace);
  if (!type || *type == "subtree") {
    return std::make_unique<SubtreeFilter>(context, filter);
  }
  if (*type == "xpath") {
    return MakeXPathFilter(context, filter);
  }
  RpcError error = netconf::ProtocolError("bad-attribute", "a filter is subtree or xpath");
  error.info.push_back({"bad-attribute", "type"});
  error.info.push_back({"bad-element", "filter"});
  throw OperationFailed(std::move(error));
}

}  // namespace ncdm::netconf
