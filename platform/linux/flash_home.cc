#include "flash_home.h"

#include <stdlib.h>
#include <string.h>

int fs_get_flash_home(char* path, int size) {
  const char* home = getenv("NC_DM_FLASH_HOME");
  if (!path || size < 1 || !home) return -1;
  const size_t length = strlen(home);
  if (length >= static_cast<size_t>(size)) return -1;
  memcpy(path, home, length + 1);
  return 0;
}
