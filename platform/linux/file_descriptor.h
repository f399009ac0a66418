#ifndef PLATFORM_LINUX_FILE_DESCRIPTOR_H_
#define PLATFORM_LINUX_FILE_DESCRIPTOR_H_

#include <unistd.h>

namespace zu {

// Closes its descriptor. A negative number is no descriptor.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace zu

#endif  // PLATFORM_LINUX_FILE_DESCRIPTOR_H_
