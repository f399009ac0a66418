#ifndef TESTS_SUPPORT_OTHER_USER_H_
#define TESTS_SUPPORT_OTHER_USER_H_

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace ncdm_test {

// A user who is neither root nor the one who runs the tests: "nobody", who owns nothing.
constexpr uid_t kOtherUser = 65534;

// Only root can act as somebody else.
inline bool CanActAsOtherUser() { return geteuid() == 0; }

// Runs an action as another user, in a process of its own. Its errno: 0 when it returned true, -1
// when it could not be run.
template <typename Action>
int AsOtherUser(Action&& action) {
  const pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(kOtherUser) != 0 || setuid(kOtherUser) != 0) {
      _exit(255);
    }
    _exit(action() ? 0 : errno);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status) == 255 ? -1 : WEXITSTATUS(status);
}

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_OTHER_USER_H_
