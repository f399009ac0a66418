// Where everybody may write, another user may have been there first: with a symbolic link, through
// which the library would remove a file elsewhere, or with a server of his own.

#include "netconf_dm_agent/trusted_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>

#include "netconf_dm_util/log.h"

namespace {

// A path that is walked from its root to its end, component by component.
class Walk {
 public:
  Walk(const char* path, size_t root_len) : path_(path), end_(root_len) {}

  // Goes on to the end of the next component; false behind the last.
  bool Next() {
    if (path_[end_] == '\0') return false;
    end_ += 1 + strcspn(path_ + end_ + 1, "/");
    return true;
  }
  // The path up to here.
  const char* Text() {
    memcpy(text_, path_, end_);
    text_[end_] = '\0';
    return text_;
  }

 private:
  const char* path_;
  size_t end_;
  char text_[PATH_MAX] = {};
};

// A group's members are others, too.
bool OthersMayWrite(const struct stat& directory) {
  return (directory.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

bool IsOurs(const struct stat& component) {
  return component.st_uid == 0 || component.st_uid == geteuid();
}

}  // namespace

namespace nc {

bool IsTrustedPath(const char* path, size_t root_len) {
  Walk walk(path, root_len);
  struct stat directory;
  if (strlen(path) >= PATH_MAX || stat(root_len == 0 ? "/" : walk.Text(), &directory) != 0) {
    return true;
  }
  while (walk.Next()) {
    struct stat component;
    if (lstat(walk.Text(), &component) != 0) return true;
    if (S_ISLNK(component.st_mode)) {
      NC_DM_LOG_ERROR("'%s' on the way to the socket is a symbolic link, it is not followed!\n",
                      walk.Text());
      return false;
    }
    if (OthersMayWrite(directory) && !IsOurs(component)) {
      NC_DM_LOG_ERROR("'%s' on the way to the socket belongs to another user!\n", walk.Text());
      return false;
    }
    directory = component;
  }
  return true;
}

}  // namespace nc
