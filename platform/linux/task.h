// A task of the loop, and lists of them. A task stands in one list at a time, and in none while it
// runs; the list that it stands in owns it.
//
// Memory is from malloc: nothing of the port asks for the C++ library at run time, so that an
// application in C does not load it for the sake of its event loop.
#ifndef PLATFORM_LINUX_TASK_H_
#define PLATFORM_LINUX_TASK_H_

#include <stdint.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>
#include <cstddef>
#include <new>

#include "task_event.h"
#include "zu_thread.h"

namespace zu {

// The clock of std::chrono::steady_clock, read without the C++ library.
struct Clock {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<Clock>;
  static constexpr bool is_steady = true;

  static time_point now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time_point(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
  }
};

// For objects that are made with `new (FromMalloc{}) Type`; null when memory is short.
struct FromMalloc {};
struct InMalloc {
  static void* operator new(size_t size, FromMalloc) noexcept { return malloc(size); }
  static void operator delete(void* object, FromMalloc) { free(object); }
  static void operator delete(void* object) { free(object); }
};

struct TaskLink {
  TaskLink* next = nullptr;  // null in no list
  TaskLink* prev = nullptr;
};

struct Task : zu_thread, TaskLink, InMalloc {
  TaskEvent ev;
  short events = 0;  // that a descriptor task waits for: EV_READ or EV_WRITE
  Clock::time_point due;
  uint64_t number = 0;  // of scheduling

  bool IsInList() const { return next != nullptr; }
  bool RunsBefore(const Task& other) const {
    return due != other.due ? due < other.due : number < other.number;
  }
};

class TaskList {
 public:
  // Over the tasks in order.
  class Iterator {
   public:
    explicit Iterator(TaskLink* at) : at_(at) {}
    Task& operator*() const { return static_cast<Task&>(*at_); }
    Iterator& operator++() {
      at_ = at_->next;
      return *this;
    }
    bool operator==(const Iterator&) const = default;

   private:
    TaskLink* at_;
  };

  TaskList() { head_.next = head_.prev = &head_; }
  TaskList(const TaskList&) = delete;
  TaskList& operator=(const TaskList&) = delete;
  ~TaskList() {
    while (!empty()) {
      Task& task = front();
      Remove(task);
      delete &task;
    }
  }

  bool empty() const { return head_.next == &head_; }
  Task& front() { return static_cast<Task&>(*head_.next); }
  Iterator begin() const { return Iterator(head_.next); }
  Iterator end() const { return Iterator(const_cast<TaskLink*>(&head_)); }

  // The task must stand in no list, and this one owns it then.
  void PushFront(Task& task) { Insert(head_.next, task); }
  void PushBack(Task& task) { Insert(&head_, task); }

  // Behind the last task that does not run after it. Almost every task belongs at the end, so the
  // search starts there.
  void InsertInOrder(Task& task) {
    TaskLink* place = &head_;
    while (place->prev != &head_ && task.RunsBefore(static_cast<Task&>(*place->prev))) {
      place = place->prev;
    }
    Insert(place, task);
  }

  // Takes the tasks of `other` before its own.
  void TakeBefore(TaskList& other) {
    if (other.empty()) return;
    TaskLink* first = other.head_.next;
    TaskLink* last = other.head_.prev;
    other.head_.next = other.head_.prev = &other.head_;
    last->next = head_.next;
    head_.next->prev = last;
    head_.next = first;
    first->prev = &head_;
  }

  // From whatever list it stands in; it is the caller's then.
  static void Remove(Task& task) {
    task.prev->next = task.next;
    task.next->prev = task.prev;
    task.next = task.prev = nullptr;
  }

 private:
  static void Insert(TaskLink* place, Task& task) {
    task.next = place;
    task.prev = place->prev;
    place->prev->next = &task;
    place->prev = &task;
  }

  TaskLink head_;
};

}  // namespace zu

#endif  // PLATFORM_LINUX_TASK_H_
