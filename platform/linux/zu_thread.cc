// The event-thread library on libevent.
//
// libevent watches descriptors and clocks; the order in which tasks run is kept here. A task that
// libevent reports, or that is due from the start, moves to the master's ready queue, which is
// sorted by the moment at which its tasks became due and then by the order of scheduling. A turn of
// the loop takes the whole queue and runs it. So a task that is due can still be cancelled, and a
// task that schedules another for at once never keeps the descriptors from being served.
//
// A master that is joined to another loop by its descriptor waits for no time at all; what it waits
// for is told to a LoopDescriptor as well. A master on the application's own event_base runs its
// turns from an event of that base.

#include "zu_thread.h"

#include <errno.h>
#include <event2/event.h>
#include <stdint.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <span>

#include "file_descriptor.h"
#include "loop_descriptor.h"
#include "task.h"
#include "task_event.h"

namespace {

using std::chrono::microseconds;
using std::chrono::seconds;
using zu::Clock;
using zu::EventBasePtr;
using zu::EventPtr;
using zu::FileDescriptor;
using zu::LoopDescriptor;
using zu::Task;
using zu::TaskList;

// Longer delays are cut to this one, some 34 years: its sum with the clock fits 32 bits of time_t.
constexpr int64_t kLongestDelaySeconds = INT32_MAX / 2;

struct EventConfigFree {
  void operator()(event_config* config) const { event_config_free(config); }
};

// The poll method: it takes any descriptor, regular files included, and keeps nothing in the kernel
// that would outlive a descriptor closed under a task or mix it up with its successor. Tasks are
// one shot, so it also saves the two system calls that re-arming would cost with epoll.
EventBasePtr NewEventBase() {
  std::unique_ptr<event_config, EventConfigFree> config(event_config_new());
  if (!config || event_config_require_features(config.get(), EV_FEATURE_FDS) != 0 ||
      event_config_set_flag(config.get(), EVENT_BASE_FLAG_PRECISE_TIMER) != 0 ||
      event_config_set_flag(config.get(), EVENT_BASE_FLAG_IGNORE_ENV) != 0) {
    return nullptr;
  }
  return EventBasePtr(event_base_new_with_config(config.get()));
}

timeval ToTimeval(microseconds delay) {
  const auto whole = std::chrono::duration_cast<seconds>(delay);
  timeval result;
  result.tv_sec = static_cast<time_t>(whole.count());
  result.tv_usec = static_cast<suseconds_t>((delay - whole).count());
  return result;
}

microseconds ToDelay(int64_t sec, int64_t usec) {
  // The carry cannot overflow: it is smaller than the seconds' limit by far.
  sec = std::clamp<int64_t>(sec, -kLongestDelaySeconds, kLongestDelaySeconds);
  sec = std::clamp<int64_t>(sec + usec / 1000000, 0 - kLongestDelaySeconds, kLongestDelaySeconds);
  return seconds(sec) + microseconds(usec % 1000000);
}

}  // namespace

struct zu_thread_master : zu::InMalloc {
 public:
  static zu_thread_master* Create();
  static zu_thread_master* CreateOn(event_base* base);

  zu_thread* ScheduleNow(zu_thread_func func, void* arg, int value, const char* name);
  zu_thread* ScheduleTimer(zu_thread_func func, void* arg, microseconds delay, const char* name);
  zu_thread* ScheduleDescriptor(zu_thread_func func, void* arg, int fd, short events,
                                const char* name);
  static void Cancel(Task& task);

  int Run();
  int RunOnce(int timeout_ms);
  void Stop();
  int Descriptor();

 private:
  explicit zu_thread_master(EventBasePtr base)
      : own_base_(std::move(base)),
        base_(own_base_.get()),
        stop_fd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
  explicit zu_thread_master(event_base* base) : base_(base), stop_fd_(-1) {}

  static void OnTaskEvent(evutil_socket_t, short events, void* arg);
  static void OnTurn(evutil_socket_t, short, void* arg);
  static void OnStop(evutil_socket_t fd, short, void*);
  static void OnTimeout(evutil_socket_t, short, void*) {}

  bool WatchStop();
  bool HasOwnLoop() const { return own_base_ != nullptr; }
  void WantTurn();
  bool Join(Task& task);
  uint32_t Interest(int fd) const;
  std::optional<Clock::time_point> FirstTimer() const;
  void Rejoin(std::span<const int> reported);
  Task* NewTask(zu_thread_func func, void* arg, int value, const char* name);
  void Retire(Task& task);
  void MakeReady(Task& task, Clock::time_point due);
  Clock::time_point ThisTurn();
  bool Wait(std::optional<microseconds> timeout);
  int RunReady();
  int Turn(std::optional<microseconds> timeout);
  bool TakeStop() { return stop_.exchange(false, std::memory_order_acq_rel); }

  EventBasePtr own_base_;  // before everything that holds an event of it
  event_base* base_;       // the same, or the application's
  FileDescriptor stop_fd_;
  EventPtr stop_event_;
  EventPtr timeout_event_;
  EventPtr turn_event_;  // on the application's base: runs what is ready
  std::unique_ptr<LoopDescriptor> joined_;
  bool file_waits_ = false;  // a task waits for what is always ready, such as a disk file
  TaskList spare_;           // records of tasks that are done, for those to come
  int spare_count_ = 0;
  TaskList waiting_;  // for libevent, or for ever
  TaskList ready_;    // sorted, waiting for the next turn
  TaskList turn_;     // sorted, the rest of the turn that runs
  std::optional<Clock::time_point> this_turn_;
  uint64_t last_number_ = 0;
  bool running_ = false;
  std::atomic<bool> stop_{false};
  static_assert(std::atomic<bool>::is_always_lock_free, "stopping is for signal handlers too");
};

zu_thread_master* zu_thread_master::Create() {
  EventBasePtr base = NewEventBase();
  if (!base) return nullptr;
  std::unique_ptr<zu_thread_master> master(new (zu::FromMalloc{})
                                               zu_thread_master(std::move(base)));
  if (!master || !master->WatchStop()) return nullptr;
  return master.release();
}

zu_thread_master* zu_thread_master::CreateOn(event_base* base) {
  if (!base) return nullptr;
  std::unique_ptr<zu_thread_master> master(new (zu::FromMalloc{}) zu_thread_master(base));
  if (!master) return nullptr;
  master->turn_event_.reset(event_new(base, -1, 0, &OnTurn, master.get()));
  return master->turn_event_ ? master.release() : nullptr;
}

bool zu_thread_master::WatchStop() {
  if (stop_fd_.get() < 0) return false;
  stop_event_.reset(event_new(base_, stop_fd_.get(), EV_READ | EV_PERSIST, &OnStop, nullptr));
  timeout_event_.reset(event_new(base_, -1, 0, &OnTimeout, nullptr));
  return stop_event_ && timeout_event_ && event_add(stop_event_.get(), nullptr) == 0;
}

Task* zu_thread_master::NewTask(zu_thread_func func, void* arg, int value, const char* name) {
  if (!func) return nullptr;
  Task* task = nullptr;
  if (spare_.empty()) {
    task = new (zu::FromMalloc{}) Task;
    if (!task) return nullptr;
  } else {
    task = &spare_.front();
    TaskList::Remove(*task);
    --spare_count_;
  }
  waiting_.PushBack(*task);
  static_cast<zu_thread&>(*task) = {this, func, arg, value, name};
  task->events = 0;
  task->number = ++last_number_;
  return task;
}

// An agent schedules a task for each step of a request, so that the same few records serve it again
// and again.
void zu_thread_master::Retire(Task& task) {
  constexpr int kSpare = 8;
  task.ev.Withdraw();
  if (task.IsInList()) TaskList::Remove(task);
  if (spare_count_ < kSpare) {
    spare_.PushFront(task);
    ++spare_count_;
  } else {
    delete &task;
  }
}

void zu_thread_master::MakeReady(Task& task, Clock::time_point due) {
  task.due = due;
  TaskList::Remove(task);
  ready_.InsertInOrder(task);
  WantTurn();
}

// Tells a loop that is not the master's own that there is work. A turn that runs sees to it at its
// end.
void zu_thread_master::WantTurn() {
  if (running_) return;
  if (joined_) joined_->WakeBy(Clock::time_point::min());
  if (!turn_event_ || evtimer_pending(turn_event_.get(), nullptr)) return;
  // By way of a timer, so that the base serves its descriptors between two turns.
  const timeval at_once = {};
  event_add(turn_event_.get(), &at_once);
}

zu_thread* zu_thread_master::ScheduleNow(zu_thread_func func, void* arg, int value,
                                         const char* name) {
  Task* task = NewTask(func, arg, value, name);
  if (task) MakeReady(*task, Clock::now());
  return task;
}

zu_thread* zu_thread_master::ScheduleTimer(zu_thread_func func, void* arg, microseconds delay,
                                           const char* name) {
  if (delay <= microseconds::zero()) return ScheduleNow(func, arg, 0, name);
  Task* task = NewTask(func, arg, 0, name);
  if (!task) return nullptr;
  task->due = Clock::now() + delay;
  const timeval timeout = ToTimeval(delay);
  if (!task->ev.Watch(base_, -1, 0, &OnTaskEvent, task, &timeout)) {
    Retire(*task);
    return nullptr;
  }
  if (joined_) joined_->WakeBy(task->due);
  return task;
}

zu_thread* zu_thread_master::ScheduleDescriptor(zu_thread_func func, void* arg, int fd,
                                                short events, const char* name) {
  Task* task = NewTask(func, arg, fd, name);
  if (!task || fd < 0) return task;
  task->events = events;
  if (!task->ev.Watch(base_, fd, events, &OnTaskEvent, task, nullptr) || !Join(*task)) {
    Retire(*task);
    return nullptr;
  }
  return task;
}

void zu_thread_master::Cancel(Task& task) {
  // A task that runs is past cancelling; its record goes when its function returns.
  if (task.IsInList()) task.master->Retire(task);
}

void zu_thread_master::OnTaskEvent(evutil_socket_t, short events, void* arg) {
  Task& task = *static_cast<Task*>(arg);
  task.ev.Reported();
  const bool is_timer = (events & EV_TIMEOUT) != 0;
  task.master->MakeReady(task, is_timer ? task.due : task.master->ThisTurn());
}

void zu_thread_master::OnStop(evutil_socket_t fd, short, void*) {
  eventfd_t count;
  eventfd_read(fd, &count);
}

// Descriptors found ready together became so at one moment, as far as anybody can tell.
Clock::time_point zu_thread_master::ThisTurn() {
  if (!this_turn_) this_turn_ = Clock::now();
  return *this_turn_;
}

bool zu_thread_master::Wait(std::optional<microseconds> timeout) {
  int flags = EVLOOP_ONCE;
  bool has_timeout = false;
  if (!ready_.empty() || timeout == microseconds::zero()) {
    flags |= EVLOOP_NONBLOCK;
  } else if (timeout) {
    const timeval tv = ToTimeval(*timeout);
    if (event_add(timeout_event_.get(), &tv) != 0) return false;
    has_timeout = true;
  }
  const int result = event_base_loop(base_, flags);
  if (has_timeout) event_del(timeout_event_.get());
  this_turn_.reset();
  return result >= 0;
}

// Runs what is ready now, and leaves the rest for a later turn when a task stops the loop.
int zu_thread_master::RunReady() {
  turn_.TakeBefore(ready_);
  int count = 0;
  while (!turn_.empty() && !stop_.load(std::memory_order_acquire)) {
    Task& task = turn_.front();
    TaskList::Remove(task);
    task.func(&task);
    Retire(task);
    ++count;
  }
  // What became ready meanwhile is due after all of these.
  ready_.TakeBefore(turn_);
  return count;
}

int zu_thread_master::Turn(std::optional<microseconds> timeout) {
  const auto reported = joined_ ? joined_->TakeReady() : std::span<const int>();
  file_waits_ = false;
  const int result = Wait(timeout) ? RunReady() : -1;
  if (joined_) Rejoin(reported);
  return result;
}

// A turn on the application's base. A task that runs that base itself does not begin another.
void zu_thread_master::OnTurn(evutil_socket_t, short, void* arg) {
  auto& master = *static_cast<zu_thread_master*>(arg);
  if (master.running_) return;
  master.running_ = true;
  master.this_turn_.reset();
  master.RunReady();
  master.running_ = false;
  if (!master.ready_.empty()) master.WantTurn();
}

int zu_thread_master::Descriptor() {
  if (!HasOwnLoop()) return -1;
  if (joined_) return joined_->get();
  joined_ = LoopDescriptor::Create();
  if (!joined_) return -1;
  for (Task& task : waiting_) {
    if (!Join(task)) {
      joined_.reset();
      return -1;
    }
  }
  joined_->WakeAt(FirstTimer());
  if (!ready_.empty() || file_waits_) joined_->WakeBy(Clock::time_point::min());
  return joined_->get();
}

// What a descriptor task waits for, for the loop that the master is joined to.
bool zu_thread_master::Join(Task& task) {
  if (!joined_ || task.events == 0) return true;
  const auto watched = joined_->Watch(task.value, Interest(task.value));
  if (watched == LoopDescriptor::Watched::kAlwaysReady) {
    file_waits_ = true;
    joined_->WakeBy(Clock::time_point::min());
  }
  return watched != LoopDescriptor::Watched::kNo;
}

uint32_t zu_thread_master::Interest(int fd) const {
  uint32_t events = 0;
  for (const Task& task : waiting_) {
    if (task.value != fd) continue;
    if (task.events & EV_READ) events |= EPOLLIN;
    if (task.events & EV_WRITE) events |= EPOLLOUT;
  }
  return events;
}

std::optional<Clock::time_point> zu_thread_master::FirstTimer() const {
  std::optional<Clock::time_point> first;
  for (const Task& task : waiting_) {
    const bool is_timer = task.ev.IsWatched() && task.events == 0;
    if (is_timer && (!first || task.due < *first)) first = task.due;
  }
  return first;
}

// After a turn: tasks on a reported descriptor that are still waiting, and the next wake-up. A
// moment that lies ahead stays set, also when its timer is cancelled: it then wakes for nothing,
// once.
void zu_thread_master::Rejoin(std::span<const int> reported) {
  for (const int fd : reported) {
    if (const uint32_t events = Interest(fd)) joined_->Watch(fd, events);
  }
  if (!ready_.empty() || file_waits_) {
    joined_->WakeBy(Clock::time_point::min());
  } else if (joined_->wake() && *joined_->wake() <= Clock::now()) {
    joined_->WakeAt(FirstTimer());
  }
}

int zu_thread_master::Run() {
  if (running_ || !HasOwnLoop()) return -1;
  running_ = true;
  int result = 0;
  while (result >= 0 && !TakeStop()) result = Turn(std::nullopt);
  running_ = false;
  return std::min(result, 0);
}

int zu_thread_master::RunOnce(int timeout_ms) {
  if (running_ || !HasOwnLoop()) return -1;
  if (TakeStop()) return 0;
  running_ = true;
  std::optional<microseconds> timeout;
  if (timeout_ms >= 0) timeout = std::chrono::milliseconds(timeout_ms);
  const int result = Turn(timeout);
  TakeStop();
  running_ = false;
  return result;
}

void zu_thread_master::Stop() {
  if (!HasOwnLoop()) return;
  const int saved_errno = errno;
  stop_.store(true, std::memory_order_release);
  // A full counter has the loop awake already.
  eventfd_write(stop_fd_.get(), 1);
  errno = saved_errno;
}

zu_thread* zu_thread_add_event_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        int value, const char* name) {
  return master ? master->ScheduleNow(func, arg, value, name) : nullptr;
}

zu_thread* zu_thread_add_timer(zu_thread_master* master, zu_thread_func func, void* arg,
                               long seconds) {
  return zu_thread_add_timer_withname(master, func, arg, seconds, nullptr);
}

zu_thread* zu_thread_add_timer_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        long seconds, const char* name) {
  return master ? master->ScheduleTimer(func, arg, ToDelay(seconds, 0), name) : nullptr;
}

zu_thread* zu_thread_add_timer_timeval(zu_thread_master* master, zu_thread_func func, void* arg,
                                       const struct timeval* delay) {
  if (!master || !delay) return nullptr;
  return master->ScheduleTimer(func, arg, ToDelay(delay->tv_sec, delay->tv_usec), nullptr);
}

zu_thread* zu_thread_add_read_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                       int fd, const char* name) {
  return master ? master->ScheduleDescriptor(func, arg, fd, EV_READ, name) : nullptr;
}

zu_thread* zu_thread_add_write(zu_thread_master* master, zu_thread_func func, void* arg, int fd) {
  return master ? master->ScheduleDescriptor(func, arg, fd, EV_WRITE, nullptr) : nullptr;
}

void zu_thread_cancel(zu_thread* thread) {
  if (thread) zu_thread_master::Cancel(static_cast<Task&>(*thread));
}

zu_thread_master* zu_thread_master_create(void) { return zu_thread_master::Create(); }

zu_thread_master* zu_thread_master_create_on(struct event_base* base) {
  return zu_thread_master::CreateOn(base);
}

int zu_thread_master_fd(zu_thread_master* master) { return master ? master->Descriptor() : -1; }

int zu_thread_master_run(zu_thread_master* master) { return master ? master->Run() : -1; }

int zu_thread_master_run_once(zu_thread_master* master, int timeout_ms) {
  return master ? master->RunOnce(timeout_ms) : -1;
}

void zu_thread_master_stop(zu_thread_master* master) {
  if (master) master->Stop();
}

void zu_thread_master_destroy(zu_thread_master* master) { delete master; }
