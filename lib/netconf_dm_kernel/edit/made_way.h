// The entries that an edit finds missing on its way.
#ifndef NETCONF_DM_KERNEL_EDIT_MADE_WAY_H_
#define NETCONF_DM_KERNEL_EDIT_MADE_WAY_H_

#include <cstddef>

#include "netconf_dm_kernel/tree.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace nc {

// Notes that the application has accepted something of the request under way.
void NoteAccepted();

// Entries that the application never announced are made before it is asked, because its callbacks
// are found through them. They are removed again at the end of the request when the application has
// accepted nothing of it: the tree must not show entries that do not exist. The tree is held.
//
// Nothing of an edit removes an entry without being accepted, so the entries stand until then.
class [[nodiscard]] MadeWay {
 public:
  MadeWay();
  ~MadeWay();
  MadeWay(const MadeWay&) = delete;
  MadeWay& operator=(const MadeWay&) = delete;

  // As nc_dm_agent_create_nodes_check: the deepest node, or null.
  nc_dm_agent_node_t* Make(char* path, nc_dm_id_array_t* id_array);

 private:
  void Remember(nc_dm_agent_node_t* made);

  const unsigned accepted_before_;
  MallocPtr<nc_dm_agent_node_t*> made_;  // the topmost of each way, in order
  size_t cnt_ = 0;
  size_t size_ = 0;
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_EDIT_MADE_WAY_H_
