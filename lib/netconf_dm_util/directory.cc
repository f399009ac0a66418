// The names in a directory.

#include <dirent.h>

#include <cstring>
#include <memory>

#include "netconf_dm_util.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

// A name that memory is too short for is left out of the result.
void AppendName(const char* name, list_head* head) {
  auto entry = nc::NewRecord<nc_dm_dir_entname_t>();
  if (entry == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc entry name: %s\n", name);
    return;
  }
  memcpy(entry->name, name, strnlen(name, sizeof(entry->name) - 1));
  nc::PushBack(head, &entry.release()->lst);
}

}  // namespace

bool nc_dm_is_file_ext(char* file_name, char* ext) {
  if (file_name == nullptr || ext == nullptr) return false;
  const char* dot = strchr(file_name, '.');
  return dot != nullptr && strcmp(dot + 1, ext) == 0;
}

int nc_dm_get_dir_entnames(const char* dir_name, char* ext, list_head* head) {
  if (dir_name == nullptr) return nc::Refuse("The dir_name input is null!\n");
  if (head == nullptr) return nc::Refuse("The list head pointer input is null!\n");
  const std::unique_ptr<DIR, CloseDirectory> directory(opendir(dir_name));
  if (directory == nullptr) {
    NC_DM_LOG_ERROR("Failed to open dir(%s)!\n", dir_name);
    return -1;
  }
  while (dirent* entry = readdir(directory.get())) {
    NC_DM_LOG_INFO("Current file name is %s\n", entry->d_name);
    if (ext != nullptr && !nc_dm_is_file_ext(entry->d_name, ext)) continue;
    AppendName(entry->d_name, head);
  }
  return 0;
}
