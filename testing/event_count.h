// A count of events that tests wait for with a time-out: handler runs,
// completions, steps of other threads. Header only, like temp_dir.h.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace Vantor::Testing {

class EventCount {
 public:
  void add() const { add(*state_); }

  // A function that adds one. Copies share the count, so a handler still
  // running when its owner is gone never outlives what it counts into.
  [[nodiscard]] std::function<void()> handler() const {
    return [state = state_] { add(*state); };
  }

  // True once at least `count` events happened, false after the time-out.
  [[nodiscard]] bool waitFor(int count, std::chrono::milliseconds timeout = std::chrono::seconds(20)) const {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, timeout, [&] { return state_->count >= count; });
  }

  [[nodiscard]] int count() const {
    std::lock_guard lock(state_->mutex);
    return state_->count;
  }

  // The count once nothing has happened for `quiet`: the events of a burst
  // that was handed out already may still be arriving.
  [[nodiscard]] int settledCount(std::chrono::milliseconds quiet = std::chrono::milliseconds(200)) const {
    std::unique_lock lock(state_->mutex);
    for (int last = -1; last != state_->count;) {
      last = state_->count;
      state_->changed.wait_for(lock, quiet, [&] { return state_->count != last; });
    }
    return state_->count;
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
  };
  static void add(State& state) {
    std::lock_guard lock(state.mutex);
    ++state.count;
    state.changed.notify_all();
  }
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace Vantor::Testing
