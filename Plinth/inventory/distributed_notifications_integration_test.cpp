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
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

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

// A "marker" posted last is heard after everything the same sender posted
// before it: one sender's signals arrive in order.
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
  ASSERT_TRUE(marker.waitFor(1));
  ASSERT_TRUE(kept.waitFor(1));
  EXPECT_EQ(removed.objects(), (std::vector<std::optional<std::string>>{"b"}));
}

// The wire contract, from a tool that knows nothing of this project; a
// signal of the wrong shape on the same interface is ignored.
TEST_F(BusNotificationCenterTest, ForeignPostsFollowTheWireContractAndWrongShapesAreIgnored) {
  Recorder r, marker;
  observe(r, "killme", std::nullopt);
  observe(marker, "marker", std::nullopt);
  const auto emit = [&](std::vector<std::string> arguments) {
    std::vector<std::string> argv{"gdbus",
                                  "emit",
                                  "--session",
                                  "--object-path",
                                  notificationBusPath,
                                  "--signal",
                                  std::string(notificationBusInterface) + ".Notification"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    Vantor::Testing::ChildProcess gdbus({.argv = argv, .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
    EXPECT_EQ(gdbus.waitForExit(10s), 0);
  };
  emit({"'killme'"});
  emit({"'killme'", "true", "'com.brenwick.vantor'"});
  posting.post("marker", std::nullopt);
  ASSERT_TRUE(marker.waitFor(1));
  ASSERT_TRUE(r.waitFor(1));
  EXPECT_EQ(r.objects(), (std::vector<std::optional<std::string>>{"com.brenwick.vantor"}));
}

// Registers `r` for `name` without waiting, from `loop`; the future gets
// what the centre reports, and whether it reported on the loop's thread.
std::future<std::pair<std::optional<std::string>, bool>> observeAsync(LoopThread& loop, BusNotificationCenter& center,
                                                                      Recorder& r, const std::string& name) {
  auto promise = std::make_shared<std::promise<std::pair<std::optional<std::string>, bool>>>();
  loop.onLoop([&, promise] {
    DistributedNotifications::addObserver(
        center, &r, &Recorder::record, name, std::nullopt, [&loop, promise](const Keel::Result<void>& registration) {
          promise->set_value({registration ? std::nullopt : std::optional(registration.error()),
                              std::this_thread::get_id() == loop.id()});
        });
    return 0;
  });
  return promise->get_future();
}

// Confirmed on the loop before later posts, its own centre's posts included,
// which are heard on the registering thread's loop.
TEST_F(BusNotificationCenterTest, AsynchronousRegistrationIsConfirmedOnTheLoopBeforeLaterPosts) {
  Recorder r;
  auto registered = observeAsync(loop, observing, r, "async");
  ASSERT_EQ(registered.wait_for(10s), std::future_status::ready);
  EXPECT_EQ(registered.get(), std::make_pair(std::optional<std::string>(), true));
  posting.post("async", "x");
  observing.post("async", "self");
  ASSERT_TRUE(r.waitFor(2));
  EXPECT_EQ(r.heard[0].name, "async");
  EXPECT_EQ(r.threads, (std::vector<std::thread::id>{loop.id(), loop.id()}));
}

// Every UTF-8 name is delivered, those a match rule cannot carry included
// (an apostrophe, or a name past the bus's rule length), both ways of
// registering; a long name is still told from one that differs at its end.
TEST_F(BusNotificationCenterTest, NamesTheMatchRulesCannotCarryAreStillDelivered) {
  const std::string quote = "it's.changed";
  const std::string longName = std::string(2000, 'n') + "'\\,";
  const std::string otherLong = std::string(2000, 'n') + "'\\.";
  Recorder quoted, longer, asyncQuoted, asyncLonger, marker;
  observe(quoted, quote, std::nullopt);
  observe(longer, longName, "obj'ect");
  observe(marker, "marker", std::nullopt);
  for (auto [recorder, name] : {std::pair{&asyncQuoted, quote}, std::pair{&asyncLonger, longName}}) {
    auto registered = observeAsync(loop, observing, *recorder, name);
    ASSERT_EQ(registered.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(registered.get().first, std::nullopt);
  }
  posting.post(otherLong, "obj'ect");
  posting.post(quote, std::nullopt);
  posting.post(longName, "obj'ect");
  posting.post("marker", std::nullopt);
  ASSERT_TRUE(marker.waitFor(1));
  for (Recorder* r : {&quoted, &longer, &asyncQuoted, &asyncLonger}) ASSERT_TRUE(r->waitFor(1));
  EXPECT_EQ(longer.heard.size(), 1U);
  EXPECT_EQ(longer.heard[0].name, longName);
  EXPECT_EQ(asyncLonger.heard.size(), 1U);
}

// A blocking call made on the thread whose run loop an asynchronous connect
// would report to, before that loop runs again, waits for the connection
// itself rather than failing the centre once the time-out has passed.
TEST_F(BusNotificationCenterTest, BlockingCallsOnTheLoopThatBeganConnectingNeitherStallNorFail) {
  BusNotificationCenter fresh(bus.address());
  Recorder r;
  loop.onLoop([&] {
    fresh.prepareConnection();
    DistributedNotifications::addObserver(fresh, &r, &Recorder::record, "soon", std::nullopt);
    fresh.post("soon", "first");
    return 0;
  });
  ASSERT_TRUE(r.waitFor(1));
  EXPECT_TRUE(fresh.availability().ok());
  fresh.post("soon", "later");
  ASSERT_TRUE(r.waitFor(2));
  EXPECT_EQ(r.objects(), (std::vector<std::optional<std::string>>{"first", "later"}));
}

TEST(BusNotificationCenterSilent, ABusThatNeverAnswersIsGivenUpAfterTheTimeOut) {
  Vantor::Testing::TempDir dir;
  Vantor::Testing::SilentBus silent(dir.path() / "bus");
  LoopThread loop;
  Recorder r;
  const std::string expected = "the D-Bus session bus at " + silent.address() + " did not answer within 0.2 s";

  BusNotificationCenter waiting(silent.address(), 200ms);
  auto registered = observeAsync(loop, waiting, r, "killme");
  ASSERT_EQ(registered.wait_for(10s), std::future_status::ready);
  EXPECT_EQ(registered.get(), std::make_pair(std::optional<std::string>(expected), true));
  EXPECT_EQ(waiting.availability().errorOr(""), expected);

  // The blocking calls are bounded the same way.
  BusNotificationCenter blocking(silent.address(), 200ms);
  EXPECT_EQ(blocking.availability().errorOr(""), expected);

  // A centre destroyed while it connects still reports, once.
  auto destroyed = std::make_unique<BusNotificationCenter>(silent.address(), 10s);
  auto unfinished = observeAsync(loop, *destroyed, r, "killme");
  ASSERT_TRUE(silent.waitForClient(10s));
  destroyed.reset();
  ASSERT_EQ(unfinished.wait_for(5s), std::future_status::ready);
  EXPECT_EQ(unfinished.get().first, "the notification centre was destroyed");
}

TEST(BusNotificationCenterUnavailable, AnUnreachableBusIsReportedAndIgnored) {
  BusNotificationCenter center("unix:path=/nonexistent/bus");
  const auto reason = center.availability().errorOr("");
  EXPECT_NE(reason.find("no D-Bus session bus"), std::string::npos) << reason;
  Recorder r;
  DistributedNotifications::addObserver(center, &r, &Recorder::record, "killme");
  center.post("killme", std::nullopt);  // nothing happens, nothing crashes
}

}  // namespace
}  // namespace Plinth
