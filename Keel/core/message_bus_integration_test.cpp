// The message-bus layer against real dbus-daemons and a socket that never
// answers.
#include <gtest/gtest.h>

#include <future>
#include <map>
#include <thread>

#include "Keel/core/message_bus_linux.h"
#include "testing/loop_thread.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Keel::detail {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::LoopThread;
using Vantor::Testing::PrivateSessionBus;
using Vantor::Testing::SilentBus;
using Vantor::Testing::TempDir;

TEST(BusAddressPolicy, TheEnvironmentElseTheRuntimeSocketAndNeverALaunchedBus) {
  TempDir dir;
  std::filesystem::create_directories(dir.path() / "run time");
  const SilentBus socket(dir.path() / "run time" / "bus");
  std::filesystem::create_directories(dir.path() / "bus");  // not a socket
  std::map<std::string, std::string> variables;
  const auto lookup = [&](const char* name) -> std::optional<std::string> {
    const auto found = variables.find(name);
    return found != variables.end() ? std::optional(found->second) : std::nullopt;
  };
  EXPECT_EQ(busAddress(BusType::session, lookup), std::nullopt);
  variables["XDG_RUNTIME_DIR"] = dir.path().string();
  EXPECT_EQ(busAddress(BusType::session, lookup), std::nullopt);
  variables["XDG_RUNTIME_DIR"] = (dir.path() / "run time").string();
  const std::string runtimeBus = "unix:path=" + dir.path().string() + "/run%20time/bus";
  EXPECT_EQ(busAddress(BusType::session, lookup), runtimeBus);
  variables["DBUS_SESSION_BUS_ADDRESS"] = "";  // empty counts as unset
  EXPECT_EQ(busAddress(BusType::session, lookup), runtimeBus);
  variables["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/elsewhere";
  EXPECT_EQ(busAddress(BusType::session, lookup), "unix:path=/elsewhere");
  variables["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/system";
  EXPECT_EQ(busAddress(BusType::system, lookup), "unix:path=/system");
}

TEST(SignalRules, ValuesAreQuotedAndALongArg0IsLeftToTheSubscriber) {
  EXPECT_EQ(signalRule("a.B", "M", "/p", "it's, a\\b"),
            "type='signal',interface='a.B',member='M',path='/p',arg0='it'\\''s, a\\b'");
  const std::string withoutArg0 = "type='signal',interface='a.B',member='M',path='/p'";
  EXPECT_EQ(signalRule("a.B", "M", "/p"), withoutArg0);
  const std::size_t room = maximumMatchRuleBytes - withoutArg0.size() - std::string(",arg0=''").size();
  EXPECT_EQ(signalRule("a.B", "M", "/p", std::string(room, 'x')).size(), maximumMatchRuleBytes);
  EXPECT_EQ(signalRule("a.B", "M", "/p", std::string(room + 1, 'x')), withoutArg0);

  // The bus takes both forms; an unescaped apostrophe it refuses.
  PrivateSessionBus bus;
  BusConnection connection(BusType::session, bus.address(), 10s);
  const auto made = connection.wait();
  ASSERT_TRUE(made) << connection.status().errorOr("");
  const auto addMatch = [&](const std::string& rule) {
    GErrorSlot error;
    return callSync(made.get(),
                    {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "AddMatch",
                     g_variant_new("(s)", rule.c_str())},
                    BusClock::now() + 10s, error) != nullptr;
  };
  EXPECT_TRUE(addMatch(signalRule("a.B", "M", "/p", "it's")));
  EXPECT_TRUE(addMatch(signalRule("a.B", "M", "/p", std::string(room + 1, '\''))));
  EXPECT_FALSE(addMatch("type='signal',arg0='it's'"));
}

TEST(BusConnections, ASilentBusCostsEachWaiterItsDeadlineAndNoMore) {
  TempDir dir;
  SilentBus silent(dir.path() / "bus");
  LoopThread loop;
  std::promise<std::string> asynchronous;
  BusConnection connection(BusType::session, silent.address(), 300ms);
  loop.onLoop([&] {
    connection.whenSettled([&] { asynchronous.set_value(connection.status().errorOr("")); });
    return 0;
  });
  EXPECT_FALSE(connection.wait());
  const std::string expected = "the D-Bus session bus at " + silent.address() + " did not answer within 0.3 s";
  EXPECT_EQ(connection.status().errorOr(""), expected);
  auto heard = asynchronous.get_future();
  ASSERT_EQ(heard.wait_for(10s), std::future_status::ready);
  EXPECT_EQ(heard.get(), expected);
  EXPECT_TRUE(silent.waitForClient(0ms));

  // Given up by its owner: waiters run at once.
  auto closing = std::make_unique<BusConnection>(BusType::session, silent.address(), 60s);
  std::promise<void> released;
  loop.onLoop([&] {
    closing->whenSettled([&] { released.set_value(); });
    return 0;
  });
  closing->close();
  EXPECT_FALSE(closing->wait());
  EXPECT_EQ(released.get_future().wait_for(10s), std::future_status::ready);
}

TEST(BusConnections, ABusThatGoesAwayIsReportedOnceOnTheOwnersLoopAndNeverEndsTheProcess) {
  auto bus = std::make_unique<PrivateSessionBus>();
  LoopThread loop;
  std::promise<std::pair<std::string, bool>> lost;
  std::unique_ptr<BusConnection> connection;
  loop.onLoop([&] {
    connection = std::make_unique<BusConnection>(BusType::session, bus->address(), 10s);
    connection->setClosedHandler([&](const std::string& reason) {
      lost.set_value({reason, std::this_thread::get_id() == loop.id()});
    });
    return 0;
  });
  ASSERT_TRUE(connection->wait());
  bus->stop();
  auto heard = lost.get_future();
  ASSERT_EQ(heard.wait_for(10s), std::future_status::ready);
  EXPECT_TRUE(heard.get().second);
  EXPECT_FALSE(connection->get());
  EXPECT_EQ(connection->status().errorOr("").rfind("the D-Bus session bus went away: ", 0), 0U);
}

// The test buses activate nothing: a machine's own services (a desktop
// portal, dconf) never start on them.
TEST(PrivateSessionBuses, ActivateNoServices) {
  PrivateSessionBus bus;
  BusConnection connection(BusType::session, bus.address(), 10s);
  const auto made = connection.wait();
  ASSERT_TRUE(made);
  GErrorSlot error;
  const auto reply = callSync(made.get(),
                              {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                               "ListActivatableNames", nullptr, G_VARIANT_TYPE("(as)")},
                              BusClock::now() + 10s, error);
  ASSERT_TRUE(reply) << error.message();
  gchar* printed = g_variant_print(reply.get(), FALSE);
  EXPECT_STREQ(printed, "(['org.freedesktop.DBus'],)");
  g_free(printed);
}

}  // namespace
}  // namespace Keel::detail
