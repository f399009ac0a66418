// One descriptor that is readable when a master has work: what joins a master to a loop that is not
// its own.
//
// It is an epoll set with the descriptors that tasks wait for and one timer. Nobody waits on the
// set itself, so its descriptors are one-shot: a descriptor that was reported is out of the set
// until it is watched again. A task that is cancelled, or whose descriptor the application closed,
// thus costs at most one wake-up for nothing, also where another process holds the same open file;
// the set needs no account of what is in it.
#ifndef PLATFORM_LINUX_LOOP_DESCRIPTOR_H_
#define PLATFORM_LINUX_LOOP_DESCRIPTOR_H_

#include <stdint.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <span>

#include "file_descriptor.h"
#include "task.h"

namespace zu {

class LoopDescriptor : public InMalloc {
 public:
  using Time = Clock::time_point;
  enum class Watched { kYes, kAlwaysReady, kNo };

  // Null when the kernel grants no more.
  static std::unique_ptr<LoopDescriptor> Create();

  int get() const { return epoll_.get(); }

  // Readable once `fd` has one of `events` (EPOLLIN, EPOLLOUT): all that anybody wants of `fd`. A
  // disk file cannot be watched and is always ready.
  Watched Watch(int fd, uint32_t events);

  // The watched descriptors that are ready, which are out of the set now. What does not fit is
  // found the next time.
  std::span<const int> TakeReady();

  // Readable from `due` on, or from an earlier moment that was asked for before.
  void WakeBy(Time due);

  // Readable from `due` on, or never by the clock.
  void WakeAt(std::optional<Time> due);

  std::optional<Time> wake() const { return wake_; }

 private:
  LoopDescriptor();
  bool IsComplete() const;

  FileDescriptor epoll_;
  FileDescriptor timer_;
  std::optional<Time> wake_;
  std::array<int, 64> ready_;
};

}  // namespace zu

#endif  // PLATFORM_LINUX_LOOP_DESCRIPTOR_H_
