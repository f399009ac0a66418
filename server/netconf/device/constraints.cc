#include "server/netconf/device/constraints.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "server/netconf/device/constraint_check.h"
#include "server/netconf/device/xpath_text.h"

namespace ncdm::netconf {
namespace {

using Kind = Constraint::Kind;

struct SetDeleter {
  void operator()(ly_set* set) const { ly_set_free(set, nullptr); }
};

// The nearest list at or around a node.
const lysc_node* ListAround(const lysc_node* node) {
  while (node != nullptr && node->nodetype != LYS_LIST) {
    node = DataParent(node);
  }
  return node;
}

int Depth(const lysc_node* node, const lysc_node* above) {
  int depth = 0;
  for (; node != nullptr && node != above; node = DataParent(node)) {
    ++depth;
  }
  return depth;
}

// Finds the constraints of one module's configuration.
class Collector {
 public:
  Collector(const lys_module* module, std::vector<std::unique_ptr<Constraint>>* constraints)
      : module_(module), constraints_(constraints) {}

  void Collect() {
    Children(nullptr);
    ForEachChild(nullptr, module_, [&](const lysc_node* top) { Node(top); });
  }

 private:
  Constraint& Add(Kind kind, const lysc_node* context) {
    constraints_->push_back(std::make_unique<Constraint>());
    Constraint& constraint = *constraints_->back();
    constraint.kind = kind;
    constraint.context = context;
    constraint.module = module_;
    return constraint;
  }

  void Node(const lysc_node* node) {
    if (!IsConfig(node)) {
      return;
    }
    Musts(node);
    Whens(node);
    if (IsTerm(node)) {
      Reference(node);
      return;
    }
    if (node->nodetype == LYS_LIST) {
      Uniques(node);
    }
    Children(node);
    ForEachChild(node, nullptr, [&](const lysc_node* child) { Node(child); });
  }

  static PrefixResolver Prefixes(const lysc_prefix* prefixes, const lys_module* own) {
    return [prefixes, own](const std::string& prefix) -> std::optional<std::string> {
      for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(prefixes); ++i) {
        if (prefix == (prefixes[i].prefix == nullptr ? "" : prefixes[i].prefix)) {
          return prefixes[i].mod->name;
        }
      }
      return prefix.empty() ? std::optional<std::string>(own->name) : std::nullopt;
    };
  }

  // What an expression looks at, and how far around it.
  static void Expression(const lyxp_expr* expression, const lysc_prefix* prefixes,
                         const lysc_node* start, const lysc_node* node, Constraint* constraint) {
    const std::string text = lyxp_get_expr(expression);
    constraint->expression =
        WithModuleNames(text, Prefixes(prefixes, node->module), Literals::kToo).value_or(text);
    ly_set* set = nullptr;
    if (lys_find_expr_atoms(start, node->module, expression, prefixes, 0, &set) == LY_SUCCESS) {
      const std::unique_ptr<ly_set, SetDeleter> atoms(set);
      for (std::uint32_t i = 0; i < atoms->count; ++i) {
        constraint->looks_at.insert(atoms->snodes[i]);
      }
    } else {
      constraint->looks_everywhere = true;
    }
    const lysc_node* list = ListAround(node);
    if (list != nullptr && start != nullptr && StaysWithin(text, Depth(start, list))) {
      constraint->home = list;
    }
  }

  void Musts(const lysc_node* node) {
    const lysc_must* musts = lysc_node_musts(node);
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(musts); ++i) {
      Constraint& constraint = Add(Kind::kMust, node);
      constraint.must = &musts[i];
      Expression(musts[i].cond, musts[i].prefixes, node, node, &constraint);
    }
  }

  // Its own, and those of the choices and cases around it.
  template <typename Function>
  static void ForEachWhen(const lysc_node* node, Function function) {
    const lysc_node* owner = node;
    do {
      lysc_when* const* whens = lysc_node_when(owner);
      for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(whens); ++i) {
        function(*whens[i], owner);
      }
      owner = owner->parent;
    } while (owner != nullptr && (owner->nodetype & (LYS_CHOICE | LYS_CASE)) != 0);
  }

  void Whens(const lysc_node* node) {
    ForEachWhen(node, [&](const lysc_when& when, const lysc_node* owner) {
      Constraint& constraint = Add(Kind::kWhen, node);
      constraint.start = when.context == nullptr ? nullptr : lysc_data_node(when.context);
      Expression(when.cond, when.prefixes, constraint.start, owner, &constraint);
    });
  }

  void Reference(const lysc_node* node) {
    const lysc_type* type = reinterpret_cast<const lysc_node_leaf*>(node)->type;
    if (type->basetype == LY_TYPE_LEAFREF) {
      const auto* leafref = reinterpret_cast<const lysc_type_leafref*>(type);
      if (leafref->require_instance != 0) {
        Expression(leafref->path, leafref->prefixes, node, node, &Add(Kind::kReference, node));
      }
    } else if (type->basetype == LY_TYPE_INST &&
               reinterpret_cast<const lysc_type_instanceid*>(type)->require_instance != 0) {
      Add(Kind::kReference, node).looks_everywhere = true;
    }
  }

  void Uniques(const lysc_node* node) {
    const auto* list = reinterpret_cast<const lysc_node_list*>(node);
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(list->uniques); ++i) {
      Constraint& constraint = Add(Kind::kUnique, node);
      for (LY_ARRAY_COUNT_TYPE j = 0; j < LY_ARRAY_COUNT(list->uniques[i]); ++j) {
        constraint.unique.push_back(list->uniques[i][j]);
        constraint.looks_at.insert(&list->uniques[i][j]->node);
      }
      constraint.home = ListAround(DataParent(node));
    }
  }

  // Data nodes in a choice, at any depth of further choices.
  static void InChoice(const lysc_node* choice, std::set<const lysc_node*>* nodes) {
    for (const lysc_node* one = lysc_node_child(choice); one != nullptr; one = one->next) {
      for (const lysc_node* node = lysc_node_child(one); node != nullptr; node = node->next) {
        if (node->nodetype == LYS_CHOICE) {
          InChoice(node, nodes);
        } else {
          nodes->insert(node);
        }
      }
    }
  }

  // What is demanded under a condition only.
  static void Conditions(const lysc_node* node, Constraint* demanded) {
    bool stays_home = true;
    ForEachWhen(node, [&](const lysc_when& when, const lysc_node* owner) {
      Constraint one;
      const lysc_node* start = when.context == nullptr ? nullptr : lysc_data_node(when.context);
      Expression(when.cond, when.prefixes, start, owner, &one);
      demanded->conditions[node].push_back({start, one.expression});
      demanded->looks_at.merge(one.looks_at);
      demanded->looks_everywhere = demanded->looks_everywhere || one.looks_everywhere;
      stays_home = stays_home && one.home != nullptr && one.home == demanded->home;
    });
    if (!stays_home) {
      demanded->home = nullptr;
    }
  }

  // The nodes directly in `parent` that must be there, or in a certain number.
  static void Demanded(const lysc_node* first, std::set<const lysc_node*>* nodes) {
    for (const lysc_node* child = first; child != nullptr; child = child->next) {
      if (!IsConfig(child)) {
        continue;
      }
      if (child->nodetype == LYS_CHOICE) {
        if ((child->flags & LYS_MAND_TRUE) != 0) {
          InChoice(child, nodes);
        }
        for (const lysc_node* one = lysc_node_child(child); one != nullptr; one = one->next) {
          std::set<const lysc_node*> in_case;
          Demanded(lysc_node_child(one), &in_case);
          if (!in_case.empty()) {
            InChoice(child, nodes);
          }
        }
      } else if (HasDemand(child)) {
        nodes->insert(child);
      }
    }
  }

  void Children(const lysc_node* parent) {
    std::set<const lysc_node*> demanded;
    Demanded(parent == nullptr ? module_->compiled->data : lysc_node_child(parent), &demanded);
    if (!demanded.empty()) {
      Constraint& constraint = Add(Kind::kChildren, parent);
      constraint.looks_at = demanded;
      constraint.home = ListAround(parent);
      for (const lysc_node* node : demanded) {
        Conditions(node, &constraint);
      }
    }
  }

  const lys_module* module_;
  std::vector<std::unique_ptr<Constraint>>* constraints_;
};

// ---- From changes to what is to be looked at ----

void AddSubtree(const lyd_node* node, std::unordered_set<const lysc_node*>* nodes) {
  nodes->insert(node->schema);
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    AddSubtree(child, nodes);
  }
}

// The nodes of which some instance came, went or changed.
std::unordered_set<const lysc_node*> ChangedNodes(const Difference& difference) {
  std::unordered_set<const lysc_node*> nodes;
  for (const Change& change : difference.changes) {
    if (change.kind == Change::Kind::kDeleteEntry || change.kind == Change::Kind::kCreateEntry) {
      AddSubtree(change.node, &nodes);
    }
    for (const lyd_node* leaf : change.leaves) {
      nodes.insert(leaf->schema);
    }
    const lyd_node* around = change.node;
    for (; around != nullptr && around->schema->nodetype == LYS_CONTAINER;
         around = lyd_parent(around)) {
      nodes.insert(around->schema);
    }
  }
  return nodes;
}

Wanted* WantWay(const lysc_node* node, Wanted* root) {
  return node == nullptr ? root : &WantWay(DataParent(node), root)->Child(node);
}

void WantEntry(const lyd_node* entry, Wanted* root) {
  std::vector<const lyd_node*> way;
  for (const lyd_node* node = entry; node != nullptr; node = lyd_parent(node)) {
    way.insert(way.begin(), node);
  }
  Wanted* wanted = root;
  for (const lyd_node* node : way) {
    wanted = &wanted->Child(node->schema, node->schema->nodetype == LYS_LIST
                                              ? KeyValuesOf(node)
                                              : std::vector<std::string>());
  }
  wanted->whole = true;
}

// The entries, as far up as constraints have their home there, in which anything changed.
void WantHomes(const Difference& difference, const std::set<const lysc_node*>& homes,
               Wanted* root) {
  std::unordered_set<const lyd_node*> done;
  for (const Change& change : difference.changes) {
    for (const lyd_node* node = change.node; node != nullptr; node = lyd_parent(node)) {
      if (homes.contains(node->schema) && done.insert(node).second) {
        WantEntry(node, root);
      }
    }
  }
}

}  // namespace

bool HasDemand(const lysc_node* node) {
  if (node->nodetype == LYS_LIST) {
    const auto* list = reinterpret_cast<const lysc_node_list*>(node);
    return list->min > 0 || list->max < UINT32_MAX;
  }
  if (node->nodetype == LYS_LEAFLIST) {
    const auto* list = reinterpret_cast<const lysc_node_leaflist*>(node);
    return list->min > 0 || list->max < UINT32_MAX;
  }
  return (node->nodetype & (LYS_LEAF | LYS_ANYDATA)) != 0 && (node->flags & LYS_MAND_TRUE) != 0 &&
         !IsKey(node);
}

Constraints::Constraints(const YangContext& context) : context_(context) {
  for (const lys_module* module : context.Modules()) {
    if (module->implemented != 0 && context.IsDevice(module)) {
      Collector(module, &constraints_).Collect();
    }
  }
}

Constraints::Affected Constraints::AffectedBy(const Difference& difference) const {
  Affected affected;
  const auto changed = ChangedNodes(difference);
  const bool anything_goes = std::ranges::any_of(difference.changes, &Change::deletes);
  for (const auto& constraint : constraints_) {
    // What is written takes no instance away that is referred to.
    const bool is_everywhere =
        constraint->looks_everywhere && (constraint->kind != Kind::kReference || anything_goes);
    if (changed.contains(constraint->context) || is_everywhere ||
        std::ranges::any_of(constraint->looks_at,
                            [&](const lysc_node* node) { return changed.contains(node); })) {
      affected.constraints_.push_back(constraint.get());
    }
  }
  std::set<const lysc_node*> homes;
  for (const Constraint* constraint : affected.constraints_) {
    homes.insert(constraint->home);
  }
  if (!homes.contains(nullptr)) {
    WantHomes(difference, homes, &affected.to_read_);
    return affected;
  }
  for (const Constraint* constraint : affected.constraints_) {
    if (constraint->looks_everywhere) {
      affected.to_read_.Add(WantAll(context_));
    }
    if (constraint->context != nullptr) {
      Wanted* context = WantWay(constraint->context, &affected.to_read_);
      // Of a node that may have to go everything that is in it goes.
      context->whole =
          context->whole || IsTerm(constraint->context) || constraint->kind == Kind::kWhen;
    }
    for (const lysc_node* node : constraint->looks_at) {
      if (IsConfig(node) && IsTerm(node)) {
        WantWay(node, &affected.to_read_)->whole = true;
      } else if (IsConfig(node)) {
        WantWay(node, &affected.to_read_);
      }
    }
  }
  return affected;
}

Constraints::Affected Constraints::All() const {
  Affected affected;
  for (const auto& constraint : constraints_) {
    affected.constraints_.push_back(constraint.get());
  }
  return affected;
}

void Constraints::Check(const Affected& affected, Tree* tree, const IsServed& is_served,
                        const std::function<bool(const lyd_node*)>& explicitly) const {
  if (!affected.empty()) {
    ConstraintCheck(context_.get(), tree, is_served).Run(affected.constraints_, explicitly);
  }
}

}  // namespace ncdm::netconf
