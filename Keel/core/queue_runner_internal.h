// How a started dispatch-queue item runs on its executor thread (a pool
// worker or the main loop): exclusive work drained in batches, shared work
// one item at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "Keel/core/queue_core.h"
#include "Keel/core/spin_wait_internal.h"

namespace Keel::detail {

// Set on the thread that has served the main queue (the main loop's thread).
inline constinit thread_local bool servesMainQueue = false;

inline constexpr unsigned maxDrainRounds = 64;  // then hand the thread back to other queues

// Runs started work on the executor threads (pool workers or the main loop).
struct QueueRunner {
  // The pool's job for exclusive work. After a drain the worker stands by
  // for the queue's next start a moment (see QueueCore::awaitHandover), so a
  // producer that waited for its own writes and goes on writing restarts
  // the queue without a trip through the pool and a thread wake-up.
  static void drainExclusive(std::shared_ptr<QueueCore> core, WorkItem* first) {
    for (WorkItem* item = first; item != nullptr; item = core->threadBound_ ? nullptr : core->awaitHandover()) {
      if (item->exclusive) {
        drain(core, item);
      } else {
        runSharedItem(*core, item);
      }
    }
  }

  static void runShared(std::shared_ptr<QueueCore> core, WorkItem* item) { runSharedItem(*core, item); }

 private:
  // Runs exclusive items one after another while they keep coming, in
  // batches taken under one lock, then releases the queue.
  static void drain(const std::shared_ptr<QueueCore>& core, WorkItem* first) {
    QueueFrame frame{core.get(), currentQueueFrame};
    currentQueueFrame = &frame;
    if (core->threadBound_) servesMainQueue = true;
    WorkItem* batch = first;
    WorkItem* batchTail = first;
    unsigned rounds = 0;
    for (;;) {
      // Batches are taken whole, in O(1) under the lock, and sorted out here:
      // walking the list under the lock would hold submitters up while this
      // thread pulls each item over from the core that wrote it.
      while (batch != nullptr && batch->exclusive && !batch->isTicket) {
        WorkItem* next = batch->next;  // before perform: the item may be gone after it
        if (next != nullptr) __builtin_prefetch(next);
        batch->perform(batch);
        batch = next;
      }
      // Caught up. A producer a little slower than this worker would pay a
      // hand-off to the pool for nearly every item if the queue were let go
      // at once: watch for new work a moment first. New work, or a failed
      // release, goes through the lock below.
      std::uint64_t expected = QueueCore::exclusiveBit;
      if (batch == nullptr && (core->threadBound_ || !linger(core->state_, expected)) &&
          core->state_.compare_exchange_strong(expected, 0, std::memory_order_release, std::memory_order_relaxed)) {
        break;
      }
      std::lock_guard lock(core->mutex_);
      if (batch != nullptr) {
        // A sync caller or shared work is next: it goes back in front of
        // whatever arrived meanwhile, and the queue is handed over below.
        batchTail->next = core->head_;
        core->head_ = batch;
        if (core->tail_ == nullptr) core->tail_ = batchTail;
        core->state_.fetch_or(QueueCore::queuedBit, std::memory_order_acq_rel);
        batch = nullptr;
      } else {
        core->collectInboxLocked();
        if (core->head_ != nullptr && core->head_->exclusive && !core->head_->isTicket && ++rounds < maxDrainRounds) {
          batch = core->head_;
          batchTail = core->tail_;
          core->head_ = core->tail_ = nullptr;
          core->state_.fetch_and(~QueueCore::queuedBit, std::memory_order_acq_rel);
          continue;
        }
      }
      core->releaseExclusiveLocked();
      break;
    }
    currentQueueFrame = frame.previous;
  }

  static void runSharedItem(QueueCore& core, WorkItem* item) {
    QueueFrame frame{&core, currentQueueFrame};
    currentQueueFrame = &frame;
    item->perform(item);
    currentQueueFrame = frame.previous;
    core.leave(false);
  }
};

}  // namespace Keel::detail
