// The messages that the agent sends without being asked.
#ifndef NETCONF_DM_AGENT_ANNOUNCE_H_
#define NETCONF_DM_AGENT_ANNOUNCE_H_

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/yang_attr_index.h"

namespace nc {

// The attributes of the tree, as one run of the registration task looks them up. Callers hold the
// tree. An index made for the run stays true: attributes are removed on the event loop alone, where
// the run is.
class TreeAttributes {
 public:
  // The tree's own attribute of the module and kind of `key`, or null.
  nc_dm_yang_attr_t* Find(const nc_dm_yang_attr_t& key);

 private:
  void BuildIndex();

  int lookups_ = 0;
  YangAttrIndex index_;
};

// Each sends one message: a path to register or to forget, an attribute, the notice of completion.
// 0, also for what fits no message, which is logged; otherwise the send's result.
int SendReg(nc_dm_stub_reg_t* record);
int SendUnreg(nc_dm_stub_reg_t* record);
int SendYangAttr(nc_dm_stub_reg_t* record, TreeAttributes* attributes);
int SendCplt();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_ANNOUNCE_H_
