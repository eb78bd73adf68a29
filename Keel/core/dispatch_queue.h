// Task queues: labelled serial and concurrent queues whose asynchronous work
// runs on one shared, bounded worker pool, plus the process-wide global and
// main queues.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace Keel {

namespace detail {

class QueueCore;

// One unit of queued work. Async items live on the heap and free themselves
// in `perform`; sync waiters live on the waiting caller's stack.
struct WorkItem {
  void (*perform)(WorkItem*) = nullptr;  // runs the work, then frees the item
  WorkItem* next = nullptr;
  bool exclusive = false;  // runs alone (serial queue, or a barrier)
  bool isTicket = false;   // a sync caller waiting for its turn; no perform
};

// Memory for async items. Small items come from recycled blocks: items are
// usually freed on a worker and allocated on a submitting thread, a pattern
// that general-purpose allocators handle slowly.
inline constexpr std::size_t kSmallItemSize = 64;
[[nodiscard]] void* allocateItem(std::size_t size);
void deallocateItem(void* memory, std::size_t size) noexcept;

template <typename F>
struct FunctionItem final : WorkItem {
  static_assert(alignof(F) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "over-aligned work is not supported");
  explicit FunctionItem(F&& f) : function(std::move(f)) { perform = &FunctionItem::run; }
  explicit FunctionItem(const F& f) : function(f) { perform = &FunctionItem::run; }

  template <typename G>
  static FunctionItem* make(G&& body) {
    void* memory = allocateItem(sizeof(FunctionItem));
    try {
      return new (memory) FunctionItem(std::forward<G>(body));
    } catch (...) {
      deallocateItem(memory, sizeof(FunctionItem));
      throw;
    }
  }
  static void run(WorkItem* item) {
    auto* self = static_cast<FunctionItem*>(item);
    struct Release {
      FunctionItem* item;
      ~Release() {
        item->~FunctionItem();
        deallocateItem(item, sizeof(FunctionItem));
      }
    } release{self};
    self->function();
  }
  F function;
};

// A non-owning view of a callable that outlives the call that uses it.
class FunctionRef {
 public:
  template <typename F>
  requires(!std::is_same_v<std::remove_cv_t<F>, FunctionRef>) explicit FunctionRef(F& f) noexcept
      : object_(&f), call_([](void* object) { (*static_cast<F*>(object))(); }) {}
  void operator()() const { call_(object_); }

 private:
  void* object_;
  void (*call_)(void*);
};

// The lock of a queue's pending list. Its critical sections are a few pointer
// moves, taken by sync callers that have to wait, by the draining worker once
// per batch and by whoever hands the queue on; spinning a little before
// sleeping keeps those handovers out of the kernel, which a plain mutex would
// enter on every collision.
class QueueLock {
 public:
  void lock() noexcept {
    int expected = 0;
    if (!word_.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      lockSlow();
    }
  }
  void unlock() noexcept {
    if (word_.exchange(0, std::memory_order_release) == 2) word_.notify_one();
  }

 private:
  void lockSlow() noexcept;
  std::atomic<int> word_{0};  // 0 free, 1 held, 2 held with sleepers
};

// The queues whose work the current thread is running, innermost first; used
// to refuse a sync that would wait for the caller itself.
struct QueueFrame {
  const QueueCore* core;
  QueueFrame* previous;
};
inline constinit thread_local QueueFrame* currentQueueFrame = nullptr;

// The shared state of a queue. The state word lets sync callers and idle-queue
// submissions claim the queue without taking the lock. Async work that has to
// wait is pushed onto a lock-free inbox; sync callers that have to wait, and
// the inbox's contents once a lock holder collects them, go through the
// pending list under the lock.
class QueueCore : public std::enable_shared_from_this<QueueCore> {
 public:
  // State word: running non-exclusive work (low bits), one exclusive runner,
  // "the pending list is not empty" and "the inbox may not be empty". Either
  // flag stops new arrivals from overtaking what is already waiting, and makes
  // whoever gives up the queue last look at the waiting work first.
  static constexpr std::uint64_t kCountMask = (std::uint64_t{1} << 32) - 1;
  static constexpr std::uint64_t kExclusive = std::uint64_t{1} << 32;
  static constexpr std::uint64_t kQueued = std::uint64_t{1} << 33;
  static constexpr std::uint64_t kInbox = std::uint64_t{1} << 34;
  static constexpr std::uint64_t kWaiting = kQueued | kInbox;

  QueueCore(std::string label, bool concurrent, bool threadBound, bool ignoresBarriers);
  ~QueueCore();
  QueueCore(const QueueCore&) = delete;
  QueueCore& operator=(const QueueCore&) = delete;

  [[nodiscard]] bool isExclusive(bool barrier) const noexcept { return !concurrent_ || (barrier && !ignoresBarriers_); }

  // Claims the queue for work that may start at once: exclusive work on an
  // idle queue, shared work when nothing exclusive runs or waits.
  [[nodiscard]] bool tryEnter(bool exclusive) noexcept {
    std::uint64_t s = state_.load(std::memory_order_relaxed);
    if (exclusive) {
      return s == 0 &&
             state_.compare_exchange_strong(s, kExclusive, std::memory_order_acquire, std::memory_order_relaxed);
    }
    while ((s & (kExclusive | kWaiting)) == 0) {
      if (state_.compare_exchange_weak(s, s + 1, std::memory_order_acquire, std::memory_order_relaxed)) {
        return true;
      }
    }
    return false;
  }

  // Gives back a claim taken by tryEnter, a granted ticket or a started item.
  void leave(bool exclusive) noexcept {
    if (exclusive) {
      std::uint64_t s = kExclusive;
      if (state_.compare_exchange_strong(s, 0, std::memory_order_release, std::memory_order_relaxed)) return;
      leaveSlow(true);
    } else {
      const std::uint64_t s = state_.fetch_sub(1, std::memory_order_acq_rel);
      if ((s & kCountMask) == 1 && (s & kWaiting) != 0) leaveSlow(false);
    }
  }

  [[nodiscard]] bool threadBound() const noexcept { return threadBound_; }
  [[nodiscard]] bool concurrent() const noexcept { return concurrent_; }
  [[nodiscard]] const std::string& label() const noexcept { return label_; }

  // Stops the process when the calling thread is running this queue's work:
  // waiting for the queue there would wait for itself.
  void checkNotReentrant() const noexcept;

  // Slow path of sync: waits in line until the caller may run.
  void waitForTurn(bool exclusive);
  // Sync on a thread-bound queue: runs `body` on the owning thread and waits.
  void runOnOwner(FunctionRef body);
  // Async submission; takes ownership of `item`. Takes no lock unless the
  // queue turns out to be idle with work waiting, which it then starts.
  void submit(WorkItem* item, bool barrier) {
    item->exclusive = isExclusive(barrier);
    if (tryEnter(item->exclusive)) {
      start(item);
    } else {
      pushToInbox(item);
    }
  }

 private:
  friend struct QueueRunner;
  void pushToInbox(WorkItem* item);
  void announceInbox();
  void leaveSlow(bool exclusive) noexcept;
  void collectInboxLocked() noexcept;
  void releaseExclusiveLocked() noexcept;
  WorkItem* awaitHandover() noexcept;
  void enqueueLocked(WorkItem* item);
  void dispatchPendingLocked();
  void startLocked(WorkItem* item);
  void start(WorkItem* item);

  const std::string label_;
  const bool concurrent_;
  const bool threadBound_;
  const bool ignoresBarriers_;
  std::atomic<std::uint64_t> state_{0};
  QueueLock mutex_;           // guards the pending list
  WorkItem* head_ = nullptr;  // pending list, oldest first
  WorkItem* tail_ = nullptr;
  // Async items not yet in the pending list: the newest, linked to the older
  // ones through `next`, plus the kAnnounced bit. On a line of its own:
  // submitters write it for every item, while the line above is read by
  // every claim.
  static constexpr std::uintptr_t kAnnounced = 1;
  alignas(64) std::atomic<std::uintptr_t> inbox_{0};
  // A worker that just drained this queue and waits a moment for its next
  // start (kStandingBy), or the item start() handed to it.
  static constexpr std::uintptr_t kNoStandby = 0;
  static constexpr std::uintptr_t kStandingBy = 1;
  std::atomic<std::uintptr_t> standby_{kNoStandby};
};

// Keeps the calling thread's claim and frame for the length of a sync body.
class SyncScope {
 public:
  SyncScope(QueueCore& core, bool exclusive) noexcept
      : core_(core), exclusive_(exclusive), frame_{&core, currentQueueFrame} {
    currentQueueFrame = &frame_;
  }
  ~SyncScope() {
    currentQueueFrame = frame_.previous;
    core_.leave(exclusive_);
  }
  SyncScope(const SyncScope&) = delete;
  SyncScope& operator=(const SyncScope&) = delete;

 private:
  QueueCore& core_;
  bool exclusive_;
  QueueFrame frame_;
};

}  // namespace detail

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
