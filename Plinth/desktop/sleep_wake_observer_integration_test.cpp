// Sleep and wake from python3-dbusmock's logind, on a private bus standing in
// for the system bus, delivered on the main run loop.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "Keel/core/run_loop.h"
#include "Plinth/desktop/sleep_wake_observer_linux.h"
#include "testing/child_process.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildProcess;

// Made on the test's thread, which runs the main loop.
struct Recorder final : SleepWakeObserverDelegate {
  struct Heard {
    std::mutex mutex;
    std::vector<std::string> events;
    std::size_t count() {
      std::lock_guard lock(mutex);
      return events.size();
    }
  };
  std::shared_ptr<Heard> heard = std::make_shared<Heard>();  // outlives the delegate
  std::thread::id mainThread = std::this_thread::get_id();
  void systemWillSleep() override { add("will sleep"); }
  void systemDidWake() override { add("did wake"); }
  void add(std::string event) {
    if (std::this_thread::get_id() != mainThread) event += " off the main loop";
    std::lock_guard lock(heard->mutex);
    heard->events.push_back(std::move(event));
  }
};

// Runs gdbus on the bus; true when it succeeded. As its session bus, since
// gdbus given an address does not register on it, and the bus drops what an
// unregistered client sends.
bool gdbus(const std::string& address, const char* command, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"gdbus", command, "--session"});
  return ChildProcess({.argv = std::move(arguments), .environment = {{"DBUS_SESSION_BUS_ADDRESS", address}}})
             .waitForExit(15s) == 0;
}

// logind as dbusmock plays it: PrepareForSleep(goingToSleep) from its name.
bool emitFromLogind(const std::string& address, bool goingToSleep) {
  return gdbus(address, "call",
               {"--dest", "org.freedesktop.login1", "--object-path", "/org/freedesktop/login1", "--method",
                "org.freedesktop.DBus.Mock.EmitSignal", "org.freedesktop.login1.Manager", "PrepareForSleep", "b",
                goingToSleep ? "[<true>]" : "[<false>]"});
}

TEST(SleepWakeOnLogind, TheDelegateHearsSleepThenWakeOnTheMainLoop) {
  Vantor::Testing::PrivateSessionBus bus;
  ChildProcess logind({.argv = {"/usr/bin/python3", "-m", "dbusmock", "--template", "logind"},
                       .environment = {{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()}}});
  ASSERT_TRUE(gdbus(bus.address(), "wait", {"--timeout", "10", "org.freedesktop.login1"}));

  // The control observer shows when the released delegate would have heard.
  std::atomic<int> listening{0};
  const auto counted = [&](bool confirmed) { listening += confirmed ? 1 : 100; };
  SleepWakeObserver observer(std::make_unique<LogindSleepEvents>(LogindSleepEvents::Options{bus.address(), counted}));
  SleepWakeObserver control(std::make_unique<LogindSleepEvents>(LogindSleepEvents::Options{bus.address(), counted}));
  auto delegate = std::make_shared<Recorder>();
  auto controlDelegate = std::make_shared<Recorder>();
  const auto later = std::make_shared<Recorder>();
  const auto heard = delegate->heard;
  observer.setDelegate(delegate);
  control.setDelegate(controlDelegate);

  std::thread driver([&] {
    if (Vantor::Testing::waitUntil([&] { return listening >= 2; }, 10s) && listening == 2) {
      // Anyone else's PrepareForSleep is not logind's.
      gdbus(bus.address(), "emit",
            {"--object-path", "/org/freedesktop/login1", "--signal", "org.freedesktop.login1.Manager.PrepareForSleep",
             "true"});
      EXPECT_TRUE(emitFromLogind(bus.address(), true) && emitFromLogind(bus.address(), false));
      Vantor::Testing::waitUntil([&] { return heard->count() >= 2; }, 10s);
      delegate.reset();  // released: the observer holds it weakly
      EXPECT_TRUE(emitFromLogind(bus.address(), true) && emitFromLogind(bus.address(), false));
      // A connection gets its signals in order: once a delegate set afterwards
      // has heard two events, the released delegate's pair has been handled
      // (before the new one was set, or by it).
      std::atomic<bool> replaced{false};
      Keel::RunLoop::main().perform([&] {
        observer.setDelegate(later);
        replaced = true;
      });
      if (Vantor::Testing::waitUntil([&] { return replaced.load(); }, 10s)) {
        EXPECT_TRUE(emitFromLogind(bus.address(), true) && emitFromLogind(bus.address(), false));
        EXPECT_TRUE(Vantor::Testing::waitUntil(
            [&] { return later->heard->count() >= 2 && controlDelegate->heard->count() >= 6; }, 10s));
      }
    }
    Keel::RunLoop::main().stop();
  });
  Keel::RunLoop::main().run();
  driver.join();

  ASSERT_EQ(listening, 2);
  EXPECT_EQ(heard->events, (std::vector<std::string>{"will sleep", "did wake"}));
  EXPECT_EQ(controlDelegate->heard->events.size(), 6U);
}

TEST(SleepWakeOnLogind, NoBusOrASilentOneMeansNoEventsAndNoError) {
  Vantor::Testing::TempDir dir;
  Vantor::Testing::SilentBus silent(dir.path() / "bus");
  for (const std::string& address : {std::string("unix:path=/nonexistent/bus"), silent.address()}) {
    std::optional<bool> listening;
    LogindSleepEvents events({address, [&](bool confirmed) {
                                listening = confirmed;
                                Keel::RunLoop::main().stop();
                              }});
    events.start([](bool) { ADD_FAILURE() << "an event without a bus"; });
    Keel::RunLoop::main().run();
    EXPECT_EQ(listening, false) << address;
  }
}

}  // namespace
}  // namespace Plinth
