#include "tests/platform/outer_loops.h"

#include <event2/event.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#ifdef NCDM_HAS_GLIB
#include <glib-unix.h>
#endif
#ifdef NCDM_HAS_LIBUV
#include <uv.h>
#endif

namespace {

class EpollLoop : public OuterLoop {
 public:
  EpollLoop() : OuterLoop(zu_thread_master_create()), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    epoll_event event = {};
    event.events = EPOLLIN;
    EXPECT_EQ(epoll_ctl(epoll_, EPOLL_CTL_ADD, zu_thread_master_fd(master()), &event), 0);
  }
  ~EpollLoop() override { close(epoll_); }

  void Turn(int timeout_ms) override {
    epoll_event event;
    if (epoll_wait(epoll_, &event, 1, timeout_ms) == 1) GiveTurn();
  }

 private:
  int epoll_;
};

class PollLoop : public OuterLoop {
 public:
  PollLoop() : OuterLoop(zu_thread_master_create()) {}

  void Turn(int timeout_ms) override {
    pollfd entry = {zu_thread_master_fd(master()), POLLIN, 0};
    if (poll(&entry, 1, timeout_ms) == 1) GiveTurn();
  }
};

class LibeventLoop : public OuterLoop {
 public:
  LibeventLoop() : OuterLoop(nullptr), base_(event_base_new()) {
    master_.reset(zu_thread_master_create_on(base_));
  }
  ~LibeventLoop() override {
    master_.reset();
    event_base_free(base_);
  }

  void Turn(int timeout_ms) override {
    const timeval timeout = {timeout_ms / 1000, timeout_ms % 1000 * 1000};
    event_base_loopexit(base_, &timeout);
    event_base_loop(base_, timeout_ms == 0 ? EVLOOP_NONBLOCK : EVLOOP_ONCE);
  }

 private:
  event_base* base_;
};

#ifdef NCDM_HAS_GLIB
class GlibLoop : public OuterLoop {
 public:
  GlibLoop() : OuterLoop(zu_thread_master_create()), context_(g_main_context_new()) {
    source_ = g_unix_fd_source_new(zu_thread_master_fd(master()), G_IO_IN);
    g_source_set_callback(source_, G_SOURCE_FUNC(&OnReadable), this, nullptr);
    g_source_attach(source_, context_);
  }
  ~GlibLoop() override {
    g_source_destroy(source_);
    g_source_unref(source_);
    g_main_context_unref(context_);
  }

  void Turn(int timeout_ms) override {
    GSource* timeout = g_timeout_source_new(static_cast<guint>(timeout_ms));
    g_source_set_callback(
        timeout, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr, nullptr);
    g_source_attach(timeout, context_);
    g_main_context_iteration(context_, TRUE);
    g_source_destroy(timeout);
    g_source_unref(timeout);
  }

 private:
  static gboolean OnReadable(gint, GIOCondition, gpointer self) {
    static_cast<GlibLoop*>(self)->GiveTurn();
    return G_SOURCE_CONTINUE;
  }

  GMainContext* context_;
  GSource* source_;
};
#endif

#ifdef NCDM_HAS_LIBUV
// libuv keeps a pipe for signals from its first loop on: no leak of the test that makes it.
const bool g_has_signal_pipe = [] {
  uv_loop_t first;
  return uv_loop_init(&first) == 0 && uv_loop_close(&first) == 0;
}();

class LibuvLoop : public OuterLoop {
 public:
  LibuvLoop() : OuterLoop(zu_thread_master_create()) {
    EXPECT_TRUE(g_has_signal_pipe);
    uv_loop_init(&loop_);
    uv_timer_init(&loop_, &timer_);
    uv_poll_init(&loop_, &poll_, zu_thread_master_fd(master()));
    poll_.data = this;
    uv_poll_start(&poll_, UV_READABLE, [](uv_poll_t* handle, int, int) {
      static_cast<LibuvLoop*>(handle->data)->GiveTurn();
    });
  }
  ~LibuvLoop() override {
    uv_close(reinterpret_cast<uv_handle_t*>(&poll_), nullptr);
    uv_close(reinterpret_cast<uv_handle_t*>(&timer_), nullptr);
    uv_run(&loop_, UV_RUN_DEFAULT);
    uv_loop_close(&loop_);
  }

  void Turn(int timeout_ms) override {
    uv_timer_start(
        &timer_, [](uv_timer_t*) {}, static_cast<uint64_t>(timeout_ms), 0);
    uv_run(&loop_, UV_RUN_ONCE);
    uv_timer_stop(&timer_);
  }

 private:
  uv_loop_t loop_;
  uv_timer_t timer_;
  uv_poll_t poll_;
};
#endif

}  // namespace

std::unique_ptr<OuterLoop> NewEpollLoop() { return std::make_unique<EpollLoop>(); }
std::unique_ptr<OuterLoop> NewPollLoop() { return std::make_unique<PollLoop>(); }
std::unique_ptr<OuterLoop> NewLibeventLoop() { return std::make_unique<LibeventLoop>(); }
#ifdef NCDM_HAS_GLIB
std::unique_ptr<OuterLoop> NewGlibLoop() { return std::make_unique<GlibLoop>(); }
#endif
#ifdef NCDM_HAS_LIBUV
std::unique_ptr<OuterLoop> NewLibuvLoop() { return std::make_unique<LibuvLoop>(); }
#endif
