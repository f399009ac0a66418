// What the model demands of a configuration as a whole: must, when, leafref, unique, mandatory,
// min- and max-elements.
//
// Each is looked at on its own, so that an edit costs what the constraints cost that its changes
// can break: those are found from the changed nodes, what they look at is read, and they alone are
// evaluated.
#ifndef NCDM_SERVER_NETCONF_DEVICE_CONSTRAINTS_H_
#define NCDM_SERVER_NETCONF_DEVICE_CONSTRAINTS_H_

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "server/netconf/device/difference.h"
#include "server/netconf/device/read.h"
#include "server/netconf/device/rpc_errors.h"
#include "server/netconf/device/tree.h"
#include "server/netconf/device/yang_context.h"

namespace ncdm::netconf {

struct Constraint {
  enum class Kind {
    kMust,
    kWhen,
    kReference,  // of a leafref, or of an instance identifier
    kUnique,
    kChildren,  // mandatory nodes, and how many entries lists have
  };

  Kind kind = Kind::kMust;
  const lysc_node* context = nullptr;  // null for kChildren at the top of `module`
  const lys_module* module = nullptr;
  std::string expression{};  // with module names; none for an instance identifier
  const lysc_must* must = nullptr;
  const lysc_node* start = nullptr;             // of kWhen: what the expression is evaluated at
  std::vector<const lysc_node_leaf*> unique{};  // of kUnique
  // Of kChildren: those that are demanded only where all of these hold.
  struct Condition {
    const lysc_node* start = nullptr;  // as of kWhen
    std::string expression{};
  };
  std::map<const lysc_node*, std::vector<Condition>> conditions{};
  std::set<const lysc_node*> looks_at{};  // besides the context
  bool looks_everywhere = false;
  // The list whose entries each decide for themselves; null: one entry's data may depend on
  // another's.
  const lysc_node* home = nullptr;
};

// True for nodes that can be configured; what nobody serves is not missing.
using IsServed = std::function<bool(const lysc_node*)>;

class Constraints {
 public:
  explicit Constraints(const YangContext& context);

  // Those that a difference may break.
  class Affected {
   public:
    bool empty() const { return constraints_.empty(); }
    // What they look at.
    const Wanted& to_read() const { return to_read_; }

   private:
    friend class Constraints;
    std::vector<const Constraint*> constraints_;
    Wanted to_read_;
  };
  Affected AffectedBy(const Difference& difference) const;
  Affected All() const;

  // Throws OperationFailed for the first that does not hold. Nodes whose `when` has become false
  // are removed from `tree`, unless `explicitly` says that the client has set them.
  void Check(const Affected& affected, Tree* tree, const IsServed& is_served,
             const std::function<bool(const lyd_node*)>& explicitly) const;

 private:
  const YangContext& context_;
  std::vector<std::unique_ptr<Constraint>> constraints_;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_CONSTRAINTS_H_
