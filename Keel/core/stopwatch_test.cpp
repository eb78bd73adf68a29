// The stopwatch's lines, its table of names, and the shared one on stdout.
#include "Keel/core/stopwatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "Keel/core/time_utilities.h"

namespace Keel {
namespace {

// A clock that advances by a fixed step on every reading.
class SteppingClock {
 public:
  explicit SteppingClock(double step) : step_(step) {}
  Clock clock() {
    return [this] {
      std::lock_guard lock(mutex_);
      now_ += step_;
      return Date(now_);
    };
  }

 private:
  std::mutex mutex_;
  double now_ = 1'700'000'000.0;
  double step_;
};

TEST(StopwatchTest, StopPrintsOnceAndForgetsTheNameAndARestartReplacesTheEarlierStart) {
  SteppingClock clock(0.25);
  std::vector<std::string> lines;
  Stopwatch stopwatch(clock.clock(), [&lines](std::string_view line) { lines.emplace_back(line); });
  stopwatch.stop("never started");
  EXPECT_TRUE(lines.empty());
  stopwatch.start("a");  // 0.25
  stopwatch.start("b");  // 0.50
  stopwatch.start("a");  // 0.75
  stopwatch.stop("b");   // 1.00
  stopwatch.stop("a");   // 1.25
  stopwatch.stop("a");
  EXPECT_THAT(lines, testing::ElementsAre("b: 0.500 ms\n", "a: 0.500 ms\n"));
}

TEST(StopwatchTest, LineRoundsLikePrintf) {
  EXPECT_EQ(Stopwatch::line("x", 0.0005), "x: 0.001 ms\n");  // 0.0005 is slightly above a half
  EXPECT_EQ(Stopwatch::line("x", 2.0625), "x: 2.062 ms\n");  // exact tie: half to even
  EXPECT_EQ(Stopwatch::line("x", -0.25), "x: -0.250 ms\n");
}

TEST(StopwatchTest, ThreadsTimeTheirOwnNames) {
  SteppingClock clock(0.001);
  std::atomic<int> printed{0};
  Stopwatch stopwatch(clock.clock(), [&printed](std::string_view) { printed.fetch_add(1); });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&stopwatch, t] {
      const std::string name = "thread " + std::to_string(t);
      for (int i = 0; i < 200; ++i) {
        stopwatch.start(name);
        stopwatch.stop(name);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(printed.load(), 800);
}

TEST(StopwatchTest, SharedStopwatchPrintsToStandardOutput) {
  testing::internal::CaptureStdout();
  TimeUtilities::stop("StopwatchTest unknown");
  TimeUtilities::start("StopwatchTest shared");
  TimeUtilities::stop("StopwatchTest shared");
  TimeUtilities::stop("StopwatchTest shared");
  const std::string output = testing::internal::GetCapturedStdout();
  EXPECT_THAT(output, testing::MatchesRegex("StopwatchTest shared: [0-9]+\\.[0-9][0-9][0-9] ms\n"));
}

}  // namespace
}  // namespace Keel
