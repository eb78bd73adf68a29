// Run loops: a thread serves work posted to it, in order, until stopped. The
// main run loop is the one the application's main thread runs; platform event
// sources (bus messages, timers, signals) are served by the same loop.
#pragma once

#include <functional>
#include <memory>

namespace Keel {

class RunLoop {
 public:
  // A loop of its own, to be run by some thread other than the main one.
  // Platform event sources registered by code running inside run() are served
  // by this loop.
  RunLoop();
  ~RunLoop();
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  // The main thread's loop (the process's default event context). Created on
  // first use and never destroyed.
  [[nodiscard]] static RunLoop& main();

  // Serves posted work and event sources on the calling thread until stop().
  // Work posted before run() is served by it.
  void run();

  // Ends run() once the work posted before this call has been served. Any
  // thread. A stop() before run() makes that run() return after that work.
  void stop();

  // Queues `work` to run on the loop's thread, after everything posted before
  // it. Any thread; never runs `work` inline, even when called on the loop.
  void perform(std::function<void()> work);

  // Calls `handler` on the loop when the process is asked to end (SIGTERM,
  // SIGINT, SIGHUP). Only one handler; a later call replaces it.
  void setTerminationHandler(std::function<void()> handler);

  // True while some thread is inside run().
  [[nodiscard]] bool isRunning() const;

  struct Impl;

 private:
  explicit RunLoop(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace Keel
