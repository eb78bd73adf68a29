// The shared state of a dispatch queue and the claims taken on it: the fast
// paths that DispatchQueue's inline members take without a call. Part of
// DispatchQueue's implementation, not an interface of its own.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "Keel/core/work_item.h"

namespace Keel::detail {

class QueueCore;

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
  static constexpr std::uint64_t countMask = (std::uint64_t{1} << 32) - 1;
  static constexpr std::uint64_t exclusiveBit = std::uint64_t{1} << 32;
  static constexpr std::uint64_t queuedBit = std::uint64_t{1} << 33;
  static constexpr std::uint64_t inboxBit = std::uint64_t{1} << 34;
  static constexpr std::uint64_t waitingBits = queuedBit | inboxBit;

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
             state_.compare_exchange_strong(s, exclusiveBit, std::memory_order_acquire, std::memory_order_relaxed);
    }
    while ((s & (exclusiveBit | waitingBits)) == 0) {
      if (state_.compare_exchange_weak(s, s + 1, std::memory_order_acquire, std::memory_order_relaxed)) {
        return true;
      }
    }
    return false;
  }

  // Gives back a claim taken by tryEnter, a granted ticket or a started item.
  void leave(bool exclusive) noexcept {
    if (exclusive) {
      std::uint64_t s = exclusiveBit;
      if (state_.compare_exchange_strong(s, 0, std::memory_order_release, std::memory_order_relaxed)) return;
      leaveSlow(true);
    } else {
      const std::uint64_t s = state_.fetch_sub(1, std::memory_order_acq_rel);
      if ((s & countMask) == 1 && (s & waitingBits) != 0) leaveSlow(false);
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
  // ones through `next`, plus the announcedBit bit. On a line of its own:
  // submitters write it for every item, while the line above is read by
  // every claim.
  static constexpr std::uintptr_t announcedBit = 1;
  alignas(64) std::atomic<std::uintptr_t> inbox_{0};
  // A worker that just drained this queue and waits a moment for its next
  // start (standingBy), or the item start() handed to it.
  static constexpr std::uintptr_t noStandby = 0;
  static constexpr std::uintptr_t standingBy = 1;
  std::atomic<std::uintptr_t> standby_{noStandby};
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

}  // namespace Keel::detail
