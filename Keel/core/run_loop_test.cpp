#include "Keel/core/run_loop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace Keel {
namespace {

TEST(RunLoop, ServesWorkInPostingOrderAndNeverInline) {
  RunLoop loop;
  std::vector<int> order;
  loop.perform([&] {
    order.push_back(1);
    loop.perform([&] {
      order.push_back(3);
      loop.stop();
    });
    order.push_back(2);
  });
  loop.perform([&] { order.push_back(4); });  // posted before 3, so it runs before 3
  loop.run();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 4, 3}));
}

TEST(RunLoop, StopBeforeRunEndsTheNextRunAfterEarlierWork) {
  RunLoop loop;
  bool ran = false;
  loop.perform([&] { ran = true; });
  loop.stop();
  loop.run();
  EXPECT_TRUE(ran);
  EXPECT_FALSE(loop.isRunning());
}

TEST(RunLoop, OtherThreadsPostInTheirOwnOrder) {
  RunLoop loop;
  std::thread runner([&] { loop.run(); });
  std::vector<int> a, b;
  std::thread t1([&] {
    for (int i = 0; i < 1000; ++i) loop.perform([&a, i] { a.push_back(i); });
  });
  std::thread t2([&] {
    for (int i = 0; i < 1000; ++i) loop.perform([&b, i] { b.push_back(i); });
  });
  t1.join();
  t2.join();
  loop.stop();
  runner.join();
  ASSERT_EQ(a.size(), 1000u);
  ASSERT_EQ(b.size(), 1000u);
  for (std::size_t i = 0; i < 1000; ++i) EXPECT_EQ(a[i], static_cast<int>(i));
  for (std::size_t i = 0; i < 1000; ++i) EXPECT_EQ(b[i], static_cast<int>(i));
}

TEST(RunLoop, WorkPendingAtDestructionIsDroppedSafely) {
  auto loop = std::make_unique<RunLoop>();
  bool ran = false;
  loop->perform([&] { ran = true; });
  loop.reset();
  EXPECT_FALSE(ran);
}

TEST(RunLoop, TerminationSignalsReachTheHandlerOnTheLoop) {
  RunLoop& loop = RunLoop::main();
  std::thread::id handledOn;
  loop.setTerminationHandler([&] {
    handledOn = std::this_thread::get_id();
    loop.stop();
  });
  loop.perform([] { ::raise(SIGHUP); });
  loop.run();
  EXPECT_EQ(handledOn, std::this_thread::get_id());
  loop.setTerminationHandler([] {});
}

}  // namespace
}  // namespace Keel
