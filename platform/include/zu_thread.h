/*
 * The event-thread library: what the agent expects of the device's event loop.
 *
 * An application runs an event loop, its master, and hands the master to the agent. Everything that
 * the agent does after its start is a task on that master: a socket that became readable or
 * writable, a timer, or an event that shall run soon. The first half of this header is the contract
 * for whoever brings the agent to a new platform: the record `zu_thread` and the seven operations
 * that the agent calls. The second half, the loop, is the Linux port's own; the agent never calls
 * it.
 *
 * Tasks
 *   A task runs at most once: scheduling it again is the business of its function. A task whose
 *   time has come runs from the master's loop, never from inside the operation that scheduled it,
 *   not even with a delay of zero. Tasks of a master never run at the same time. Tasks that are due
 *   at the same moment run in the order in which they were scheduled.
 *
 * Handles
 *   Each scheduling operation returns the task's handle, or null when it cannot schedule (no
 *   memory, no master, no function, a descriptor that cannot be watched). After null nothing is
 *   scheduled, the function is never called and there is nothing to release.
 *   A handle is valid until the task's function has been entered or the task is cancelled,
 * whichever comes first. From then on it may not be passed to zu_thread_cancel; a caller that keeps
 * handles forgets its handle first thing in the task's function, and after each cancellation. The
 * record itself stays readable while the function runs, and is the platform's to release
 * afterwards.
 *
 * Threads
 *   All operations are called on the thread that runs the master's loop, or before the loop starts.
 *   They need no locking of their own. Any of them may be called from inside a task's function.
 *
 * Errors
 *   The return value of a task's function is for the function's own callers; the loop ignores it.
 */
#ifndef ZU_THREAD_H_
#define ZU_THREAD_H_

#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The event loop. Opaque: the agent only passes it on. */
typedef struct zu_thread_master zu_thread_master;

typedef struct zu_thread zu_thread;

/* A task's function. Its argument is the record of the task that runs. */
typedef int (*zu_thread_func)(zu_thread*);

/*
 * A task, as its function sees it. A platform whose own record is larger begins it with these
 * fields, in this order. The agent reads the record and never writes it.
 */
struct zu_thread {
  zu_thread_master* master; /* the loop that runs the task */
  zu_thread_func func;      /* the function */
  void* arg;                /* the argument given at scheduling */
  int value;                /* the descriptor or the value given at scheduling; 0 for a timer */
  const char* name;         /* the name given at scheduling, or null; not copied */
};

#pragma GCC visibility push(default)

/*
 * Runs `func` once soon: in the loop's next turn, after everything that was due before.
 * `value` is what the function finds in its record. `name` is for people who look at a loop; the
 * text must outlive the task (the agent passes literals).
 */
zu_thread* zu_thread_add_event_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        int value, const char* name);

/*
 * Runs `func` once after `seconds`. A delay of zero or less is due at once. Delays follow a clock
 * that does not jump when somebody sets the time.
 */
zu_thread* zu_thread_add_timer(zu_thread_master* master, zu_thread_func func, void* arg,
                               long seconds);

/* The same, with a name. */
zu_thread* zu_thread_add_timer_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        long seconds, const char* name);

/*
 * Runs `func` once after `*delay`, which is seconds and microseconds. The record is read during the
 * call only. Null `delay` fails. Microseconds outside 0 to 999999 are carried into the seconds.
 */
zu_thread* zu_thread_add_timer_timeval(zu_thread_master* master, zu_thread_func func, void* arg,
                                       const struct timeval* delay);

/*
 * Runs `func` once when `fd` is readable, which includes the end of the stream and an error on it.
 * A descriptor that is readable already is due at once. A negative `fd` gives a task that never
 * runs and can be cancelled: the agent schedules its read task also while it has no connection.
 * The agent closes a descriptor before it cancels the tasks on it; a platform must stand that, also
 * when the number has been given to another file in between.
 */
zu_thread* zu_thread_add_read_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                       int fd, const char* name);

/*
 * Runs `func` once when `fd` is writable, which includes an error on it. A negative `fd` gives a
 * task that never runs and can be cancelled. A read task and a write task may wait on the same
 * descriptor at the same time.
 */
zu_thread* zu_thread_add_write(zu_thread_master* master, zu_thread_func func, void* arg, int fd);

/*
 * Unschedules a task: its function will not be called, also when the task was due already and
 * waited for its turn. Null is ignored.
 */
void zu_thread_cancel(zu_thread* thread);

/*
 * The loop of the Linux port. Masters are independent of each other; each belongs to the thread
 * that runs it.
 */

/* A new master without tasks, or null. The caller releases it with zu_thread_master_destroy. */
zu_thread_master* zu_thread_master_create(void);

/*
 * The two ways to a loop that the application has already. Either takes the place of
 * zu_thread_master_run.
 *
 * Any loop that watches descriptors (epoll, poll, GLib, libuv): the master's descriptor is readable
 * whenever zu_thread_master_run_once(master, 0) has work, a timer that became due included. Watch
 * it for reading, level-triggered, and make that call when it is readable; now and then there is
 * nothing to run. Neither read the descriptor nor close it: it is the master's, and goes with it.
 * Returns the same descriptor each time, or -1 when `master` is null or is on an application's
 * event_base, or when the system grants no more descriptors. From the first call on each scheduling
 * on a descriptor costs one system call more.
 */
int zu_thread_master_fd(zu_thread_master* master);

/*
 * libevent: a master whose tasks are events of `base`, which belongs to the application: it runs
 * the loop, and releases the base after the master. Such a master has no loop of its own, so that
 * zu_thread_master_run and zu_thread_master_run_once return -1 and zu_thread_master_stop does
 * nothing. What the base cannot watch cannot be scheduled: with epoll that is a disk file. Do not
 * give the base EVENT_BASE_FLAG_EPOLL_USE_CHANGELIST, which forgets descriptors that are closed
 * under a task. Returns the master, or null when `base` is null or memory is short.
 */
struct event_base;
zu_thread_master* zu_thread_master_create_on(struct event_base* base);

/*
 * Runs tasks until zu_thread_master_stop. With nothing to do it waits. A stop that was asked for
 * before the call ends it without running anything. Returns 0, or -1 when `master` is null, runs
 * already, or its wait failed.
 */
int zu_thread_master_run(zu_thread_master* master);

/*
 * Waits at most once, for at most `timeout_ms` milliseconds (0: not at all; negative: without
 * limit), and runs the tasks that are due then. Tasks that these schedule wait for the next call.
 * Returns the number of tasks that ran, which is 0 after a timeout or a stop, or -1 as
 * zu_thread_master_run does.
 */
int zu_thread_master_run_once(zu_thread_master* master, int timeout_ms);

/*
 * Makes the current run, or else the next one, return once the task that runs at the moment has
 * returned. May be called from a task, from another thread and from a signal handler, as long as
 * the master exists. Null is ignored. Keeps errno.
 */
void zu_thread_master_stop(zu_thread_master* master);

/*
 * Releases the master and every task that is still scheduled; their functions are not called and
 * their handles become invalid. Not to be called from a task. Descriptors stay open: they are the
 * application's. Null is ignored.
 */
void zu_thread_master_destroy(zu_thread_master* master);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif /* ZU_THREAD_H_ */
