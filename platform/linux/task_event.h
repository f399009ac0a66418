// libevent's objects, owned.
#ifndef PLATFORM_LINUX_TASK_EVENT_H_
#define PLATFORM_LINUX_TASK_EVENT_H_

#include <event2/event.h>
#include <event2/event_struct.h>

#include <memory>

namespace zu {

struct EventFree {
  void operator()(event* ev) const { event_free(ev); }
};
using EventPtr = std::unique_ptr<event, EventFree>;

struct EventBaseFree {
  void operator()(event_base* base) const { event_base_free(base); }
};
using EventBasePtr = std::unique_ptr<event_base, EventBaseFree>;

// What libevent watches for a task, until it reports it.
class TaskEvent {
 public:
  TaskEvent() = default;
  TaskEvent(const TaskEvent&) = delete;
  TaskEvent& operator=(const TaskEvent&) = delete;
  ~TaskEvent() { Withdraw(); }

  // One shot. False when it cannot be watched.
  bool Watch(event_base* base, int fd, short events, event_callback_fn callback, void* arg,
             const timeval* timeout) {
    is_watched_ = event_assign(&event_, base, fd, events, callback, arg) == 0 &&
                  event_add(&event_, timeout) == 0;
    return is_watched_;
  }
  bool IsWatched() const { return is_watched_; }
  void Reported() { is_watched_ = false; }
  void Withdraw() {
    if (is_watched_) event_del(&event_);
    is_watched_ = false;
  }

 private:
  event event_;
  bool is_watched_ = false;
};

}  // namespace zu

#endif  // PLATFORM_LINUX_TASK_EVENT_H_
