#include "loop_descriptor.h"

#include <errno.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <algorithm>

namespace zu {
namespace {

// A moment for the kernel, whose zero means never. The clock's epoch is CLOCK_MONOTONIC's.
timespec ToTimespec(LoopDescriptor::Time due) {
  using std::chrono::duration_cast;
  using std::chrono::nanoseconds;
  using std::chrono::seconds;
  const auto since_start = std::max<nanoseconds>(due.time_since_epoch(), nanoseconds(1));
  const auto whole = duration_cast<seconds>(since_start);
  timespec result;
  result.tv_sec = static_cast<time_t>(whole.count());
  result.tv_nsec = static_cast<decltype(result.tv_nsec)>((since_start - whole).count());
  return result;
}

bool Control(int epoll, int operation, int fd, uint32_t events) {
  epoll_event event = {};
  event.events = events;
  event.data.fd = fd;
  return epoll_ctl(epoll, operation, fd, &event) == 0;
}

}  // namespace

LoopDescriptor::LoopDescriptor()
    : epoll_(epoll_create1(EPOLL_CLOEXEC)),
      timer_(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {}

bool LoopDescriptor::IsComplete() const {
  return epoll_.get() >= 0 && timer_.get() >= 0 &&
         Control(epoll_.get(), EPOLL_CTL_ADD, timer_.get(), EPOLLIN);
}

std::unique_ptr<LoopDescriptor> LoopDescriptor::Create() {
  std::unique_ptr<LoopDescriptor> result(new (FromMalloc{}) LoopDescriptor);
  if (!result || !result->IsComplete()) return nullptr;
  return result;
}

LoopDescriptor::Watched LoopDescriptor::Watch(int fd, uint32_t events) {
  const uint32_t once = events | EPOLLONESHOT;
  if (Control(epoll_.get(), EPOLL_CTL_MOD, fd, once) ||
      Control(epoll_.get(), EPOLL_CTL_ADD, fd, once)) {
    return Watched::kYes;
  }
  return errno == EPERM ? Watched::kAlwaysReady : Watched::kNo;
}

std::span<const int> LoopDescriptor::TakeReady() {
  std::array<epoll_event, std::tuple_size_v<decltype(ready_)>> events;
  const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), 0);
  size_t taken = 0;
  for (int i = 0; i < count; ++i) {
    const int fd = events[static_cast<size_t>(i)].data.fd;
    if (fd != timer_.get()) ready_[taken++] = fd;
  }
  return std::span(ready_).first(taken);
}

void LoopDescriptor::WakeBy(Time due) {
  if (!wake_ || due < *wake_) WakeAt(due);
}

void LoopDescriptor::WakeAt(std::optional<Time> due) {
  if (due == wake_) return;
  itimerspec setting = {};
  if (due) setting.it_value = ToTimespec(*due);
  if (timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr) == 0) wake_ = due;
}

}  // namespace zu
