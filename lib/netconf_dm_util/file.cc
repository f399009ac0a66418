// The content of a file.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "netconf_dm_util.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

// A descriptor that is closed with its scope.
class File {
 public:
  explicit File(const char* path) : fd_(open(path, O_RDONLY | O_CLOEXEC)) {}
  ~File() {
    if (fd_ >= 0) close(fd_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool is_open() const { return fd_ >= 0; }
  ssize_t Read(char* to, size_t size) const { return read(fd_, to, size); }

 private:
  const int fd_;
};

}  // namespace

char* nc_dm_get_file_cont(const char* file_path) {
  struct stat status = {};
  if (file_path == nullptr || stat(file_path, &status) != 0) {
    NC_DM_LOG_ERROR("Failed to call stat(%s)!\n", file_path == nullptr ? "(null)" : file_path);
    return nullptr;
  }
  const File file(file_path);
  if (!file.is_open()) {
    NC_DM_LOG_ERROR("Failed to open file(%s)!\n", file_path);
    return nullptr;
  }
  const auto size = static_cast<size_t>(status.st_size);
  nc::MallocPtr<char> content = nc::NewText(size + 1);
  if (content == nullptr) return nc::Refuse(nullptr, "Failed to malloc memory for file content!\n");
  if (file.Read(content.get(), size) != status.st_size) {
    NC_DM_LOG_ERROR("Failed to read file(%s)!\n", file_path);
    return nullptr;
  }
  return content.release();
}
