// The fault of a request, kept until the request is answered.

#include <cstring>

#include "netconf_dm_kernel/edit.h"

void nc_dm_agent_set_fault(nc_dm_fault_t* fault, nc_dm_fault_code_t code, char* path) {
  if (fault == nullptr) return;
  fault->fault_code = code;
  if (path != nullptr) {
    const size_t len = strnlen(path, sizeof(fault->path) - 1);
    memmove(fault->path, path, len);  // it may be the record's own path
    fault->path[len] = '\0';
  }
  fault->new_fault = true;
}
