// A process that has no descriptor left.
#ifndef TESTS_SERVER_NO_DESCRIPTORS_H_
#define TESTS_SERVER_NO_DESCRIPTORS_H_

#include <sys/resource.h>

namespace ncdm_test {

// While it lives, or until End(), no further descriptor can be opened.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit none = before_;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { End(); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

  void End() const { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

}  // namespace ncdm_test

#endif  // TESTS_SERVER_NO_DESCRIPTORS_H_
