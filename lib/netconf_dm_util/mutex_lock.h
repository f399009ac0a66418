// A POSIX mutex held by scope.
#ifndef NETCONF_DM_UTIL_MUTEX_LOCK_H_
#define NETCONF_DM_UTIL_MUTEX_LOCK_H_

#include <pthread.h>

namespace nc {

class [[nodiscard]] MutexLock {
 public:
  explicit MutexLock(pthread_mutex_t* mutex) : mutex_(mutex) { pthread_mutex_lock(mutex_); }
  ~MutexLock() { pthread_mutex_unlock(mutex_); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  pthread_mutex_t* mutex_;
};

}  // namespace nc

#endif  // NETCONF_DM_UTIL_MUTEX_LOCK_H_
