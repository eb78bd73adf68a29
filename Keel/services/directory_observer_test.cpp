// The run rules of one observer, driven by hand: coalescing, no overlap, and
// what stopping waits for.
#include "Keel/services/directory_observer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Keel::detail {
namespace {

using namespace std::chrono_literals;

// A latch the handler can block on, so that a test controls when a run ends.
struct Gate {
  std::mutex mutex;
  std::condition_variable changed;
  int started = 0;
  bool open = false;

  void enterAndWait() {
    std::unique_lock lock(mutex);
    ++started;
    changed.notify_all();
    changed.wait(lock, [this] { return open; });
  }
  bool waitStarted(int count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return started >= count; });
  }
  void release() {
    std::lock_guard lock(mutex);
    open = true;
    changed.notify_all();
  }
};

TEST(ObserverRuns, SignalsDuringARunGiveExactlyOneMoreRunAndRunsNeverOverlap) {
  Gate gate;
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  auto runs = makeObserverRuns([&] {
    if (inside.fetch_add(1) != 0) overlaps.fetch_add(1);
    gate.enterAndWait();
    inside.fetch_sub(1);
  });
  runs->signal();
  ASSERT_TRUE(gate.waitStarted(1));
  for (int i = 0; i < 50; ++i) runs->signal();  // a burst while the first run is busy
  gate.release();
  ASSERT_TRUE(gate.waitStarted(2));
  runs->stop();  // waits for the second run if it is still going
  EXPECT_EQ(gate.started, 2);
  EXPECT_EQ(overlaps.load(), 0);
}

TEST(ObserverRuns, StopWaitsForARunOnAnotherThreadAndNothingRunsAfter) {
  Gate gate;
  std::atomic<bool> finished{false};
  std::atomic<int> runsAfterStop{0};
  std::atomic<bool> stopped{false};
  auto runs = makeObserverRuns([&] {
    if (stopped.load()) runsAfterStop.fetch_add(1);
    gate.enterAndWait();
    finished.store(true);
  });
  runs->signal();
  ASSERT_TRUE(gate.waitStarted(1));
  runs->signal();  // would give a second run, were it not stopped
  std::thread opener([&] {
    std::this_thread::sleep_for(20ms);  // lets stop() start waiting; correctness does not depend on it
    gate.release();
  });
  runs->stop();
  stopped.store(true);
  EXPECT_TRUE(finished.load());
  runs->signal();
  opener.join();
  EXPECT_EQ(runsAfterStop.load(), 0);
  EXPECT_EQ(gate.started, 1);
}

TEST(ObserverRuns, StopFromInsideTheHandlerReturnsAndReleasesTheHandlerAfterTheRun) {
  auto captured = std::make_shared<int>(0);
  std::weak_ptr<int> watch = captured;
  std::shared_ptr<ObserverRuns> runs;
  std::mutex mutex;
  std::condition_variable done;
  bool returned = false;
  runs = makeObserverRuns([&, captured] {
    runs->stop();  // would deadlock if it waited for this very run
    std::lock_guard lock(mutex);
    returned = true;
    done.notify_all();
  });
  captured.reset();
  runs->signal();
  std::unique_lock lock(mutex);
  ASSERT_TRUE(done.wait_for(lock, 10s, [&] { return returned; }));
  lock.unlock();
  // The drain releases the handler once it ends; stop() from here then waits for nothing.
  runs->stop();
  for (int i = 0; i < 1000 && !watch.expired(); ++i) std::this_thread::sleep_for(1ms);
  EXPECT_TRUE(watch.expired());
}

}  // namespace
}  // namespace Keel::detail
