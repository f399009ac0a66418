// An operation that waits for agents, written as a coroutine.
//
//   Task<int> Count(Agents& agents) {
//     const server::Answer answer = co_await agents.Call(...);
//     co_return static_cast<int>(answer.values.size());
//   }
//
// A task starts when it is awaited, or by Start(). Destroying one that waits destroys everything
// that it awaits, from the innermost outwards. Exceptions pass to who awaits.
#ifndef NCDM_SERVER_NETCONF_DEVICE_TASK_H_
#define NCDM_SERVER_NETCONF_DEVICE_TASK_H_

#include <coroutine>
#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace ncdm::netconf {

template <typename T>
class Task;

namespace task_internal {

struct PromiseBase {
  // Goes on with who awaits the task.
  struct FinalAwaiter {
    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> handle) const noexcept {
      PromiseBase& promise = handle.promise();
      if (promise.continuation) {
        return promise.continuation;
      }
      if (promise.finished) {
        // It may destroy the task.
        const std::function<void()> finished = std::move(promise.finished);
        finished();
      }
      return std::noop_coroutine();
    }
    void await_resume() const noexcept {}
  };

  std::suspend_always initial_suspend() const noexcept { return {}; }
  FinalAwaiter final_suspend() const noexcept { return {}; }
  void unhandled_exception() { error = std::current_exception(); }

  std::coroutine_handle<> continuation;
  std::function<void()> finished;  // of a task that nobody awaits
  std::exception_ptr error;
};

template <typename T>
struct Promise : PromiseBase {
  Task<T> get_return_object();
  void return_value(T result) { value = std::move(result); }
  T Take() {
    if (error) {
      std::rethrow_exception(error);
    }
    return std::move(*value);
  }
  std::optional<T> value;
};

template <>
struct Promise<void> : PromiseBase {
  Task<void> get_return_object();
  void return_void() const {}
  void Take() const {
    if (error) {
      std::rethrow_exception(error);
    }
  }
};

}  // namespace task_internal

template <typename T = void>
class [[nodiscard]] Task {
 public:
  using promise_type = task_internal::Promise<T>;
  using Handle = std::coroutine_handle<promise_type>;

  Task() = default;
  explicit Task(Handle handle) : handle_(handle) {}
  Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Task& operator=(Task&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Task() {
    if (handle_) {
      handle_.destroy();
    }
  }

  // Runs the task up to its first wait, without anybody awaiting it. `finished` is called at its
  // end, and may destroy the task.
  void Start(std::function<void()>&& finished) {
    handle_.promise().finished = std::move(finished);
    handle_.resume();
  }
  bool done() const { return handle_.done(); }
  // The result of a started task that is done; throws what ended it.
  T Take() { return handle_.promise().Take(); }

  auto operator co_await() {
    struct Awaiter {
      Handle handle;
      bool await_ready() const { return false; }
      std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiting) const {
        handle.promise().continuation = awaiting;
        return handle;
      }
      T await_resume() const { return handle.promise().Take(); }
    };
    return Awaiter{handle_};
  }

 private:
  Handle handle_ = nullptr;
};

template <typename T>
Task<T> task_internal::Promise<T>::get_return_object() {
  return Task<T>(Task<T>::Handle::from_promise(*this));
}

inline Task<void> task_internal::Promise<void>::get_return_object() {
  return Task<void>(Task<void>::Handle::from_promise(*this));
}

// Awaiting it runs all tasks beside each other and goes on when all are done. The results stay in
// the tasks; an exception is thrown by Take().
class WhenAll {
 public:
  explicit WhenAll(std::vector<Task<void>>* tasks) : tasks_(tasks), left_(tasks->size() + 1) {}

  bool await_ready() const { return tasks_->empty(); }
  bool await_suspend(std::coroutine_handle<> awaiting) {
    awaiting_ = awaiting;
    for (Task<void>& task : *tasks_) {
      task.Start([this] { OneDone(); });
    }
    // The last one that ends resumes, unless all ended at once.
    all_started_ = true;
    return --left_ > 0;
  }
  void await_resume() const {}

 private:
  void OneDone() {
    if (--left_ == 0 && all_started_) {
      awaiting_.resume();
    }
  }

  std::vector<Task<void>>* tasks_;
  std::size_t left_;
  std::coroutine_handle<> awaiting_;
  bool all_started_ = false;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_TASK_H_
