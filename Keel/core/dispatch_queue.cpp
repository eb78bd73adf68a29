// Task queues: the pending-list scheduler of each queue and the shared worker
// pool that runs their asynchronous work.
#include "Keel/core/dispatch_queue.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "Keel/core/fatal_error.h"
#include "Keel/core/run_loop.h"

namespace Keel {
namespace detail {

namespace {

// Set on pool threads, so that a worker about to block in a sync wait can
// let the pool start a stand-in.
constinit thread_local bool isPoolThread = false;
// Set on the thread that has served the main queue (the main loop's thread).
constinit thread_local bool servesMainQueue = false;

// Tells the core that this thread is spinning (saves power, frees shared
// execution resources).
inline void cpuRelax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

// Waits a moment for `ready`, for handovers that usually complete within
// microseconds, where a sleep and its wake-up would cost more than the wait.
// Looks a few times with a pause between looks (the other side may be running
// on another core), then mostly yields: on a busy machine the other side is
// often waiting for this very core, and pausing would only keep it waiting.
// Returns whether `ready` came true; the caller sleeps otherwise.
template <typename Ready>
bool spinBriefly(Ready ready) {
  constexpr int kPauses = 4;
  constexpr int kYields = 32;
  for (int i = 0; i < kPauses; ++i) {
    if (ready()) return true;
    cpuRelax();
  }
  for (int i = 0; i < kYields; ++i) {
    if (ready()) return true;
    std::this_thread::yield();
  }
  return ready();
}

// Whether `state` moves away from `idle` within a short spin and one yield.
// Shorter than spinBriefly: the queue stays claimed meanwhile.
bool linger(const std::atomic<std::uint64_t>& state, std::uint64_t idle) {
  constexpr int kPauses = 8;
  for (int i = 0; i < kPauses; ++i) {
    if (state.load(std::memory_order_relaxed) != idle) return true;
    cpuRelax();
  }
  std::this_thread::yield();
  return state.load(std::memory_order_relaxed) != idle;
}

// A bounded pool of worker threads shared by every queue. It keeps about one
// running worker per core; a worker that blocks in a sync wait does not count,
// so queues waiting on each other cannot starve the pool. Idle workers sleep
// on a condition variable; extra workers started for blocked ones leave once
// the blocked ones are back.
class WorkerPool {
 public:
  using JobFunction = void (*)(std::shared_ptr<QueueCore>, WorkItem*);
  struct Job {
    JobFunction function;
    std::shared_ptr<QueueCore> core;
    WorkItem* item;
  };

  static WorkerPool& shared() {
    static auto* const pool = new WorkerPool();  // outlives every detached worker
    return *pool;
  }

  void submit(Job job) {
    bool wake = false;
    {
      std::lock_guard lock(mutex_);
      jobs_.push_back(std::move(job));
      if (sleeping_ > wakeTokens_) {
        ++wakeTokens_;
        wake = true;
      } else if (threads_ - blocked_ < target_ && threads_ < cap_) {
        spawnLocked();
      }
    }
    // Outside the lock, so the woken worker does not run straight into it.
    // The pool is never destroyed, so the condition outlives this call.
    if (wake) wake_.notify_one();
  }

  void willBlock() {
    std::lock_guard lock(mutex_);
    ++blocked_;
    if (!jobs_.empty() && sleeping_ <= wakeTokens_ && threads_ - blocked_ < target_ && threads_ < cap_) {
      spawnLocked();
    }
  }

  void didUnblock() {
    std::lock_guard lock(mutex_);
    --blocked_;
  }

 private:
  WorkerPool() : target_(std::max(2U, std::thread::hardware_concurrency())), cap_(std::max(64U, 4 * target_)) {}

  void spawnLocked() {
    ++threads_;
    std::thread([this] { workerMain(); }).detach();
  }

  void workerMain() {
    isPoolThread = true;
    std::unique_lock lock(mutex_);
    for (;;) {
      while (jobs_.empty()) {
        ++sleeping_;
        wake_.wait(lock);
        --sleeping_;
        if (wakeTokens_ > 0) --wakeTokens_;
      }
      Job job = std::move(jobs_.front());
      jobs_.pop_front();
      lock.unlock();
      job.function(std::move(job.core), job.item);
      lock.lock();
      if (threads_ - blocked_ > target_) {
        --threads_;
        return;
      }
    }
  }

  const unsigned target_;
  const unsigned cap_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Job> jobs_;     // guarded by mutex_, as are the counts below
  unsigned threads_ = 0;     // workers alive
  unsigned blocked_ = 0;     // workers waiting in a sync call
  unsigned sleeping_ = 0;    // workers waiting for jobs
  unsigned wakeTokens_ = 0;  // wake-ups sent and not yet taken
};

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

// Recycled small-item blocks. Each thread keeps the blocks it frees in a
// list of its own and hands them on to one shared stack in chains of
// kBlockChain, so the stack's cache line moves between threads once per chain
// rather than once per item. A thread that runs out takes the whole stack at
// once, which keeps the stack free of the ABA problem. Blocks are kept for
// reuse, never given back to the allocator.
struct FreeBlock {
  FreeBlock* next;
};
constexpr unsigned kBlockChain = 32;
constinit std::atomic<FreeBlock*> sharedBlocks{nullptr};

void shareBlocks(FreeBlock* first, FreeBlock* last) noexcept {
  last->next = sharedBlocks.load(std::memory_order_relaxed);
  while (!sharedBlocks.compare_exchange_weak(last->next, first, std::memory_order_release, std::memory_order_relaxed)) {
  }
}

struct LocalBlocks {
  FreeBlock* spare = nullptr;  // ready for allocation
  FreeBlock* freed = nullptr;  // freed here, not yet shared
  FreeBlock* freedLast = nullptr;
  unsigned freedCount = 0;

  LocalBlocks() = default;
  LocalBlocks(const LocalBlocks&) = delete;
  LocalBlocks& operator=(const LocalBlocks&) = delete;
  ~LocalBlocks() {  // a thread that ends hands its blocks on
    shareFreed();
    if (spare == nullptr) return;
    FreeBlock* last = spare;
    while (last->next != nullptr) last = last->next;
    shareBlocks(spare, last);
  }
  void shareFreed() noexcept {
    if (freed != nullptr) shareBlocks(freed, freedLast);
    freed = freedLast = nullptr;
    freedCount = 0;
  }
};
thread_local LocalBlocks localBlocks;

constexpr unsigned kMaxDrainRounds = 64;  // then hand the thread back to other queues

}  // namespace

void* allocateItem(std::size_t size) {
  if (size > kSmallItemSize) return ::operator new(size);
  LocalBlocks& local = localBlocks;
  if (local.spare == nullptr) {
    if (local.freed != nullptr) {
      local.spare = local.freed;
      local.freed = local.freedLast = nullptr;
      local.freedCount = 0;
    } else {
      local.spare = sharedBlocks.exchange(nullptr, std::memory_order_acquire);
      if (local.spare == nullptr) return ::operator new(kSmallItemSize);
    }
  }
  FreeBlock* block = local.spare;
  local.spare = block->next;
  return block;
}

void deallocateItem(void* memory, std::size_t size) noexcept {
  if (size > kSmallItemSize) {
    ::operator delete(memory);
    return;
  }
  LocalBlocks& local = localBlocks;
  auto* block = static_cast<FreeBlock*>(memory);
  block->next = local.freed;
  local.freed = block;
  if (local.freedLast == nullptr) local.freedLast = block;
  if (++local.freedCount == kBlockChain) local.shareFreed();
}

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
      std::uint64_t expected = QueueCore::kExclusive;
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
        core->state_.fetch_or(QueueCore::kQueued, std::memory_order_acq_rel);
        batch = nullptr;
      } else {
        core->collectInboxLocked();
        if (core->head_ != nullptr && core->head_->exclusive && !core->head_->isTicket && ++rounds < kMaxDrainRounds) {
          batch = core->head_;
          batchTail = core->tail_;
          core->head_ = core->tail_ = nullptr;
          core->state_.fetch_and(~QueueCore::kQueued, std::memory_order_acq_rel);
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
// go; with no holder it starts the work itself. The kAnnounced bit on the
// inbox word then tells later pushes that their items are covered.
//
// Once an item is in the inbox it may run, and may drop the queue's last
// handle, at any moment; so a push that leaves nothing more to do touches
// the queue no more, and a push that has to announce holds a reference.
void QueueCore::pushToInbox(WorkItem* item) {
  std::shared_ptr<QueueCore> keepAlive;
  std::uintptr_t top = inbox_.load(std::memory_order_relaxed);
  for (;;) {
    if ((top & kAnnounced) == 0 && keepAlive == nullptr) keepAlive = shared_from_this();
    item->next = reinterpret_cast<WorkItem*>(top & ~kAnnounced);
    if (inbox_.compare_exchange_weak(top, reinterpret_cast<std::uintptr_t>(item) | (top & kAnnounced),
                                     std::memory_order_acq_rel, std::memory_order_relaxed)) {
      break;
    }
  }
  if ((top & kAnnounced) == 0) announceInbox();
}

void QueueCore::announceInbox() {
  const std::uint64_t s = state_.fetch_or(kInbox, std::memory_order_acq_rel);
  // Marks what is in the inbox now as covered. A collector may have emptied
  // it meanwhile, and new items may have arrived since: their first pusher
  // announces them too, so marking them early is harmless.
  std::uintptr_t top = inbox_.load(std::memory_order_relaxed);
  while (top != 0 && (top & kAnnounced) == 0 &&
         !inbox_.compare_exchange_weak(top, top | kAnnounced, std::memory_order_release, std::memory_order_relaxed)) {
  }
  if ((s & kInbox) != 0 || (s & (kExclusive | kCountMask)) != 0) return;
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
  if ((s & kInbox) == 0) return;  // only collectors clear it, and they hold the lock
  while (
      !state_.compare_exchange_weak(s, (s | kQueued) & ~kInbox, std::memory_order_acq_rel, std::memory_order_acquire)) {
  }
  auto* newest = reinterpret_cast<WorkItem*>(inbox_.exchange(0, std::memory_order_acq_rel) & ~kAnnounced);
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
    state_.fetch_and(~kQueued, std::memory_order_acq_rel);
  }
}

// Ends an exclusive claim. The inbox flag is checked by the same
// compare-and-swap that ends the claim: a push that turns it on in between
// makes the swap fail, and its item is collected before trying again.
void QueueCore::releaseExclusiveLocked() noexcept {
  std::uint64_t s = state_.load(std::memory_order_acquire);
  for (;;) {
    if ((s & kInbox) != 0) {
      collectInboxLocked();
      s = state_.load(std::memory_order_acquire);
    } else if (state_.compare_exchange_weak(s, s & ~kExclusive, std::memory_order_acq_rel, std::memory_order_acquire)) {
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
    state_.fetch_or(kQueued, std::memory_order_acq_rel);
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
        if ((s & (kExclusive | kCountMask)) != 0) return;
        next = kExclusive | (s & kInbox) | (item->next != nullptr ? kQueued : 0);
      } else {
        if ((s & kExclusive) != 0) return;
        next = (s + 1) & (item->next != nullptr ? ~std::uint64_t{0} : ~kQueued);
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
  std::uintptr_t slot = kNoStandby;
  if (!standby_.compare_exchange_strong(slot, kStandingBy, std::memory_order_relaxed)) return nullptr;
  if (spinBriefly([&] { return standby_.load(std::memory_order_acquire) != kStandingBy; })) {
    slot = standby_.exchange(kNoStandby, std::memory_order_acquire);
  } else {
    slot = kStandingBy;
    if (standby_.compare_exchange_strong(slot, kNoStandby, std::memory_order_acquire)) return nullptr;
    standby_.store(kNoStandby, std::memory_order_relaxed);  // handed over at the last moment
  }
  return reinterpret_cast<WorkItem*>(slot);
}

void QueueCore::start(WorkItem* item) {
  std::uintptr_t slot = kStandingBy;
  if (standby_.load(std::memory_order_relaxed) == kStandingBy &&
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

}  // namespace detail

DispatchQueue::DispatchQueue(std::string label, Attributes attributes)
    : DispatchQueue(std::move(label), attributes == Attributes::concurrent, false, false) {}

DispatchQueue::DispatchQueue(std::string label, bool concurrent, bool threadBound, bool ignoresBarriers)
    : core_(std::make_shared<detail::QueueCore>(std::move(label), concurrent, threadBound, ignoresBarriers)) {}

DispatchQueue& DispatchQueue::global() {
  static auto* const queue = new DispatchQueue("com.keel.global.default", true, false, true);
  return *queue;
}

DispatchQueue& DispatchQueue::main() {
  static auto* const queue = new DispatchQueue("com.keel.main-thread", false, true, false);
  return *queue;
}

}  // namespace Keel
