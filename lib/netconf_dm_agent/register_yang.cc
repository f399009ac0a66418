// Attributes of the YANG modules: kept beside the tree, and announced to the server whenever they
// are given.

#include <cstring>
#include <utility>

#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/registration_queue.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

using TextPtr = nc::MallocPtr<char>;

nc_dm_yang_attr_t* Add(const char* name, nc_dm_yang_attr_type_t type, TextPtr value) {
  auto record = nc::NewRecord<nc_dm_yang_attr_t>();
  TextPtr module_name(nc_dm_copy_str(name));
  if (record == nullptr || module_name == nullptr) return nullptr;
  record->type = type;
  record->module_name = module_name.release();
  record->attr = value.release();
  nc_dm_yang_attr_t* added = record.release();
  nc::PushBack(&g_nc_agent_dm.yang_attr_lst, &added->lst);
  return added;
}

// Keeps the value in the tree. The attribute, or null when memory is short.
nc_dm_yang_attr_t* Record(const char* name, nc_dm_yang_attr_type_t type, const char* attr_val) {
  nc_dm_yang_attr_t* known = nc_dm_agent_get_yang_attr(name, type);
  if (known != nullptr && known->attr != nullptr && strcmp(known->attr, attr_val) == 0)
    return known;
  TextPtr value(nc_dm_copy_str(attr_val));
  if (value == nullptr) return nullptr;
  if (known == nullptr) return Add(name, type, std::move(value));
  const TextPtr replaced(known->attr);
  known->attr = value.release();
  return known;
}

// Keeps the value in the tree and notes there that its announcement is queued. 0, or -1 when memory
// is short; `was_queued` says whether one may wait already.
int RecordAndNote(const char* name, nc_dm_yang_attr_type_t type, const char* attr_val,
                  bool* was_queued) {
  const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
  nc_dm_yang_attr_t* attribute = Record(name, type, attr_val);
  if (attribute == nullptr) return nc::Refuse("Failed to malloc yang_attr!\n");
  *was_queued = std::exchange(attribute->queued, true);
  return 0;
}

}  // namespace

nc_dm_yang_attr_t* nc_dm_agent_get_yang_attr(const char* name, nc_dm_yang_attr_type_t attr) {
  if (name == nullptr) return nullptr;
  for (auto& yang : nc::Records<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
    if (yang.type == attr && yang.module_name != nullptr && strcmp(yang.module_name, name) == 0) {
      return &yang;
    }
  }
  return nullptr;
}

int nc_dm_agent_yang_attr_reg(const char* name, nc_dm_yang_attr_type_t attr_type,
                              const char* attr_val) {
  if (name == nullptr) return nc::Refuse("Input yang name is null!\n");
  if (attr_val == nullptr) return nc::Refuse("Input yang attribute value is null!\n");
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  bool was_queued = false;
  if (RecordAndNote(name, attr_type, attr_val, &was_queued) != 0) return -1;

  // The tree is not held any more: the registration task takes the two locks in the other order.
  nc_dm_yang_attr_t announced = {};
  announced.type = attr_type;
  announced.module_name = const_cast<char*>(name);
  announced.attr = const_cast<char*>(attr_val);
  nc::PendingPtr record = nc::NewPendingYangAttr(announced);
  if (record == nullptr) return 0;
  nc::QueueYangAttr(std::move(record), was_queued);
  nc::RetrySchedulingFromCall();
  return 0;
}
