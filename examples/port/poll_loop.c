/*
 * A port of the event-thread library on poll(2), to start from: the seven operations that the agent
 * calls, and a loop. docs/porting.md says what each must guarantee.
 *
 * A master is a list of tasks in the order of scheduling. A turn waits with poll, marks what is
 * due, and runs the marked tasks in the order in which they became due; whatever a task schedules
 * is not marked, and so waits for the next turn.
 */
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include "zu_thread.h"

enum { NS_PER_US = 1000, NS_PER_MS = 1000000, NS_PER_S = 1000000000 };
#define NEVER INT64_MAX
#define LONGEST_DELAY_S INT32_MAX /* some 68 years, which no sum overflows */

struct task {
  zu_thread record; /* first: the agent's handle is the task */
  struct task *next, *prev;
  int64_t due;  /* monotonic nanoseconds; NEVER for a descriptor that is not ready */
  short events; /* that a descriptor task waits for; 0 for others */
  bool is_due;  /* runs in this turn */
  bool is_running;
};

struct zu_thread_master {
  struct task tasks; /* the list's head */
  int wake[2];       /* a pipe that a stop writes to */
  atomic_bool stop;
  bool is_running;
};

static int64_t now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (int64_t)time.tv_sec * NS_PER_S + time.tv_nsec;
}

/* ---- Tasks ---- */

static zu_thread* add(zu_thread_master* master, zu_thread task, int64_t due, short events) {
  struct task* new_task = master && task.func ? calloc(1, sizeof *new_task) : NULL;
  if (new_task == NULL) return NULL;
  task.master = master;
  *new_task = (struct task){task, &master->tasks, master->tasks.prev, due, events, false, false};
  new_task->prev->next = new_task;
  master->tasks.prev = new_task;
  return &new_task->record;
}

static void take_off(struct task* task) {
  task->prev->next = task->next;
  task->next->prev = task->prev;
}

void zu_thread_cancel(zu_thread* thread) {
  struct task* task = (struct task*)thread;
  if (task == NULL || task->is_running) return;
  take_off(task);
  free(task);
}

static int64_t limited(int64_t seconds) {
  if (seconds > LONGEST_DELAY_S) return LONGEST_DELAY_S;
  return seconds < -LONGEST_DELAY_S ? -LONGEST_DELAY_S : seconds;
}

static int64_t in(int64_t seconds, int64_t microseconds) {
  const int64_t whole = limited(limited(seconds) + microseconds / 1000000);
  const int64_t delay = whole * NS_PER_S + microseconds % 1000000 * NS_PER_US;
  return now() + (delay > 0 ? delay : 0);
}

zu_thread* zu_thread_add_event_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        int value, const char* name) {
  return add(master, (zu_thread){NULL, func, arg, value, name}, now(), 0);
}

zu_thread* zu_thread_add_timer(zu_thread_master* master, zu_thread_func func, void* arg,
                               long seconds) {
  return zu_thread_add_timer_withname(master, func, arg, seconds, NULL);
}

zu_thread* zu_thread_add_timer_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        long seconds, const char* name) {
  return add(master, (zu_thread){NULL, func, arg, 0, name}, in(seconds, 0), 0);
}

zu_thread* zu_thread_add_timer_timeval(zu_thread_master* master, zu_thread_func func, void* arg,
                                       const struct timeval* delay) {
  if (delay == NULL) return NULL;
  return add(master, (zu_thread){NULL, func, arg, 0, NULL}, in(delay->tv_sec, delay->tv_usec), 0);
}

zu_thread* zu_thread_add_read_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                       int fd, const char* name) {
  return add(master, (zu_thread){NULL, func, arg, fd, name}, NEVER, POLLIN);
}

zu_thread* zu_thread_add_write(zu_thread_master* master, zu_thread_func func, void* arg, int fd) {
  return add(master, (zu_thread){NULL, func, arg, fd, NULL}, NEVER, POLLOUT);
}

/* ---- The loop ---- */

#define FOR_EACH(task, master) \
  for (struct task* task = (master)->tasks.next; task != &(master)->tasks; task = task->next)

/* Milliseconds until `due`, rounded up, as poll takes them. */
static int until(int64_t due) {
  if (due == NEVER) return -1;
  const int64_t left = (due - now() + NS_PER_MS - 1) / NS_PER_MS;
  return left < 0 ? 0 : left > INT_MAX ? INT_MAX : (int)left;
}

/* Waits until something is due or `end`, and marks what is. -1 when the wait fails. */
static int wait_and_mark(zu_thread_master* master, int64_t end) {
  nfds_t count = 1;
  FOR_EACH(task, master) count += task->events != 0;
  struct pollfd* fds = calloc(count, sizeof *fds);
  if (fds == NULL) return -1;

  fds[0] = (struct pollfd){master->wake[0], POLLIN, 0};
  struct pollfd* fd = fds;
  FOR_EACH(task, master) {
    if (task->events != 0) *++fd = (struct pollfd){task->record.value, task->events, 0};
    if (task->due < end) end = task->due;
  }
  int ready;
  do ready = poll(fds, count, until(end));
  while (ready < 0 && errno == EINTR);

  char byte;
  while (read(master->wake[0], &byte, 1) == 1) continue;
  const int64_t time = now();
  fd = fds;
  FOR_EACH(task, master) {
    if (task->events != 0 && (++fd)->revents != 0) task->due = time;
    task->is_due = task->due <= time;
  }
  free(fds);
  return ready < 0 ? -1 : 0;
}

static struct task* first_due(zu_thread_master* master) {
  struct task* first = NULL;
  FOR_EACH(task, master) {
    if (task->is_due && (first == NULL || task->due < first->due)) first = task;
  }
  return first;
}

static int turn(zu_thread_master* master, int64_t end) {
  if (wait_and_mark(master, end) != 0) return -1;
  int count = 0;
  for (struct task* task; !master->stop && (task = first_due(master)) != NULL; ++count) {
    take_off(task);
    task->is_running = true;
    task->record.func(&task->record);
    free(task);
  }
  return count;
}

zu_thread_master* zu_thread_master_create(void) {
  zu_thread_master* master = calloc(1, sizeof *master);
  if (master == NULL || pipe2(master->wake, O_CLOEXEC | O_NONBLOCK) != 0) {
    free(master);
    return NULL;
  }
  master->tasks.next = master->tasks.prev = &master->tasks;
  return master;
}

int zu_thread_master_run(zu_thread_master* master) {
  if (master == NULL || master->is_running) return -1;
  master->is_running = true;
  int result = 0;
  while (result >= 0 && !atomic_exchange(&master->stop, false)) result = turn(master, NEVER);
  master->is_running = false;
  return result < 0 ? -1 : 0;
}

int zu_thread_master_run_once(zu_thread_master* master, int timeout_ms) {
  if (master == NULL || master->is_running) return -1;
  if (atomic_exchange(&master->stop, false)) return 0;
  master->is_running = true;
  const int result = turn(master, timeout_ms < 0 ? NEVER : now() + (int64_t)timeout_ms * NS_PER_MS);
  atomic_store(&master->stop, false);
  master->is_running = false;
  return result;
}

void zu_thread_master_stop(zu_thread_master* master) {
  if (master == NULL) return;
  const int saved_errno = errno;
  atomic_store(&master->stop, true);
  /* A full pipe has the loop awake already. */
  if (write(master->wake[1], "", 1) < 0) errno = saved_errno;
  errno = saved_errno;
}

void zu_thread_master_destroy(zu_thread_master* master) {
  if (master == NULL) return;
  while (master->tasks.next != &master->tasks) zu_thread_cancel(&master->tasks.next->record);
  close(master->wake[0]);
  close(master->wake[1]);
  free(master);
}
