// The pending registrations, as a test sees them.
#ifndef TESTS_SUPPORT_PENDING_RECORDS_H_
#define TESTS_SUPPORT_PENDING_RECORDS_H_

#include <stdlib.h>

#include <string>
#include <vector>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"

namespace ncdm_test {

inline std::string PendingText(const nc_dm_stub_reg_t& record) {
  const std::string name = record.name != nullptr ? record.name : "(null)";
  switch (record.type) {
    case NC_DM_MSG_TYPE_REG:
      return "REG " + name + " " + std::to_string(record.attr);
    case NC_DM_MSG_TYPE_UNREG:
      return "UNREG " + name;
    case NC_DM_MSG_TYPE_REG_CPLT:
      return "REG_CPLT";
    case NC_DM_MSG_TYPE_REG_OBJ:
      return "REG_OBJ " + name + " src=" + std::to_string(record.src);
    case NC_DM_MSG_TYPE_UNREG_OBJ:
      return "UNREG_OBJ " + name;
    case NC_DM_MSG_TYPE_REG_YANG_ATTR: {
      const auto* attr = static_cast<const nc_dm_yang_attr_t*>(record.other);
      return std::string("YANG ") + attr->module_name + " " + std::to_string(attr->type) + " " +
             attr->attr;
    }
    default:
      return "?" + std::to_string(record.type);
  }
}

// In order.
inline std::vector<std::string> PendingTexts() {
  std::vector<std::string> texts;
  for (const auto& record : nc::Records<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
    texts.push_back(PendingText(record));
  }
  return texts;
}

inline void FreePendingRecord(nc_dm_stub_reg_t* record) {
  nc::Unlink(&record->list);
  if (record->type == NC_DM_MSG_TYPE_REG_YANG_ATTR && record->other != nullptr) {
    nc_dm_agent_free_yang_attr(static_cast<nc_dm_yang_attr_t*>(record->other));
    free(record->other);
  }
  nc_dm_agent_free_reg(record);
  free(record);
}

inline void FreePendingRecords() {
  for (auto& record : nc::RecordsSafely<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
    FreePendingRecord(&record);
  }
}

// The attributes that the library remembers, to announce them again.
inline void FreeYangAttributes() {
  for (auto& attr : nc::RecordsSafely<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
    nc::Unlink(&attr.lst);
    nc_dm_agent_free_yang_attr(&attr);
    free(&attr);
  }
}

// Applies the first record to the tree, which is what the registration task does with instances.
// Its result; -100 when the queue is empty or another kind is first.
inline int ApplyFirstPending() {
  for (auto& record : nc::RecordsSafely<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
    int result = -100;
    if (record.type == NC_DM_MSG_TYPE_REG_OBJ) result = nc_dm_agent_reg_obj_in(&record);
    if (record.type == NC_DM_MSG_TYPE_UNREG_OBJ) result = nc_dm_agent_unreg_obj_in(&record);
    if (result != -100) FreePendingRecord(&record);
    return result;
  }
  return -100;
}

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_PENDING_RECORDS_H_
