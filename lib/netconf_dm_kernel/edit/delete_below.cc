// The deletion of all that stands below a container: in the application, and in the tree what the
// application has deleted.

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/edit/made_way.h"
#include "netconf_dm_kernel/edit/operation.h"
#include "netconf_dm_kernel/tree/node_source.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

// One level of the deletion.
struct Level {
  nc_dm_id_array_t* ids;  // of the container
  nc_dm_id_array_t base;  // the same, out of the callbacks' reach
  nc_dm_fault_t* fault;
  int erropt;
};

// The ids of an instance below the container. The caller has seen to the room for one more.
nc_dm_id_array_t InstanceIds(const Level& level, nc_int64 instid) {
  nc_dm_id_array_t ids = level.base;
  ids.id[ids.cnt++] = instid;
  return ids;
}

// The SDN datastore shows, and deletes, nothing but what its own edits created.
bool IsForeign(const nc_dm_agent_node_t& child) {
  if (!nc::IsForeignToRequest(child)) return false;
  NC_DM_LOG_INFO("The node '%s' instid %lld isn't created by netconf client, ignore.\n",
                 child.node_name, nc::LongLong(child.instid));
  return true;
}

// Deletes by ids alone: the value is empty.
nc_int64 CallDelete(nc_dm_agent_node_t* child, nc_dm_id_array_t* ids) {
  nc::TypedValue empty;
  return child->delete_(ids, empty.get());
}

nc_int64 CallInstanceDelete(nc_dm_agent_node_t* child, const Level& level) {
  nc_dm_id_array_t ids = InstanceIds(level, child->instid);
  return CallDelete(child, &ids);
}

bool DeleteEntryByCommand(nc_dm_agent_node_t* entry, const Level& level) {
  const nc::ScopedDataBlock padb(entry, NC_DM_CMD_OP_DELETE);
  if (!padb) {
    NC_DM_LOG_ERROR("Failed to malloc node '%s' instid %lld padb!\n", entry->node_name,
                    nc::LongLong(entry->instid));
    return false;
  }
  padb->id_array = InstanceIds(level, entry->instid);
  if (entry->exe_cmd(padb.get()) < 0) {
    NC_DM_LOG_ERROR("Failed to call node '%s' instid %lld 'exe_cmd'!\n", entry->node_name,
                    nc::LongLong(entry->instid));
    return false;
  }
  return true;
}

bool DeleteEntry(nc_dm_agent_node_t* entry, const Level& level) {
  if (entry->delete_ != nullptr) {
    if (CallInstanceDelete(entry, level) < 0) {
      NC_DM_LOG_ERROR("Failed to delete the node '%s' instid %lld!\n", entry->node_name,
                      nc::LongLong(entry->instid));
      return false;
    }
  } else if (entry->exe_cmd != nullptr) {
    if (!DeleteEntryByCommand(entry, level)) return false;
  } else {
    NC_DM_LOG_INFO("The node '%s' instid %lld has no any delete functions, may be a copy node.\n",
                   entry->node_name, nc::LongLong(entry->instid));
    return true;
  }
  nc::NoteAccepted();
  nc_dm_agent_unreg_nodes(entry);
  return true;
}

bool DeleteLeafListElement(nc_dm_agent_node_t* element, const Level& level) {
  if (element->delete_ == nullptr) {
    NC_DM_LOG_ERROR("The node '%s' instid %lld has no 'delete' function!\n", element->node_name,
                    nc::LongLong(element->instid));
    return false;
  }
  if (CallInstanceDelete(element, level) < 0) {
    NC_DM_LOG_ERROR("Failed to delete the leaf node '%s' instid %lld!\n", element->node_name,
                    nc::LongLong(element->instid));
    return false;
  }
  nc::NoteAccepted();
  nc_dm_agent_unreg_nodes(element);
  return true;
}

// The leaf itself is schema and stays.
bool DeleteLeaf(nc_dm_agent_node_t* leaf, const Level& level) {
  if (leaf->delete_ == nullptr) {
    NC_DM_LOG_INFO("The leaf node '%s' has no any delete functions.\n", leaf->node_name);
    return true;
  }
  if (CallDelete(leaf, level.ids) < 0) {
    NC_DM_LOG_ERROR("Failed to delete the leaf node '%s'!\n", leaf->node_name);
    return false;
  }
  nc::NoteAccepted();
  return true;
}

bool DeleteContainer(nc_dm_agent_node_t* container, const Level& level) {
  if (nc_dm_agent_edit_delall_child(container, level.ids, level.fault, level.erropt) != 0) {
    NC_DM_LOG_ERROR("Failed to delete all children of node '%s'!\n", container->node_name);
    return false;
  }
  return true;
}

bool DeleteChild(nc_dm_agent_node_t* child, const Level& level) {
  switch (child->node_type) {
    case NC_DM_NODE_TYPE_SINGLE_OBJECT:
      return DeleteContainer(child, level);
    case NC_DM_NODE_TYPE_MULT_OBJECT:
      return IsForeign(*child) || DeleteEntry(child, level);
    case NC_DM_NODE_TYPE_MULT_LEAF:
      return IsForeign(*child) || DeleteLeafListElement(child, level);
    case NC_DM_NODE_TYPE_LEAF:
      return IsForeign(*child) || DeleteLeaf(child, level);
    default:
      return true;
  }
}

}  // namespace

int nc_dm_agent_edit_delall_child(nc_dm_agent_node_t* parent, nc_dm_id_array_t* id_array,
                                  nc_dm_fault_t* fault, int erropt) {
  if (parent == nullptr) return nc::Refuse("The parent node input is null!\n");
  if (id_array == nullptr) return nc::Refuse("The id_array input is null!\n");
  if (id_array->cnt >= NC_DM_MAX_DEPTH) {
    return nc::Refuse("The id_array cnt has already reached max!\n");
  }
  Level level = {id_array, {}, fault, erropt};
  nc_dm_id_array_cpy(&level.base, id_array);

  for (nc_dm_agent_node_t& child : nc::RecordsSafely<nc_dm_agent_node_t>(&parent->sub_lst)) {
    if (DeleteChild(&child, level)) continue;
    nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_OP_FAILED, child.node_name);
    if (erropt != NC_DM_ERROPT_CONTINUE) return -1;
  }
  return 0;
}
