// A run loop served by a thread of its own, for code that must register
// platform callbacks on a loop other than the main one.
#pragma once

#include <future>
#include <thread>

#include "Keel/core/run_loop.h"

namespace Vantor::Testing {

class LoopThread {
 public:
  LoopThread() : thread_([this] { loop_.run(); }) {}
  ~LoopThread() {
    loop_.stop();
    thread_.join();
  }
  LoopThread(const LoopThread&) = delete;
  LoopThread& operator=(const LoopThread&) = delete;

  // Runs `f` on the loop's thread and returns its result.
  template <typename F>
  auto onLoop(F f) {
    std::packaged_task<decltype(f())()> task(std::move(f));
    auto result = task.get_future();
    loop_.perform([&task] { task(); });
    return result.get();
  }
  [[nodiscard]] std::thread::id id() const { return thread_.get_id(); }

 private:
  Keel::RunLoop loop_;
  std::thread thread_;
};

}  // namespace Vantor::Testing
