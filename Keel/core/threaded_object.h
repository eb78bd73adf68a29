// A value shared between threads by confining every access to a private task
// queue: reads run side by side (or one at a time), writes run alone.
#pragma once

#include <functional>
#include <string>
#include <type_traits>
#include <utility>

#include "Keel/core/dispatch_queue.h"
#include "Keel/core/label_dispatch.h"

namespace Keel {

// Whether a container's private queue lets reads overlap (`concurrent`, writes
// then run as barriers) or runs every access in turn (`serial`).
enum class ThreadingType { concurrent, serial };

// Owns a value of type T and a private queue labelled by LabelDispatch::shared().
// All access goes through read, write and syncWrite; nothing hands out a
// reference that outlives the body it was given to.
//
// The object is a non-copyable handle. Its value and queue live in a state
// that is freed by a final barrier on the queue, so destroying the object
// while asynchronous writes are pending loses none of them: they run, then
// the value is destroyed (on a worker thread). Destroying the object while
// another thread is inside one of its calls is a caller error, as for any
// C++ object.
//
// Calling read or syncWrite from inside a body running on the same object's
// queue would wait for itself; it stops the process with a fatal error.
template <typename T>
class ThreadedObject {
 public:
  ThreadedObject(T value, ThreadingType threadingType)
      : threadingType_(threadingType),
        state_(new State{std::move(value),
                         DispatchQueue(LabelDispatch::shared().nextLabel(), threadingType == ThreadingType::concurrent
                                                                                ? DispatchQueue::Attributes::concurrent
                                                                                : DispatchQueue::Attributes::serial)}) {
  }

  ~ThreadedObject() {
    State* state = state_;
    state->queue.asyncBarrier([state] { delete state; });
  }

  ThreadedObject(const ThreadedObject&) = delete;
  ThreadedObject& operator=(const ThreadedObject&) = delete;

  // The type given at construction. Any thread, without going through the queue.
  [[nodiscard]] ThreadingType threadingType() const noexcept { return threadingType_; }

  // The private queue's label, "com.threading.dispatchqueue_" and a number.
  [[nodiscard]] const std::string& label() const noexcept { return state_->queue.label(); }

  // Runs body(const T&) on the queue and returns its result by value once it
  // has run. Sees every write submitted earlier from this thread. On a
  // concurrent object, reads from several threads run at the same time.
  template <typename Body>
  [[nodiscard]] auto read(Body&& body) const {
    const State* state = state_;
    return state->queue.sync([&]() { return std::invoke(body, std::as_const(state->value)); });
  }

  // Schedules body(T&) to run alone on the queue and returns at once. Writes
  // are applied in submission order; a later read or syncWrite from the same
  // thread sees this one. The body is moved into the queue.
  template <typename Body>
  void write(Body&& body) {
    State* state = state_;
    auto work = [state, body = std::forward<Body>(body)]() mutable { std::invoke(body, state->value); };
    if (threadingType_ == ThreadingType::concurrent) {
      state->queue.asyncBarrier(std::move(work));
    } else {
      state->queue.async(std::move(work));
    }
  }

  // Runs body(T&) alone on the queue, after every earlier write, and returns
  // its result by value once it has run.
  template <typename Body>
  auto syncWrite(Body&& body) {
    State* state = state_;
    return state->queue.syncBarrier([&]() { return std::invoke(body, state->value); });
  }

 private:
  struct State {
    T value;
    DispatchQueue queue;
  };

  const ThreadingType threadingType_;
  State* const state_;  // freed by the barrier queued in the destructor
};

}  // namespace Keel
