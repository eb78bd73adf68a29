// A queue's scheduler: the claims on its state word, the inbox of async
// work, the pending list and the start of whatever may run next.
#include "Keel/core/queue_core.h"

#include <condition_variable>
#include <mutex>
#include <thread>

#include "Keel/core/fatal_error.h"
#include "Keel/core/queue_runner_internal.h"
#include "Keel/core/run_loop.h"
#include "Keel/core/spin_wait_internal.h"
#include "Keel/core/worker_pool_internal.h"

namespace Keel::detail {

namespace {

// Waits on a condition while letting the pool replace a blocked worker.
template <typename Predicate>
void blockingWait(std::condition_variable_any& condition, std::unique_lock<QueueLock>& lock, Predicate done) {
  if (done()) return;
  if (isPoolThread) {
    lock.unlock();
    WorkerPool::shared().willBlock();
    lock.lock();
  }
  condition.wait(lock, done);
  if (isPoolThread) {
    lock.unlock();
    WorkerPool::shared().didUnblock();
    lock.lock();
  }
}

// A sync caller waiting in the pending list for its turn to run.
struct Ticket : WorkItem {
  std::condition_variable_any granted;
  // Set under the queue's mutex; read without it only while spinning.
  std::atomic<bool> isGranted{false};
};

// A sync body waiting in the main queue's pending list to be run by the loop.
struct OwnerCall : WorkItem {
  FunctionRef body;
  QueueCore* core;
  QueueLock* mutex;
  std::condition_variable_any finished;
  bool isFinished = false;  // guarded by *mutex

  OwnerCall(FunctionRef b, QueueCore* c, QueueLock* m) : body(b), core(c), mutex(m) { perform = &OwnerCall::run; }
  static void run(WorkItem* item) {
    auto* self = static_cast<OwnerCall*>(item);
    self->body();
    std::lock_guard lock(*self->mutex);
    self->isFinished = true;
    self->finished.notify_one();  // under the lock: the waiter cannot leave before we let go
  }
};

}  // namespace

void QueueLock::lockSlow() noexcept {
  for (int spin = 0; spin < 64; ++spin) {
    int expected = 0;
    if (word_.load(std::memory_order_relaxed) == 0 &&
        word_.compare_exchange_weak(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      return;
    }
    if (spin >= 32) std::this_thread::yield();  // the holder may have been preempted
  }
  while (word_.exchange(2, std::memory_order_acquire) != 0) word_.wait(2, std::memory_order_relaxed);
}

QueueCore::QueueCore(std::string label, bool concurrent, bool threadBound, bool ignoresBarriers)
    : label_(std::move(label)), concurrent_(concurrent), threadBound_(threadBound), ignoresBarriers_(ignoresBarriers) {}

QueueCore::~QueueCore() = default;

void QueueCore::checkNotReentrant() const noexcept {
  for (const QueueFrame* frame = currentQueueFrame; frame != nullptr; frame = frame->previous) {
    if (frame->core == this) {
      fatalError("DispatchQueue: sync on queue \"" + label_ + "\" from its own work would deadlock");
    }
  }
  if (threadBound_ && servesMainQueue) {
    fatalError("DispatchQueue: sync on queue \"" + label_ + "\" from the thread that serves it would deadlock");
  }
}

void QueueCore::waitForTurn(bool exclusive) {
  Ticket ticket;
  ticket.exclusive = exclusive;
  ticket.isTicket = true;
  std::unique_lock lock(mutex_);
  enqueueLocked(&ticket);
  if (!ticket.isGranted.load(std::memory_order_relaxed)) {
    // The work ahead is often short: watch for the grant a moment before
    // sleeping, which would cost a wake-up on both sides. The lock is taken
    // again before leaving, so the granter is done with the ticket.
    lock.unlock();
    spinBriefly([&] { return ticket.isGranted.load(std::memory_order_acquire); });
    lock.lock();
  }
  blockingWait(ticket.granted, lock, [&] { return ticket.isGranted.load(std::memory_order_relaxed); });
}

void QueueCore::runOnOwner(FunctionRef body) {
  OwnerCall call(body, this, &mutex_);
  call.exclusive = true;
  // The call lives on this stack; it cannot be handed to submit's ownership
  // rules, but the path is the same: start at once if idle, else wait in line.
  if (tryEnter(true)) {
    start(&call);
  } else {
    std::lock_guard lock(mutex_);
    enqueueLocked(&call);
  }
  std::unique_lock lock(mutex_);
  blockingWait(call.finished, lock, [&] { return call.isFinished; });
}

// The inbox is a stack that only ever loses all its items at once (to
// collectInboxLocked, under the lock), so pushing needs no protection against
// ABA. Each run of items that arrives in an empty inbox is announced once,
// by the thread that pushed its first item: it turns the inbox flag of the
// state word on, which a holder of the queue has to look at before it lets
// go; with no holder it starts the work itself. The announcedBit bit on the
// inbox word then tells later pushes that their items are covered.
//
// Once an item is in the inbox it may run, and may drop the queue's last
// handle, at any moment; so a push that leaves nothing more to do touches
// the queue no more, and a push that has to announce holds a reference.
void QueueCore::pushToInbox(WorkItem* item) {
  std::shared_ptr<QueueCore> keepAlive;
  std::uintptr_t top = inbox_.load(std::memory_order_relaxed);
  for (;;) {
    if ((top & announcedBit) == 0 && keepAlive == nullptr) keepAlive = shared_from_this();
    item->next = reinterpret_cast<WorkItem*>(top & ~announcedBit);
    if (inbox_.compare_exchange_weak(top, reinterpret_cast<std::uintptr_t>(item) | (top & announcedBit),
                                     std::memory_order_acq_rel, std::memory_order_relaxed)) {
      break;
    }
  }
  if ((top & announcedBit) == 0) announceInbox();
}

void QueueCore::announceInbox() {
  const std::uint64_t s = state_.fetch_or(inboxBit, std::memory_order_acq_rel);
  // Marks what is in the inbox now as covered. A collector may have emptied
  // it meanwhile, and new items may have arrived since: their first pusher
  // announces them too, so marking them early is harmless.
  std::uintptr_t top = inbox_.load(std::memory_order_relaxed);
  while (top != 0 && (top & announcedBit) == 0 &&
         !inbox_.compare_exchange_weak(top, top | announcedBit, std::memory_order_release, std::memory_order_relaxed)) {
  }
  if ((s & inboxBit) != 0 || (s & (exclusiveBit | countMask)) != 0) return;
  std::lock_guard lock(mutex_);
  collectInboxLocked();
  dispatchPendingLocked();
}

void QueueCore::leaveSlow(bool exclusive) noexcept {
  std::lock_guard lock(mutex_);
  if (exclusive) {
    releaseExclusiveLocked();
  } else {
    collectInboxLocked();
    dispatchPendingLocked();
  }
}

// Moves the inbox, oldest first, to the end of the pending list. The queued
// flag goes on in the same step as the inbox flag goes off, so the items never
// look absent to the claims on the fast path while they move.
void QueueCore::collectInboxLocked() noexcept {
  std::uint64_t s = state_.load(std::memory_order_acquire);
  if ((s & inboxBit) == 0) return;  // only collectors clear it, and they hold the lock
  while (!state_.compare_exchange_weak(s, (s | queuedBit) & ~inboxBit, std::memory_order_acq_rel,
                                       std::memory_order_acquire)) {
  }
  auto* newest = reinterpret_cast<WorkItem*>(inbox_.exchange(0, std::memory_order_acq_rel) & ~announcedBit);
  WorkItem* oldest = nullptr;
  WorkItem* const last = newest;
  while (newest != nullptr) {
    WorkItem* const next = newest->next;
    newest->next = oldest;
    oldest = newest;
    newest = next;
  }
  if (oldest != nullptr) {
    if (tail_ == nullptr) {
      head_ = oldest;
    } else {
      tail_->next = oldest;
    }
    tail_ = last;
  } else if (head_ == nullptr) {
    state_.fetch_and(~queuedBit, std::memory_order_acq_rel);
  }
}

// Ends an exclusive claim. The inbox flag is checked by the same
// compare-and-swap that ends the claim: a push that turns it on in between
// makes the swap fail, and its item is collected before trying again.
void QueueCore::releaseExclusiveLocked() noexcept {
  std::uint64_t s = state_.load(std::memory_order_acquire);
  for (;;) {
    if ((s & inboxBit) != 0) {
      collectInboxLocked();
      s = state_.load(std::memory_order_acquire);
    } else if (state_.compare_exchange_weak(s, s & ~exclusiveBit, std::memory_order_acq_rel,
                                            std::memory_order_acquire)) {
      break;
    }
  }
  dispatchPendingLocked();
}

void QueueCore::enqueueLocked(WorkItem* item) {
  collectInboxLocked();  // what is in the inbox was submitted before this item
  item->next = nullptr;
  if (tail_ == nullptr) {
    head_ = tail_ = item;
    state_.fetch_or(queuedBit, std::memory_order_acq_rel);
  } else {
    tail_->next = item;
    tail_ = item;
  }
  dispatchPendingLocked();
}

// Starts pending work from the head of the list for as long as the queue's
// rules allow. While the list is not empty the queued bit keeps new arrivals
// off the fast path, so only finishing work changes the state word meanwhile.
void QueueCore::dispatchPendingLocked() {
  while (head_ != nullptr) {
    WorkItem* item = head_;
    const bool exclusive = item->exclusive;
    std::uint64_t s = state_.load(std::memory_order_acquire);
    for (;;) {
      std::uint64_t next = 0;
      if (exclusive) {
        if ((s & (exclusiveBit | countMask)) != 0) return;
        next = exclusiveBit | (s & inboxBit) | (item->next != nullptr ? queuedBit : 0);
      } else {
        if ((s & exclusiveBit) != 0) return;
        next = (s + 1) & (item->next != nullptr ? ~std::uint64_t{0} : ~queuedBit);
      }
      if (state_.compare_exchange_weak(s, next, std::memory_order_acq_rel, std::memory_order_acquire)) break;
    }
    head_ = item->next;
    if (head_ == nullptr) tail_ = nullptr;
    item->next = nullptr;
    startLocked(item);
    if (exclusive) return;
  }
}

void QueueCore::startLocked(WorkItem* item) {
  if (item->isTicket) {
    auto* ticket = static_cast<Ticket*>(item);
    ticket->isGranted.store(true, std::memory_order_release);
    ticket->granted.notify_one();  // under the lock: the waiter cannot leave before we let go
    return;
  }
  start(item);
}

// Waits a moment for start() to hand this queue's next item over directly.
// One worker at a time stands by; it already holds a reference to the queue.
WorkItem* QueueCore::awaitHandover() noexcept {
  std::uintptr_t slot = noStandby;
  if (!standby_.compare_exchange_strong(slot, standingBy, std::memory_order_relaxed)) return nullptr;
  if (spinBriefly([&] { return standby_.load(std::memory_order_acquire) != standingBy; })) {
    slot = standby_.exchange(noStandby, std::memory_order_acquire);
  } else {
    slot = standingBy;
    if (standby_.compare_exchange_strong(slot, noStandby, std::memory_order_acquire)) return nullptr;
    standby_.store(noStandby, std::memory_order_relaxed);  // handed over at the last moment
  }
  return reinterpret_cast<WorkItem*>(slot);
}

void QueueCore::start(WorkItem* item) {
  std::uintptr_t slot = standingBy;
  if (standby_.load(std::memory_order_relaxed) == standingBy &&
      standby_.compare_exchange_strong(slot, reinterpret_cast<std::uintptr_t>(item), std::memory_order_release,
                                       std::memory_order_relaxed)) {
    return;  // the item may already be running: this queue is not touched again
  }
  const auto function = item->exclusive ? &QueueRunner::drainExclusive : &QueueRunner::runShared;
  if (threadBound_) {
    RunLoop::main().perform([function, core = shared_from_this(), item]() mutable { function(std::move(core), item); });
  } else {
    WorkerPool::shared().submit({function, shared_from_this(), item});
  }
}

}  // namespace Keel::detail
