// Task queues: labelled serial and concurrent queues whose asynchronous work
// runs on one shared, bounded worker pool, plus the process-wide global and
// main queues.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Keel/core/queue_core.h"

namespace Keel {

// A queue of work items. Work starts in submission order. On a serial queue
// items run one at a time; on a concurrent queue items run side by side,
// except barriers: a barrier starts once everything submitted before it has
// ended, runs alone, and nothing submitted after it starts before it ends.
//
// A DispatchQueue is a cheap handle: copies share one queue, and the queue
// lives while any handle or any of its pending work does, so dropping the
// last handle never loses submitted work.
//
// Sync bodies run on the calling thread (except on the main queue, whose work
// always runs on the main run loop), as soon as the queue's rules let them
// start; when the queue is idle, or for non-barrier work on a concurrent queue
// with no barrier running or waiting, that is at once, with no hand-off.
//
// Deadlock rule: a sync call (either kind) made while the calling thread runs
// work of the same queue, directly or further up its stack, would wait for
// itself. Such a call stops the process with a fatal error instead of hanging,
// whatever the queue type. Likewise a sync on the main queue from the thread
// that serves the main run loop.
class DispatchQueue {
 public:
  enum class Attributes { serial, concurrent };

  // A new queue. Creating one allocates a small shared state and no thread.
  explicit DispatchQueue(std::string label, Attributes attributes = Attributes::serial);

  // The process-wide concurrent queue of default priority. Barrier flags are
  // ignored on it (it is shared by everyone, so nobody may stall it); its
  // work runs on the worker pool. Never destroyed.
  [[nodiscard]] static DispatchQueue& global();

  // The serial queue of the main thread: its work runs on the main run loop
  // (RunLoop::main()), in order, while that loop runs, and waits there until
  // it does. Never destroyed.
  [[nodiscard]] static DispatchQueue& main();

  [[nodiscard]] const std::string& label() const noexcept { return core_->label(); }
  [[nodiscard]] bool isConcurrent() const noexcept { return core_->concurrent(); }

  // Runs `body` and returns its result (by value) once it has run. Waits for
  // earlier barriers (and, on a serial queue, for all earlier work).
  template <typename F>
  auto sync(F&& body) const {
    return syncImpl(false, body);
  }

  // As sync, but as a barrier: waits for all earlier work and runs alone.
  template <typename F>
  auto syncBarrier(F&& body) const {
    return syncImpl(true, body);
  }

  // Schedules `body` and returns without waiting. The body is moved into the
  // queue and runs on a pool thread (the main loop for the main queue).
  // An exception that escapes an async body ends the process
  // (std::terminate), as one escaping any thread's function does: nobody is
  // left to receive it. Catch inside the body.
  template <typename F>
  void async(F&& body) const {
    core_->submit(makeItem(std::forward<F>(body)), false);
  }

  // As async, but as a barrier.
  template <typename F>
  void asyncBarrier(F&& body) const {
    core_->submit(makeItem(std::forward<F>(body)), true);
  }

 private:
  DispatchQueue(std::string label, bool concurrent, bool threadBound, bool ignoresBarriers);

  template <typename F>
  static detail::WorkItem* makeItem(F&& body) {
    return detail::FunctionItem<std::decay_t<F>>::make(std::forward<F>(body));
  }

  template <typename F>
  auto syncImpl(bool barrier, F& body) const {
    using R = std::remove_cvref_t<std::invoke_result_t<F&>>;
    detail::QueueCore& core = *core_;
    core.checkNotReentrant();
    if (core.threadBound()) {
      if constexpr (std::is_void_v<R>) {
        core.runOnOwner(detail::FunctionRef(body));
        return;
      } else {
        std::optional<R> result;
        auto run = [&] { result.emplace(body()); };
        core.runOnOwner(detail::FunctionRef(run));
        return R(std::move(*result));
      }
    }
    const bool exclusive = core.isExclusive(barrier);
    if (!core.tryEnter(exclusive)) core.waitForTurn(exclusive);
    detail::SyncScope scope(core, exclusive);
    if constexpr (std::is_void_v<R>) {
      body();
    } else {
      return R(body());
    }
  }

  std::shared_ptr<detail::QueueCore> core_;
};

}  // namespace Keel
