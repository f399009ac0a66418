// Paths rooted at the temporary directory and at the device's flash home directory.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "flash_home.h"
#include "netconf_dm_util.h"

// A platform without a flash home directory need not have this function.
#pragma weak fs_get_flash_home

namespace {

constexpr size_t kMaxTmpPath = 128;
constexpr const char* kNoFlashHome = "./data";

bool AskFlashHome(char* path, int path_size) {
  return fs_get_flash_home != nullptr && fs_get_flash_home(path, path_size) >= 0;
}

}  // namespace

char* nc_dm_make_path(char* path_suffix) {
  static char path[kMaxTmpPath + 1];
  memset(path, 0, sizeof(path));
  const char* root = getenv("TMPDIR");
  if (root == nullptr || path_suffix == nullptr) return nullptr;
  // A path that is too long is refused: cut, it would name another file.
  const int length = snprintf(path, sizeof(path), "%s%s", root, path_suffix);
  return length >= 0 && static_cast<size_t>(length) < sizeof(path) ? path : nullptr;
}

char* nc_dm_make_flash_home(char* path_suffix, char* path, int path_size) {
  if (path_suffix == nullptr || path == nullptr || path_size < 1) return nullptr;
  const auto size = static_cast<size_t>(path_size);
  if (!AskFlashHome(path, path_size)) snprintf(path, size, "%s", kNoFlashHome);
  const size_t home_len = strnlen(path, size);
  const size_t suffix_len = strlen(path_suffix);
  if (home_len + suffix_len >= size) return nullptr;
  memcpy(path + home_len, path_suffix, suffix_len + 1);
  return path;
}
