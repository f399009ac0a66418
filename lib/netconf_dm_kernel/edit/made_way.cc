#include "netconf_dm_kernel/edit/made_way.h"

#include <cstdlib>

#include "netconf_dm_kernel/paths/grow_path.h"

namespace {

// Counts what the application has accepted; only a change has a meaning. Guarded by the tree's
// mutex.
unsigned g_accepted = 0;

}  // namespace

namespace nc {

void NoteAccepted() { ++g_accepted; }

MadeWay::MadeWay() : accepted_before_(g_accepted) {}

MadeWay::~MadeWay() {
  if (g_accepted != accepted_before_) return;
  // The last first: a way may lead through one that was made before.
  while (cnt_ > 0) nc_dm_agent_unreg_nodes(made_.get()[--cnt_]);
}

nc_dm_agent_node_t* MadeWay::Make(char* path, nc_dm_id_array_t* id_array) {
  nc_dm_agent_node_t* first_made = nullptr;
  nc_dm_agent_node_t* last = GrowPath(path, id_array, &first_made);
  if (first_made != nullptr) Remember(first_made);
  return last;
}

// An entry that memory is too short to remember stays.
void MadeWay::Remember(nc_dm_agent_node_t* made) {
  if (cnt_ == size_) {
    const size_t size = size_ == 0 ? 4 : size_ * 2;
    auto* memory = static_cast<nc_dm_agent_node_t**>(realloc(made_.get(), size * sizeof(made)));
    if (memory == nullptr) return;
    made_.release();
    made_.reset(memory);
    size_ = size;
  }
  made_.get()[cnt_++] = made;
}

}  // namespace nc
