// Loops of an application's own to which a master is joined, under one interface.
#ifndef TESTS_PLATFORM_OUTER_LOOPS_H_
#define TESTS_PLATFORM_OUTER_LOOPS_H_

#include <memory>

#include "zu_thread.h"

class OuterLoop {
 public:
  OuterLoop() = default;
  OuterLoop(const OuterLoop&) = delete;
  OuterLoop& operator=(const OuterLoop&) = delete;
  virtual ~OuterLoop() = default;

  // Waits once, for at most `timeout_ms`, and handles what it was woken for.
  virtual void Turn(int timeout_ms) = 0;

  zu_thread_master* master() const { return master_.get(); }

  // How often the master was given a turn.
  int wakes() const { return wakes_; }

 protected:
  explicit OuterLoop(zu_thread_master* master) : master_(master) {}
  void GiveTurn() {
    ++wakes_;
    zu_thread_master_run_once(master_.get(), 0);
  }

  struct Destroy {
    void operator()(zu_thread_master* master) const { zu_thread_master_destroy(master); }
  };
  std::unique_ptr<zu_thread_master, Destroy> master_;

 private:
  int wakes_ = 0;
};

std::unique_ptr<OuterLoop> NewEpollLoop();
std::unique_ptr<OuterLoop> NewPollLoop();
std::unique_ptr<OuterLoop> NewLibeventLoop();  // the master is on its base
#ifdef NCDM_HAS_GLIB
std::unique_ptr<OuterLoop> NewGlibLoop();
#endif
#ifdef NCDM_HAS_LIBUV
std::unique_ptr<OuterLoop> NewLibuvLoop();
#endif

#endif  // TESTS_PLATFORM_OUTER_LOOPS_H_
