#include "server/netconf/device/constraint_check.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>

namespace ncdm::netconf {
namespace {

using Kind = Constraint::Kind;

constexpr char kYangNamespace[] = "urn:ietf:params:xml:ns:yang:1";

struct SetDeleter {
  void operator()(ly_set* set) const { ly_set_free(set, nullptr); }
};
using Set = std::unique_ptr<ly_set, SetDeleter>;

bool Holds(const lyd_node* start, const std::string& expression) {
  ly_bool result = 0;
  return lyd_eval_xpath(start, expression.c_str(), &result) == LY_SUCCESS && result != 0;
}

Set FindAll(const lyd_node* start, const std::string& expression) {
  ly_set* set = nullptr;
  lyd_find_xpath(start, expression.c_str(), &set);
  return Set(set);
}

std::string Text(const char* text, const std::string& otherwise) {
  return text == nullptr ? otherwise : text;
}

[[noreturn]] void Fail(const char* tag, const std::string& app_tag, const std::string& message,
                       const InstancePath& path) {
  RpcError error = At(ApplicationError(tag, message), path);
  error.app_tag = app_tag;
  throw OperationFailed(std::move(error));
}

InstancePath Below(const lyd_node* parent, const lysc_node* child) {
  InstancePath path(parent);
  path.Enter(child);
  return path;
}

bool HasOwnChild(const lyd_node* node) {
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    if ((child->flags & LYD_DEFAULT) == 0) {
      return true;
    }
  }
  return false;
}

// Configured, not by default.
bool HasInstance(lyd_node* siblings, const lysc_node* schema) {
  const lyd_node* found = Find(siblings, schema);
  if (found == nullptr || (found->flags & LYD_DEFAULT) != 0) {
    return false;
  }
  return schema->nodetype != LYS_CONTAINER || (schema->flags & LYS_PRESENCE) != 0 ||
         HasOwnChild(found);
}

}  // namespace

std::vector<lyd_node*> ConstraintCheck::Instances(const lysc_node* schema) const {
  std::vector<lyd_node*> parents{nullptr};
  if (DataParent(schema) != nullptr) {
    parents = Instances(DataParent(schema));
  }
  std::vector<lyd_node*> instances;
  for (const lyd_node* parent : parents) {
    lyd_node* node = Find(Siblings(full_, parent), schema);
    for (; node != nullptr && node->schema == schema; node = node->next) {
      instances.push_back(node);
    }
  }
  return instances;
}

// In a copy: a default that is in use is not configuration that is to be written.
void ConstraintCheck::AddDefaults() {
  full_ = tree_->Copy();
  full_.AddDefaults(context_);
}

void ConstraintCheck::Run(const std::vector<const Constraint*>& constraints,
                          const std::function<bool(const lyd_node*)>& explicitly) {
  AddDefaults();
  // What goes may be what another condition looks at.
  bool again = true;
  while (again) {
    again = false;
    for (const Constraint* constraint : constraints) {
      again =
          (constraint->kind == Kind::kWhen && RemoveWhereWhenIsFalse(*constraint, explicitly)) ||
          again;
    }
    if (again) {
      AddDefaults();
    }
  }
  for (const Constraint* constraint : constraints) {
    switch (constraint->kind) {
      case Kind::kMust:
        Must(*constraint);
        break;
      case Kind::kReference:
        Reference(*constraint);
        break;
      case Kind::kUnique:
        Unique(*constraint);
        break;
      case Kind::kChildren:
        Children(*constraint);
        break;
      case Kind::kWhen:
        break;
    }
  }
}

// ---- when ----

bool ConstraintCheck::RemoveWhereWhenIsFalse(
    const Constraint& constraint, const std::function<bool(const lyd_node*)>& explicitly) {
  std::vector<lyd_node*> gone;
  for (lyd_node* node : Instances(constraint.context)) {
    if ((node->flags & LYD_DEFAULT) != 0) {
      continue;
    }
    const lyd_node* start = node;
    while (start != nullptr && constraint.start != nullptr && start->schema != constraint.start) {
      start = lyd_parent(start);
    }
    if (!Holds(start == nullptr ? node : start, constraint.expression)) {
      gone.push_back(node);
    }
  }
  for (lyd_node* node : gone) {
    if (explicitly(node)) {
      RpcError error =
          ElementError("unknown-element", node->schema->name, "its 'when' condition is false");
      throw OperationFailed(At(std::move(error), InstancePath(lyd_parent(node))));
    }
    RemoveFromTree(node);
  }
  return !gone.empty();
}

// `node` is of the copy.
void ConstraintCheck::RemoveFromTree(const lyd_node* node) {
  std::vector<const lyd_node*> way;
  for (; node != nullptr; node = lyd_parent(node)) {
    way.insert(way.begin(), node);
  }
  lyd_node* found = nullptr;
  for (const lyd_node* step : way) {
    found = FindSame(Siblings(*tree_, found), step);
    if (found == nullptr) {
      return;
    }
  }
  tree_->Free(found);
}

// ---- must ----

void ConstraintCheck::Must(const Constraint& constraint) const {
  const lysc_must& must = *constraint.must;
  for (lyd_node* node : Instances(constraint.context)) {
    if (!Holds(node, constraint.expression)) {
      Fail("operation-failed", Text(must.eapptag, "must-violation"),
           Text(must.emsg, std::string("must \"") + lyxp_get_expr(must.cond) + "\" does not hold"),
           InstancePath(node));
    }
  }
}

// ---- leafref, instance-identifier ----

bool ConstraintCheck::HasTarget(const Constraint& constraint, const lyd_node* node) {
  const std::string value = ValueOf(node);
  if (constraint.expression.empty()) {
    const Set found = FindAll(node, value);
    return found != nullptr && found->count > 0;
  }
  const bool is_same_for_all = constraint.expression.starts_with('/') &&
                               constraint.expression.find('[') == std::string::npos;
  auto known = targets_.find(&constraint);
  if (known == targets_.end()) {
    std::unordered_set<std::string> values;
    if (const Set found = FindAll(node, constraint.expression)) {
      for (std::uint32_t i = 0; i < found->count; ++i) {
        values.insert(ValueOf(found->dnodes[i]));
      }
    }
    if (!is_same_for_all) {
      return values.contains(value);
    }
    known = targets_.emplace(&constraint, std::move(values)).first;
  }
  return known->second.contains(value);
}

void ConstraintCheck::Reference(const Constraint& constraint) {
  for (lyd_node* node : Instances(constraint.context)) {
    // An empty text is how applications show what they have not got.
    if (*lyd_get_value(node) != '\0' && !HasTarget(constraint, node)) {
      Fail("data-missing", "instance-required",
           "'" + ValueOf(node) + "' refers to what does not exist", InstancePath(node));
    }
  }
}

// ---- unique ----

namespace {

const lyd_node* Descendant(const lyd_node* entry, const lysc_node* leaf) {
  if (DataParent(leaf) == entry->schema) {
    return Find(lyd_child(entry), leaf);
  }
  const lyd_node* parent = Descendant(entry, DataParent(leaf));
  return parent == nullptr ? nullptr : Find(lyd_child(parent), leaf);
}

struct Combination {
  std::string values;
  std::vector<const lyd_node*> leaves;
};

// Entries that lack one of the leaves are not compared.
std::optional<Combination> CombinationOf(const lyd_node* entry, const Constraint& constraint) {
  Combination combination;
  for (const lysc_node_leaf* leaf : constraint.unique) {
    const lyd_node* node = Descendant(entry, &leaf->node);
    if (node == nullptr) {
      return std::nullopt;
    }
    combination.values += ValueOf(node) + '\0';
    combination.leaves.push_back(node);
  }
  return combination;
}

}  // namespace

void ConstraintCheck::Unique(const Constraint& constraint) const {
  std::map<const lyd_node*, std::unordered_map<std::string, Combination>> seen;  // by parent
  for (lyd_node* entry : Instances(constraint.context)) {
    auto combination = CombinationOf(entry, constraint);
    if (!combination) {
      continue;
    }
    const auto [known, is_new] =
        seen[lyd_parent(entry)].try_emplace(combination->values, *combination);
    if (is_new) {
      continue;
    }
    RpcError error = At(ApplicationError("operation-failed", "another entry has the same values"),
                        InstancePath(entry));
    error.app_tag = "data-not-unique";
    for (const auto* leaves : {&known->second.leaves, &combination->leaves}) {
      for (const lyd_node* leaf : *leaves) {
        RpcError located = At({}, InstancePath(leaf));
        error.info.push_back({"non-unique", located.path, kYangNamespace});
      }
    }
    throw OperationFailed(std::move(error));
  }
}

// ---- mandatory, min-elements, max-elements ----

void ConstraintCheck::Children(const Constraint& constraint) const {
  if (constraint.context == nullptr) {
    Demanded(constraint, constraint.module->compiled->data, nullptr, full_.first());
    return;
  }
  for (lyd_node* node : Instances(constraint.context)) {
    Demanded(constraint, lysc_node_child(constraint.context), node, lyd_child(node));
  }
}

// Its conditions are evaluated at a stand-in for the node, which is not there or may not be.
bool ConstraintCheck::IsDemanded(const Constraint& constraint, const lysc_node* node,
                                 lyd_node* parent) const {
  if (!is_served_(node)) {
    return false;
  }
  const auto conditions = constraint.conditions.find(node);
  if (conditions == constraint.conditions.end()) {
    return true;
  }
  lyd_node* stand_in = nullptr;
  if (parent == nullptr || lyd_new_opaq2(parent, nullptr, node->name, nullptr, nullptr,
                                         node->module->ns, &stand_in) != LY_SUCCESS) {
    return false;
  }
  const bool is_demanded = std::ranges::all_of(conditions->second, [&](const auto& condition) {
    const lyd_node* start = parent;
    while (start != nullptr && start->schema != condition.start) {
      start = lyd_parent(start);
    }
    return Holds(start == nullptr ? stand_in : start, condition.expression);
  });
  lyd_free_tree(stand_in);
  return is_demanded;
}

void ConstraintCheck::Demanded(const Constraint& constraint, const lysc_node* first,
                               lyd_node* parent, lyd_node* siblings) const {
  for (const lysc_node* child = first; child != nullptr; child = child->next) {
    if (!IsConfig(child)) {
      continue;
    }
    if (child->nodetype == LYS_CHOICE) {
      Choice(constraint, child, parent, siblings);
    } else if (!HasDemand(child) || !IsDemanded(constraint, child, parent)) {
      continue;
    } else if ((child->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0) {
      Count(child, parent, siblings);
    } else if (Find(siblings, child) == nullptr) {
      Fail("data-missing", "", std::string("'") + child->name + "' is mandatory",
           Below(parent, child));
    }
  }
}

namespace {

bool CaseHasData(const lysc_node* one, lyd_node* siblings) {
  for (const lysc_node* node = lysc_node_child(one); node != nullptr; node = node->next) {
    if (node->nodetype == LYS_CHOICE) {
      for (const lysc_node* inner = lysc_node_child(node); inner != nullptr; inner = inner->next) {
        if (CaseHasData(inner, siblings)) {
          return true;
        }
      }
    } else if (HasInstance(siblings, node)) {
      return true;
    }
  }
  return false;
}

}  // namespace

void ConstraintCheck::Choice(const Constraint& constraint, const lysc_node* choice,
                             lyd_node* parent, lyd_node* siblings) const {
  bool has_case = false;
  for (const lysc_node* one = lysc_node_child(choice); one != nullptr; one = one->next) {
    if (CaseHasData(one, siblings)) {
      has_case = true;
      Demanded(constraint, lysc_node_child(one), parent, siblings);
    }
  }
  if (!has_case && (choice->flags & LYS_MAND_TRUE) != 0 && lysc_has_when(choice) == nullptr) {
    RpcError error = At(ApplicationError("data-missing", std::string("one case of '") +
                                                             choice->name + "' is mandatory"),
                        InstancePath(parent));
    error.app_tag = "missing-choice";
    error.info.push_back({"missing-choice", choice->name, kYangNamespace});
    throw OperationFailed(std::move(error));
  }
}

void ConstraintCheck::Count(const lysc_node* schema, const lyd_node* parent,
                            lyd_node* siblings) const {
  std::uint32_t min = 0;
  std::uint32_t max = 0;
  if (schema->nodetype == LYS_LIST) {
    min = reinterpret_cast<const lysc_node_list*>(schema)->min;
    max = reinterpret_cast<const lysc_node_list*>(schema)->max;
  } else {
    min = reinterpret_cast<const lysc_node_leaflist*>(schema)->min;
    max = reinterpret_cast<const lysc_node_leaflist*>(schema)->max;
  }
  std::uint32_t count = 0;
  for (const lyd_node* node = Find(siblings, schema); node != nullptr && node->schema == schema;
       node = node->next) {
    ++count;
  }
  if (count < min) {
    Fail("operation-failed", "too-few-elements",
         "there must be " + std::to_string(min) + " at least", Below(parent, schema));
  }
  if (count > max) {
    Fail("operation-failed", "too-many-elements",
         "there may be " + std::to_string(max) + " at most", Below(parent, schema));
  }
}

}  // namespace ncdm::netconf
