// Calls between the library's files that fail on request: what short memory does, also where a
// sanitizer brings its own malloc. The definitions of failing_calls.cc come before the library's.
#ifndef TESTS_NETCONF_DM_KERNEL_EDIT_FAILING_CALLS_H_
#define TESTS_NETCONF_DM_KERNEL_EDIT_FAILING_CALLS_H_

namespace ncdm_test {

enum class Step {
  kNone,
  kCreatePadb,
  kCreateNode,
  kCopyStr,
  kGetIds,
  kSerialize,
  kMatchIds,
  kMatchValues
};

// Makes one call of a function fail: the one behind the next `successes`.
class FailingCall {
 public:
  explicit FailingCall(Step step, int successes = 0) {
    step_ = step;
    successes_ = successes;
  }
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  ~FailingCall() { step_ = Step::kNone; }

  static bool ShallFail(Step step) {
    if (step != step_ || successes_-- > 0) return false;
    step_ = Step::kNone;
    return true;
  }

 private:
  static Step step_;
  static int successes_;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_EDIT_FAILING_CALLS_H_
