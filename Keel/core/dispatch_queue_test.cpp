// Ordering, barriers, inline sync, the main and global queues, lifetime and
// the worker pool of DispatchQueue, under real concurrency.
#include "Keel/core/dispatch_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "Keel/core/run_loop.h"
#include "testing/event_count.h"

namespace Keel {
namespace {

using Events = Vantor::Testing::EventCount;

TEST(DispatchQueueTest, BarrierWaitsForEarlierWorkRunsAloneAndHoldsBackLaterWork) {
  DispatchQueue queue("test.barrier", DispatchQueue::Attributes::concurrent);
  ASSERT_TRUE(queue.isConcurrent());
  Events started;
  Events gate;
  std::atomic<int> running{0};
  std::atomic<int> earlierDone{0};
  std::atomic<bool> barrierDone{false};
  std::atomic<bool> barrierAlone{false};
  std::atomic<bool> barrierSawEarlier{false};
  std::atomic<int> laterBeforeBarrier{0};

  for (int i = 0; i < 2; ++i) {
    queue.async([&] {
      running.fetch_add(1);
      started.add();
      EXPECT_TRUE(gate.waitFor(1));
      earlierDone.fetch_add(1);
      running.fetch_sub(1);
    });
  }
  queue.asyncBarrier([&] {
    barrierAlone = running.fetch_add(1) == 0;
    barrierSawEarlier = earlierDone.load() == 2;
    running.fetch_sub(1);
    barrierDone = true;
  });
  for (int i = 0; i < 3; ++i) {
    queue.async([&] {
      if (!barrierDone) laterBeforeBarrier.fetch_add(1);
    });
  }
  bool readerSawBarrier = false;
  std::thread reader([&] { readerSawBarrier = queue.sync([&] { return barrierDone.load(); }); });

  // Both earlier items run at the same time: non-barrier work overlaps.
  ASSERT_TRUE(started.waitFor(2));
  EXPECT_FALSE(barrierDone);
  gate.add();
  reader.join();
  queue.syncBarrier([] {});

  EXPECT_TRUE(barrierAlone);
  EXPECT_TRUE(barrierSawEarlier);
  EXPECT_TRUE(readerSawBarrier);
  EXPECT_EQ(laterBeforeBarrier, 0);
}

TEST(DispatchQueueTest, SyncReadsOnAConcurrentQueueOverlap) {
  DispatchQueue queue("test.overlap", DispatchQueue::Attributes::concurrent);
  Events inside;
  auto reader = [&] {
    return queue.sync([&] {
      inside.add();
      return inside.waitFor(2);  // only possible if the other read is inside too
    });
  };
  bool otherMet = false;
  std::thread other([&] { otherMet = reader(); });
  const bool met = reader();
  other.join();
  EXPECT_TRUE(met);
  EXPECT_TRUE(otherMet);
}

TEST(DispatchQueueTest, SyncRunsOnTheCallingThread) {
  const auto caller = std::this_thread::get_id();
  DispatchQueue serial("test.inline.serial");
  DispatchQueue concurrent("test.inline.concurrent", DispatchQueue::Attributes::concurrent);
  EXPECT_EQ(serial.sync([] { return std::this_thread::get_id(); }), caller);
  EXPECT_EQ(concurrent.sync([] { return std::this_thread::get_id(); }), caller);
  EXPECT_EQ(concurrent.syncBarrier([] { return std::this_thread::get_id(); }), caller);

  // Also when the call has to wait its turn behind queued work.
  Events gate;
  serial.async([&] { EXPECT_TRUE(gate.waitFor(1)); });
  concurrent.asyncBarrier([&] { EXPECT_TRUE(gate.waitFor(1)); });
  std::thread opener([&] { gate.add(); });
  EXPECT_EQ(serial.sync([] { return std::this_thread::get_id(); }), caller);
  EXPECT_EQ(concurrent.sync([] { return std::this_thread::get_id(); }), caller);
  opener.join();
}

TEST(DispatchQueueTest, MainQueueIsServedByTheMainRunLoop) {
  const auto mainThread = std::this_thread::get_id();
  std::vector<int> order;  // touched on the main thread only
  bool asyncOnMain = false;
  bool syncOnMain = false;
  DispatchQueue::main().async([&] {
    order.push_back(1);
    asyncOnMain = std::this_thread::get_id() == mainThread;
  });
  std::thread helper([&] {
    syncOnMain = DispatchQueue::main().sync([&] {
      order.push_back(2);
      return std::this_thread::get_id() == mainThread;
    });
    DispatchQueue::main().async([] { RunLoop::main().stop(); });
  });
  // A hung queue must fail the test, not hang it.
  Events finished;
  std::atomic<bool> timedOut{false};
  std::thread watchdog([&] {
    if (!finished.waitFor(1)) {
      timedOut = true;
      RunLoop::main().stop();
    }
  });
  RunLoop::main().run();
  helper.join();
  finished.add();
  watchdog.join();

  EXPECT_FALSE(timedOut);
  EXPECT_TRUE(asyncOnMain);
  EXPECT_TRUE(syncOnMain);
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  EXPECT_FALSE(DispatchQueue::main().isConcurrent());
}

TEST(DispatchQueueTest, GlobalQueueRunsWorkOnThePoolAndIgnoresBarriers) {
  DispatchQueue& global = DispatchQueue::global();
  EXPECT_TRUE(global.isConcurrent());
  EXPECT_EQ(&global, &DispatchQueue::global());
  Events gate;
  Events ran;
  std::atomic<bool> offCaller{false};
  const auto caller = std::this_thread::get_id();
  global.async([&] {
    offCaller = std::this_thread::get_id() != caller;
    ran.add();
    EXPECT_TRUE(gate.waitFor(1));
    ran.add();
  });
  // Runs although the earlier item is still busy: nobody may stall the global queue.
  global.asyncBarrier([&] { ran.add(); });
  EXPECT_TRUE(ran.waitFor(2));
  gate.add();
  EXPECT_TRUE(ran.waitFor(3));  // the first item is done with the locals
  EXPECT_TRUE(offCaller);
}

TEST(DispatchQueueTest, DroppingTheLastHandleLosesNoPendingWork) {
  for (const auto attributes : {DispatchQueue::Attributes::serial, DispatchQueue::Attributes::concurrent}) {
    Events gate;
    Events done;
    {
      DispatchQueue queue("test.dropped", attributes);
      queue.asyncBarrier([&] { EXPECT_TRUE(gate.waitFor(1)); });
      for (int i = 0; i < 50; ++i) {
        queue.async([&] { done.add(); });
        queue.asyncBarrier([&] { done.add(); });
      }
    }
    gate.add();
    EXPECT_TRUE(done.waitFor(100));
  }
}

// Many threads submit at once, so that most work goes through the lock-free
// inbox while the queue is busy and sync calls collect it in between.
TEST(DispatchQueueTest, ManySubmittersKeepTheirOrderAndBarriersStayExclusive) {
  for (const auto attributes : {DispatchQueue::Attributes::serial, DispatchQueue::Attributes::concurrent}) {
    const bool concurrent = attributes == DispatchQueue::Attributes::concurrent;
    constexpr int threadCount = 6;
    constexpr int itemCount = 1500;
    struct Submitter {
      std::atomic<int> started{0};
      std::atomic<int> finished{0};
      std::atomic<int> exclusiveDone{-1};  // sequence number of the last exclusive item that ended
      std::vector<int> exclusiveOrder;     // written only by exclusive work: a race would show
    };
    std::vector<Submitter> submitters(threadCount);
    std::atomic<int> sharedRunning{0};
    std::atomic<bool> exclusiveRunning{false};
    std::atomic<int> faults{0};
    Events ended;
    std::optional<DispatchQueue> queue(std::in_place, "test.submitters", attributes);

    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
      threads.emplace_back([&, t] {
        Submitter& mine = submitters[static_cast<std::size_t>(t)];
        int lastExclusive = -1;
        for (int i = 0; i < itemCount; ++i) {
          const bool barrier = !concurrent || i % 5 == 0;
          if (barrier) {
            lastExclusive = i;
            queue->asyncBarrier([&, i] {
              if (exclusiveRunning.exchange(true) || sharedRunning.load() != 0) faults.fetch_add(1);
              // Everything this thread submitted earlier has ended; nothing later has started.
              if (mine.started.fetch_add(1) != i || mine.finished.load() != i) faults.fetch_add(1);
              mine.exclusiveOrder.push_back(i);
              mine.exclusiveDone.store(i);
              exclusiveRunning.store(false);
              mine.finished.fetch_add(1);
              ended.add();
            });
          } else {
            queue->async([&, i, lastExclusive] {
              sharedRunning.fetch_add(1);
              // Shared work overlaps, so only barriers pin down the order.
              if (exclusiveRunning.load() || mine.exclusiveDone.load() != lastExclusive) faults.fetch_add(1);
              mine.started.fetch_add(1);
              if (i % 7 == 0) std::this_thread::yield();
              sharedRunning.fetch_sub(1);
              mine.finished.fetch_add(1);
              ended.add();
            });
          }
          if ((i + t) % 3 == 0) std::this_thread::yield();  // lets the queue run dry now and then
          if (i % 100 == 50) {  // not at the end: the last items rely on the async path alone
            // Sees the caller's earlier exclusive work (all its work, on a serial queue).
            const int seen = i % 200 == 50 ? queue->sync([&] { return mine.exclusiveDone.load(); })
                                           : queue->syncBarrier([&] { return mine.finished.load() - 1; });
            if (seen < lastExclusive) faults.fetch_add(1);
          }
        }
      });
    }
    for (auto& thread : threads) thread.join();
    queue.reset();  // the last handle, with work still pending
    EXPECT_TRUE(ended.waitFor(threadCount * itemCount));
    EXPECT_EQ(faults.load(), 0) << (concurrent ? "concurrent" : "serial");
    for (const Submitter& submitter : submitters) {
      EXPECT_TRUE(std::is_sorted(submitter.exclusiveOrder.begin(), submitter.exclusiveOrder.end()));
      EXPECT_EQ(submitter.exclusiveOrder.size(), concurrent ? std::size_t{itemCount / 5} : std::size_t{itemCount});
    }
  }
}

TEST(DispatchQueueTest, WorkMayDropTheHandleItWasSubmittedThrough) {
  // The submitting call is still running when the work frees its handle.
  constexpr int queueCount = 100;
  Events done;
  for (int i = 0; i < queueCount; ++i) {
    auto* queue = new DispatchQueue("test.self-drop", DispatchQueue::Attributes::concurrent);
    queue->async([] {});  // keeps the queue busy, so the next item waits in the inbox
    queue->asyncBarrier([queue, &done] {
      delete queue;
      done.add();
    });
  }
  EXPECT_TRUE(done.waitFor(queueCount));
}

TEST(DispatchQueueTest, WorkersBlockedInSyncDoNotStarveThePool) {
  // More pool items wait in sync than there are cores; the work they wait
  // for still needs a worker of its own.
  constexpr int waiterCount = 16;
  DispatchQueue serial("test.starve");
  Events arrived;
  Events done;
  std::atomic<bool> sawAll{false};
  serial.async([&] { sawAll = arrived.waitFor(waiterCount); });
  for (int i = 0; i < waiterCount; ++i) {
    DispatchQueue::global().async([&] {
      arrived.add();
      serial.sync([] {});
      done.add();
    });
  }
  EXPECT_TRUE(done.waitFor(waiterCount));
  EXPECT_TRUE(sawAll);
}

TEST(DispatchQueueTest, ManyQueuesShareABoundedPool) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  Events done;
  constexpr int itemCount = 400;
  std::vector<DispatchQueue> queues;
  for (int i = 0; i < itemCount; ++i) queues.emplace_back("test.pool");
  for (const DispatchQueue& queue : queues) {
    queue.async([&] {
      {
        std::lock_guard lock(mutex);
        threads.insert(std::this_thread::get_id());
      }
      done.add();
    });
  }
  ASSERT_TRUE(done.waitFor(itemCount));
  std::lock_guard lock(mutex);
  EXPECT_LE(threads.size(), 64U);
}

TEST(DispatchQueueDeathTest, SyncFromTheQueuesOwnWorkIsFatal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        DispatchQueue queue("test.reentrant", DispatchQueue::Attributes::concurrent);
        queue.sync([&] { queue.sync([] {}); });
      },
      "test.reentrant.*would deadlock");
  EXPECT_DEATH(
      {
        DispatchQueue first("test.outer");
        DispatchQueue second("test.inner");
        first.sync([&] { second.sync([&] { first.syncBarrier([] {}); }); });
      },
      "test.outer.*would deadlock");
  EXPECT_DEATH(
      {
        DispatchQueue::main().async([] { RunLoop::main().stop(); });
        RunLoop::main().run();
        DispatchQueue::main().sync([] {});
      },
      "would deadlock");
}

}  // namespace
}  // namespace Keel
