// The run rules of one observer, driven by hand: coalescing, no overlap, and
// stopping from inside a run. (That stopping never waits for a run on another
// thread is tested on real files.)
#include "Keel/services/directory_observer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "testing/event_count.h"

namespace Keel::detail {
namespace {

using namespace std::chrono_literals;

TEST(ObserverRuns, SignalsDuringARunGiveExactlyOneMoreRunAndRunsNeverOverlap) {
  // The handler blocks until `opened`, so the test controls when a run ends.
  // Copies share their counts, so a run that outlives the test stays safe.
  const Vantor::Testing::EventCount started, finished, opened;
  auto overlaps = std::make_shared<std::atomic<int>>(0);
  auto inside = std::make_shared<std::atomic<int>>(0);
  auto runs = makeObserverRuns([=] {
    if (inside->fetch_add(1) != 0) overlaps->fetch_add(1);
    started.add();
    (void)opened.waitFor(1);
    inside->fetch_sub(1);
    finished.add();
  });
  runs->signal();
  ASSERT_TRUE(started.waitFor(1));
  for (int i = 0; i < 50; ++i) runs->signal();  // a burst while the first run is busy
  opened.add();
  ASSERT_TRUE(finished.waitFor(2));
  runs->stop();
  EXPECT_EQ(started.count(), 2);
  EXPECT_EQ(overlaps->load(), 0);
}

TEST(ObserverRuns, StopFromInsideTheHandlerReturnsAndReleasesTheHandlerAfterTheRun) {
  auto captured = std::make_shared<int>(0);
  std::weak_ptr<int> watch = captured;
  std::shared_ptr<ObserverRuns> runs;
  const Vantor::Testing::EventCount returned;
  runs = makeObserverRuns([&, captured] {
    runs->stop();
    returned.add();
  });
  captured.reset();
  runs->signal();
  ASSERT_TRUE(returned.waitFor(1));
  for (int i = 0; i < 1000 && !watch.expired(); ++i) std::this_thread::sleep_for(1ms);
  EXPECT_TRUE(watch.expired());
}

}  // namespace
}  // namespace Keel::detail
