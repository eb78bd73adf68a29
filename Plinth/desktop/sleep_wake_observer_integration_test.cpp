// Sleep and wake from python3-dbusmock's logind, on a private bus standing in
// for the system bus, delivered on the main run loop.
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "Keel/core/run_loop.h"
#include "Plinth/desktop/sleep_wake_observer_linux.h"
#include "testing/child_process.h"
#include "testing/private_session_bus.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;

struct Heard {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> events;
  std::vector<std::thread::id> threads;
  void add(const char* event) {
    std::lock_guard lock(mutex);
    events.emplace_back(event);
    threads.push_back(std::this_thread::get_id());
    changed.notify_all();
  }
  bool waitFor(std::size_t count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return events.size() >= count; });
  }
};

struct Recorder final : SleepWakeObserverDelegate {
  std::shared_ptr<Heard> heard = std::make_shared<Heard>();
  void systemWillSleep() override { heard->add("will sleep"); }
  void systemDidWake() override { heard->add("did wake"); }
};

GDBusConnection* connectTo(const std::string& address) {
  return g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr);
}

bool call(GDBusConnection* bus, const char* name, const char* path, const char* interface, const char* method,
          GVariant* arguments, GVariant** reply = nullptr) {
  GVariant* result = g_dbus_connection_call_sync(bus, name, path, interface, method, arguments, nullptr,
                                                 G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
  if (result == nullptr) return false;
  if (reply != nullptr) {
    *reply = result;
  } else {
    g_variant_unref(result);
  }
  return true;
}

// logind as dbusmock plays it: PrepareForSleep(goingToSleep) from its name.
void emitFromLogind(GDBusConnection* bus, bool goingToSleep) {
  GVariantBuilder arguments;
  g_variant_builder_init(&arguments, G_VARIANT_TYPE("av"));
  g_variant_builder_add(&arguments, "v", g_variant_new_boolean(goingToSleep ? TRUE : FALSE));
  ASSERT_TRUE(call(bus, "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.DBus.Mock", "EmitSignal",
                   g_variant_new("(sssav)", "org.freedesktop.login1.Manager", "PrepareForSleep", "b", &arguments)));
}

TEST(SleepWakeOnLogind, TheDelegateHearsSleepThenWakeOnTheMainLoop) {
  Vantor::Testing::PrivateSessionBus bus;
  Vantor::Testing::ChildProcess logind({.argv = {"/usr/bin/python3", "-m", "dbusmock", "--template", "logind"},
                                        .environment = {{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()}}});
  GDBusConnection* test = connectTo(bus.address());
  ASSERT_NE(test, nullptr);
  ASSERT_TRUE(Vantor::Testing::waitUntil(
      [&] {
        GVariant* reply = nullptr;
        if (!call(test, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
                  g_variant_new("(s)", "org.freedesktop.login1"), &reply)) {
          return false;
        }
        gboolean owned = FALSE;
        g_variant_get(reply, "(b)", &owned);
        g_variant_unref(reply);
        return owned != FALSE;
      },
      10s));

  // One observer finds the bus as the system bus, the other is given it.
  std::atomic<int> listening{0};
  const auto counted = [&](bool confirmed) { listening += confirmed ? 1 : 100; };
  const char* saved = getenv("DBUS_SYSTEM_BUS_ADDRESS");
  const std::string before = saved != nullptr ? saved : "";
  setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
  SleepWakeObserver observer(std::make_unique<LogindSleepEvents>(LogindSleepEvents::Options{std::nullopt, counted}));
  SleepWakeObserver control(std::make_unique<LogindSleepEvents>(LogindSleepEvents::Options{bus.address(), counted}));
  auto delegate = std::make_shared<Recorder>();
  const auto heard = delegate->heard;
  auto controlDelegate = std::make_shared<Recorder>();
  observer.setDelegate(delegate);
  control.setDelegate(controlDelegate);

  std::thread driver([&] {
    const bool ready = Vantor::Testing::waitUntil([&] { return listening >= 2; }, 10s);
    if (ready && listening == 2) {
      // Anyone else's PrepareForSleep is not logind's.
      g_dbus_connection_emit_signal(test, nullptr, "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                                    "PrepareForSleep", g_variant_new("(b)", TRUE), nullptr);
      emitFromLogind(test, true);
      emitFromLogind(test, false);
      heard->waitFor(2);
      delegate.reset();  // released: the observer holds it weakly
      emitFromLogind(test, true);
      emitFromLogind(test, false);
      controlDelegate->heard->waitFor(4);
      // The control heard them: give the other connection's copies a moment
      // to arrive, then look for anything the released delegate heard.
      std::this_thread::sleep_for(200ms);
    }
    Keel::RunLoop::main().stop();
  });
  Keel::RunLoop::main().run();
  driver.join();
  if (saved != nullptr) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", before.c_str(), 1);
  } else {
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  }
  g_object_unref(test);

  ASSERT_EQ(listening, 2);
  EXPECT_EQ(heard->events, (std::vector<std::string>{"will sleep", "did wake"}));
  EXPECT_EQ(heard->threads, (std::vector<std::thread::id>(2, std::this_thread::get_id())));
  EXPECT_EQ(controlDelegate->heard->events.size(), 4U);
}

TEST(SleepWakeOnLogind, NoBusMeansNoEventsAndNoError) {
  std::optional<bool> listening;
  LogindSleepEvents events({"unix:path=/nonexistent/bus", [&](bool confirmed) {
                              listening = confirmed;
                              Keel::RunLoop::main().stop();
                            }});
  events.start([](bool) { ADD_FAILURE() << "an event without a bus"; });
  Keel::RunLoop::main().run();
  EXPECT_EQ(listening, false);
}

}  // namespace
}  // namespace Plinth
