// The D-Bus notification centre against a private dbus-daemon.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>

#include "Keel/core/run_loop.h"
#include "Plinth/inventory/distributed_notifications_linux.h"
#include "testing/child_process.h"
#include "testing/loop_thread.h"
#include "testing/private_session_bus.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;

using Vantor::Testing::LoopThread;

// Records what an observer heard, and where.
struct Recorder {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<DistributedNotification> heard;
  std::vector<std::thread::id> threads;

  void record(const DistributedNotification& n) {
    std::lock_guard lock(mutex);
    heard.push_back(n);
    threads.push_back(std::this_thread::get_id());
    changed.notify_all();
  }
  bool waitFor(std::size_t count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return heard.size() >= count; });
  }
  std::vector<std::optional<std::string>> objects() {
    std::lock_guard lock(mutex);
    std::vector<std::optional<std::string>> out;
    for (auto& n : heard) out.push_back(n.object);
    return out;
  }
};

class BusNotificationCenterTest : public ::testing::Test {
 protected:
  Vantor::Testing::PrivateSessionBus bus;
  LoopThread loop;
  BusNotificationCenter observing{bus.address()};
  BusNotificationCenter posting{bus.address()};

  void observe(Recorder& r, const std::string& name, std::optional<std::string> object) {
    loop.onLoop([&] {
      DistributedNotifications::addObserver(observing, &r, &Recorder::record, name, object);
      return 0;
    });
  }
  // Posts a final marker that every observer of "marker" hears; since one
  // sender's signals arrive in order, everything posted before has arrived.
  void drain(Recorder& marker, std::size_t expected) { ASSERT_TRUE(marker.waitFor(expected)); }
};

TEST_F(BusNotificationCenterTest, ObjectFilteringFollowsTheDeliveryRules) {
  Recorder withObject, withoutObject, otherObject;
  observe(withObject, "killme", "com.brenwick.vantor");
  observe(withoutObject, "killme", std::nullopt);
  observe(otherObject, "killme", "com.brenwick.other");

  posting.post("killme", "com.brenwick.vantor");
  posting.post("killme", std::nullopt);
  posting.post("other-name", "com.brenwick.vantor");
  posting.post("killme", "");  // an empty object is an object, not an absent one
  ASSERT_TRUE(withoutObject.waitFor(3));

  EXPECT_EQ(withObject.objects(), (std::vector<std::optional<std::string>>{"com.brenwick.vantor"}));
  EXPECT_EQ(withoutObject.objects(),
            (std::vector<std::optional<std::string>>{"com.brenwick.vantor", std::nullopt, ""}));
  EXPECT_TRUE(otherObject.objects().empty());
}

TEST_F(BusNotificationCenterTest, DeliveryHappensOnTheRegisteringThreadsLoop) {
  Recorder r;
  observe(r, "ping", std::nullopt);
  posting.post("ping", std::nullopt);
  ASSERT_TRUE(r.waitFor(1));
  EXPECT_EQ(r.threads[0], loop.id());
}

TEST_F(BusNotificationCenterTest, ThePostingProcessHearsItsOwnPosts) {
  Recorder r;
  observe(r, "self", std::nullopt);
  observing.post("self", "x");
  ASSERT_TRUE(r.waitFor(1));
  EXPECT_EQ(r.heard[0].name, "self");
}

TEST_F(BusNotificationCenterTest, RemovalStopsDeliveryForThatNameWhateverTheObject) {
  Recorder removed, kept, marker;
  observe(removed, "n", "a");
  observe(removed, "n", std::nullopt);
  observe(removed, "m", std::nullopt);
  observe(kept, "n", std::nullopt);
  observe(marker, "marker", std::nullopt);
  DistributedNotifications::removeObserver(observing, &removed, "n");

  posting.post("n", "a");
  posting.post("m", "b");
  posting.post("marker", std::nullopt);
  drain(marker, 1);
  ASSERT_TRUE(kept.waitFor(1));
  EXPECT_EQ(removed.objects(), (std::vector<std::optional<std::string>>{"b"}));
}

TEST_F(BusNotificationCenterTest, ForeignSignalsOfTheWrongShapeAreIgnored) {
  Recorder r, marker;
  observe(r, "killme", std::nullopt);
  observe(marker, "marker", std::nullopt);
  // Another program emitting on our interface with the wrong signature.
  Vantor::Testing::ChildProcess gdbus({.argv = {"gdbus", "emit", "--session", "--object-path",
                                                kNotificationBusPath, "--signal",
                                                std::string(kNotificationBusInterface) + ".Notification", "'killme'"},
                                       .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
  EXPECT_EQ(gdbus.waitForExit(10s), 0);
  posting.post("killme", "after");
  posting.post("marker", std::nullopt);
  drain(marker, 1);
  ASSERT_TRUE(r.waitFor(1));
  EXPECT_EQ(r.objects(), (std::vector<std::optional<std::string>>{"after"}));
}

TEST_F(BusNotificationCenterTest, PostsFromGdbusFollowTheWireContract) {
  Recorder r;
  observe(r, "killme", "com.brenwick.vantor");
  Vantor::Testing::ChildProcess gdbus(
      {.argv = {"gdbus", "emit", "--session", "--object-path", kNotificationBusPath, "--signal",
                std::string(kNotificationBusInterface) + ".Notification", "'killme'", "true",
                "'com.brenwick.vantor'"},
       .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
  EXPECT_EQ(gdbus.waitForExit(10s), 0);
  ASSERT_TRUE(r.waitFor(1));
  EXPECT_EQ(r.heard[0].object, "com.brenwick.vantor");
}

TEST(BusNotificationCenterUnavailable, AnUnreachableBusIsReportedAndIgnored) {
  BusNotificationCenter center("unix:path=/nonexistent/bus");
  const auto reason = center.unavailableReason();
  ASSERT_TRUE(reason.has_value());
  EXPECT_NE(reason->find("no D-Bus session bus"), std::string::npos) << *reason;
  Recorder r;
  DistributedNotifications::addObserver(center, &r, &Recorder::record, "killme");
  center.post("killme", std::nullopt);  // nothing happens, nothing crashes
}

TEST(BusNotificationCenterLost, TheBusGoingAwayCallsTheHandlerOnce) {
  auto bus = std::make_unique<Vantor::Testing::PrivateSessionBus>();
  std::promise<std::string> lost;
  LoopThread loop;
  BusNotificationCenter center(bus->address());
  loop.onLoop([&] {
    center.setConnectionLostHandler([&](const std::string& reason) { lost.set_value(reason); });
    return center.unavailableReason().has_value();
  });
  bus->stop();
  auto reason = lost.get_future();
  ASSERT_EQ(reason.wait_for(10s), std::future_status::ready);
  EXPECT_TRUE(center.unavailableReason().has_value());
}

}  // namespace
}  // namespace Plinth
