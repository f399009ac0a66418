/*
 * An application with an epoll loop of its own: it serves standard input, and the agent beside it.
 *
 * The agent's master has one descriptor that is readable whenever the agent has work. That is all
 * that a loop needs to know, be it epoll, poll, GLib or libuv.
 */
#include <errno.h>
#include <stdint.h>
#include <string.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "netconf_dm_agent.h"
#include "zu_thread.h"

static uint32_t lines; /* that came in on standard input */

static int get_lines(nc_dm_id_array_t* ids, char* value) {
  (void)ids;
  memcpy(value, &lines, sizeof lines);
  return 0;
}

static int register_model(void) {
  return nc_dm_agent_mode_reg("input.lines", NC_DM_VAL_TYPE_UINT, 0, 0, NULL, get_lines, NULL, NULL,
                              NULL, NULL, NULL);
}

static int watch(int epoll, int fd) {
  struct epoll_event event = {.events = EPOLLIN, .data.fd = fd};
  return epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

/* False at the end of the input. */
static int read_input(void) {
  char text[512];
  const ssize_t size = read(STDIN_FILENO, text, sizeof text);
  for (ssize_t i = 0; i < size; ++i) lines += text[i] == '\n';
  return size > 0;
}

int main(void) {
  zu_thread_master* master = zu_thread_master_create();
  if (master == NULL || nc_dm_agent_init("epoll-demo", master, register_model, NULL) != 0) return 1;

  const int epoll = epoll_create1(EPOLL_CLOEXEC);
  const int agent = zu_thread_master_fd(master);
  if (watch(epoll, agent) != 0 || watch(epoll, STDIN_FILENO) != 0) return 1;

  for (;;) {
    struct epoll_event event;
    if (epoll_wait(epoll, &event, 1, -1) < 0) {
      if (errno == EINTR) continue;
      return 1;
    }
    if (event.data.fd == agent) zu_thread_master_run_once(master, 0);
    if (event.data.fd == STDIN_FILENO && !read_input()) return 0;
  }
}
