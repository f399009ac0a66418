// Evaluates constraints on a configuration.
#ifndef NCDM_SERVER_NETCONF_DEVICE_CONSTRAINT_CHECK_H_
#define NCDM_SERVER_NETCONF_DEVICE_CONSTRAINT_CHECK_H_

#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "server/netconf/device/constraints.h"

namespace ncdm::netconf {

// True if the node must be there, or in a certain number.
bool HasDemand(const lysc_node* node);

class ConstraintCheck {
 public:
  ConstraintCheck(const ly_ctx* context, Tree* tree, const IsServed& is_served)
      : context_(context), tree_(tree), is_served_(is_served) {}

  // Throws OperationFailed. See Constraints::Check.
  void Run(const std::vector<const Constraint*>& constraints,
           const std::function<bool(const lyd_node*)>& explicitly);

 private:
  void AddDefaults();
  std::vector<lyd_node*> Instances(const lysc_node* schema) const;

  bool RemoveWhereWhenIsFalse(const Constraint& constraint,
                              const std::function<bool(const lyd_node*)>& explicitly);
  void RemoveFromTree(const lyd_node* node);
  void Must(const Constraint& constraint) const;
  void Reference(const Constraint& constraint);
  bool HasTarget(const Constraint& constraint, const lyd_node* node);
  void Unique(const Constraint& constraint) const;
  void Children(const Constraint& constraint) const;
  void Demanded(const Constraint& constraint, const lysc_node* first, lyd_node* parent,
                lyd_node* siblings) const;
  bool IsDemanded(const Constraint& constraint, const lysc_node* node, lyd_node* parent) const;
  void Choice(const Constraint& constraint, const lysc_node* choice, lyd_node* parent,
              lyd_node* siblings) const;
  void Count(const lysc_node* schema, const lyd_node* parent, lyd_node* siblings) const;

  const ly_ctx* context_;
  Tree* tree_;
  const IsServed& is_served_;
  Tree full_;  // with the defaults that are in use
  // Of references whose targets are the same for all: their values.
  std::unordered_map<const Constraint*, std::unordered_set<std::string>> targets_;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_CONSTRAINT_CHECK_H_
