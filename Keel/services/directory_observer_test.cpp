// The run rules of one observer, driven by hand: coalescing, no overlap, and
// stopping from inside a run. (That stopping never waits for a run on another
// thread is tested on real files.)
#include "Keel/services/directory_observer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace Keel::detail {
namespace {

using namespace std::chrono_literals;

// A latch the handler can block on, so that a test controls when a run ends.
// Handlers share it, so a run that outlives its test's scope stays safe.
struct Gate {
  std::mutex mutex;
  std::condition_variable changed;
  int started = 0;
  int finished = 0;
  bool open = false;

  void enterAndWait() {
    std::unique_lock lock(mutex);
    ++started;
    changed.notify_all();
    changed.wait(lock, [this] { return open; });
    ++finished;
    changed.notify_all();
  }
  bool waitFor(const int& counter, int count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return counter >= count; });
  }
  void release() {
    std::lock_guard lock(mutex);
    open = true;
    changed.notify_all();
  }
  int read(const int& counter) {
    std::lock_guard lock(mutex);
    return counter;
  }
};

TEST(ObserverRuns, SignalsDuringARunGiveExactlyOneMoreRunAndRunsNeverOverlap) {
  auto gate = std::make_shared<Gate>();
  auto overlaps = std::make_shared<std::atomic<int>>(0);
  auto inside = std::make_shared<std::atomic<int>>(0);
  auto runs = makeObserverRuns([gate, overlaps, inside] {
    if (inside->fetch_add(1) != 0) overlaps->fetch_add(1);
    gate->enterAndWait();
    inside->fetch_sub(1);
  });
  runs->signal();
  ASSERT_TRUE(gate->waitFor(gate->started, 1));
  for (int i = 0; i < 50; ++i) runs->signal();  // a burst while the first run is busy
  gate->release();
  ASSERT_TRUE(gate->waitFor(gate->finished, 2));
  runs->stop();
  EXPECT_EQ(gate->read(gate->started), 2);
  EXPECT_EQ(overlaps->load(), 0);
}

TEST(ObserverRuns, StopFromInsideTheHandlerReturnsAndReleasesTheHandlerAfterTheRun) {
  auto captured = std::make_shared<int>(0);
  std::weak_ptr<int> watch = captured;
  std::shared_ptr<ObserverRuns> runs;
  std::mutex mutex;
  std::condition_variable done;
  bool returned = false;
  runs = makeObserverRuns([&, captured] {
    runs->stop();
    std::lock_guard lock(mutex);
    returned = true;
    done.notify_all();
  });
  captured.reset();
  runs->signal();
  std::unique_lock lock(mutex);
  ASSERT_TRUE(done.wait_for(lock, 10s, [&] { return returned; }));
  lock.unlock();
  for (int i = 0; i < 1000 && !watch.expired(); ++i) std::this_thread::sleep_for(1ms);
  EXPECT_TRUE(watch.expired());
}

}  // namespace
}  // namespace Keel::detail
