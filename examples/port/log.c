/* The two other calls of a port: a log that never waits, and the device's flash home directory. */
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "flash_home.h"
#include "printk_syslog.h"

/* A device's log: a file in memory that somebody rotates, here the one that DEVICE_LOG names. */
void printk_syslog_ext(int level, const char* module, const char* kind, log_printk_type_e type,
                       const char* format, ...) {
  (void)level, (void)module, (void)kind, (void)type;
  const int saved_errno = errno;
  const char* path = getenv("DEVICE_LOG");
  const int fd =
      path == NULL ? -1 : open(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600);
  if (fd >= 0) {
    va_list arguments;
    va_start(arguments, format);
    vdprintf(fd, format, arguments);
    va_end(arguments);
    close(fd);
  }
  errno = saved_errno;
}

int fs_get_flash_home(char* path, int size) {
  static const char home[] = "/mnt/flash";
  if (path == NULL || size < (int)sizeof home) return -1;
  memcpy(path, home, sizeof home);
  return 0;
}
