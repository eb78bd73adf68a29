// The worker threads that run the asynchronous work of every dispatch queue.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "Keel/core/queue_core.h"

namespace Keel::detail {

// Set on pool threads, so that a worker about to block in a sync wait can
// let the pool start a stand-in.
inline constinit thread_local bool isPoolThread = false;

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

}  // namespace Keel::detail
