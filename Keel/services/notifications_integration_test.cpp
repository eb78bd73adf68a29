// User notifications against a notification server on a private session bus
// (python3-dbusmock's notification daemon, which records every call).
#include "Keel/services/notifications.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "Keel/services/user_notification_center_linux.h"
#include "testing/bus_client.h"
#include "testing/child_process.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildOptions;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::PrivateSessionBus;

// One Notify call the server received.
struct ShownNotification {
  std::string title;
  std::string body;
  std::uint32_t replacesId = 0;
  std::string requestIdentifier;
  std::string soundName;
};

class DesktopNotificationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    observer_ = Vantor::Testing::connectToBus(bus_.address());
    ASSERT_NE(observer_, nullptr);
  }
  void TearDown() override {
    if (observer_ != nullptr) g_object_unref(observer_);
  }

  void startServer() {
    server_ = std::make_unique<ChildProcess>(
        ChildOptions{{"/usr/bin/python3", "-m", "dbusmock", "--template", "notification_daemon"},
                     {{"DBUS_SESSION_BUS_ADDRESS", bus_.address()}}});
    ASSERT_TRUE(Vantor::Testing::waitUntil(
        [&] { return Vantor::Testing::nameHasOwner(observer_, "org.freedesktop.Notifications"); }, 30s))
        << "the mock server never came up";
  }

  // The Notify calls the mock recorded, oldest first.
  std::vector<ShownNotification> shown() {
    std::vector<ShownNotification> result;
    GVariant* reply = g_dbus_connection_call_sync(
        observer_, "org.freedesktop.Notifications", "/org/freedesktop/Notifications", "org.freedesktop.DBus.Mock",
        "GetCalls", nullptr, G_VARIANT_TYPE("(a(tsav))"), G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
    if (reply == nullptr) return result;
    GVariantIter* calls = nullptr;
    g_variant_get(reply, "(a(tsav))", &calls);
    const gchar* method = nullptr;
    GVariant* args = nullptr;
    while (g_variant_iter_loop(calls, "(t&s@av)", nullptr, &method, &args)) {
      if (std::string(method) != "Notify") continue;
      // app name, replaces id, icon, summary, body, actions, hints, time-out
      std::array<GVariant*, 7> a{};
      for (gsize i = 0; i < a.size(); ++i) g_variant_get_child(args, i, "v", &a[i]);
      const gchar* identifier = "";
      const gchar* sound = "";
      g_variant_lookup(a[6], "x-keel-request-identifier", "&s", &identifier);
      g_variant_lookup(a[6], "sound-name", "&s", &sound);
      result.push_back({g_variant_get_string(a[3], nullptr), g_variant_get_string(a[4], nullptr),
                        g_variant_get_uint32(a[1]), identifier, sound});
      for (GVariant* v : a) g_variant_unref(v);
    }
    g_variant_iter_free(calls);
    g_variant_unref(reply);
    return result;
  }

  DesktopNotificationOptions options(bool turnedOff = false) {
    DesktopNotificationOptions o;
    o.busAddress = bus_.address();
    o.applicationName = "Vantor";
    o.applicationId = "com.brenwick.vantor";
    o.turnedOffByUser = [turnedOff] { return turnedOff; };
    return o;
  }

  template <typename T>
  static T await(std::future<T> future) {
    EXPECT_EQ(future.wait_for(30s), std::future_status::ready);
    return future.get();
  }

  static AuthorizationStatus statusOf(UserNotificationCenter& center) {
    std::promise<AuthorizationStatus> status;
    center.getNotificationSettings([&](NotificationSettings s) { status.set_value(s.authorizationStatus); });
    return await(status.get_future());
  }

  // Returns once everything the centre was asked before, and what that work
  // queued in turn, has run: its queue is serial.
  static void drain(UserNotificationCenter& center) {
    std::promise<void> done;
    center.getNotificationSettings(
        [&](NotificationSettings) { center.getNotificationSettings([&](NotificationSettings) { done.set_value(); }); });
    ASSERT_EQ(done.get_future().wait_for(30s), std::future_status::ready);
  }

  PrivateSessionBus bus_;
  GDBusConnection* observer_ = nullptr;
  std::unique_ptr<ChildProcess> server_;
};

TEST_F(DesktopNotificationsTest, WithAServerAuthorizationIsGrantedAndTwoDeliveriesShowTwoNotifications) {
  startServer();
  DesktopNotificationCenter center(options());
  std::promise<std::pair<bool, std::optional<NotificationError>>> answer;
  Notifications::requestAuthorization(center, [&](bool granted, std::optional<NotificationError> e) {
    answer.set_value({granted, e});
  });
  const auto [granted, error] = await(answer.get_future());
  EXPECT_TRUE(granted);
  EXPECT_FALSE(error.has_value());

  std::promise<std::optional<NotificationError>> first, second;
  Notifications::deliver(center, "Backup", "Done", [&](std::optional<NotificationError> e) { first.set_value(e); });
  Notifications::deliver(center, "Backup", "Done", [&](std::optional<NotificationError> e) { second.set_value(e); });
  EXPECT_FALSE(await(first.get_future()).has_value());
  EXPECT_FALSE(await(second.get_future()).has_value());

  const auto notifications = shown();
  ASSERT_EQ(notifications.size(), 2u);
  for (const auto& n : notifications) {
    EXPECT_EQ(n.title, "Backup");
    EXPECT_EQ(n.body, "Done");
    EXPECT_EQ(n.replacesId, 0u);
    EXPECT_EQ(n.soundName, "message-new-instant");
    EXPECT_EQ(n.requestIdentifier.size(), 36u);
  }
  EXPECT_NE(notifications[0].requestIdentifier, notifications[1].requestIdentifier);
  const auto firstId = center.serverIdentifier(notifications[0].requestIdentifier);
  const auto secondId = center.serverIdentifier(notifications[1].requestIdentifier);
  ASSERT_TRUE(firstId && secondId);
  EXPECT_NE(*firstId, *secondId);
}

TEST_F(DesktopNotificationsTest, WithoutAServerOrTurnedOffByTheUserNothingIsShownAndTheCompletionIsNeverCalled) {
  for (const bool turnedOff : {false, true}) {
    SCOPED_TRACE(turnedOff ? "turned off" : "no server");
    if (turnedOff) startServer();
    DesktopNotificationCenter center(options(turnedOff));
    EXPECT_EQ(statusOf(center), turnedOff ? AuthorizationStatus::denied : AuthorizationStatus::notDetermined);
    std::atomic<bool> called{false};
    Notifications::deliver(center, "Title", "Body", [&](std::optional<NotificationError>) { called = true; });
    drain(center);
    EXPECT_FALSE(called.load());
    EXPECT_TRUE(shown().empty());
    if (turnedOff) continue;
    std::promise<bool> granted;
    Notifications::requestAuthorization(center, [&](bool g, std::optional<NotificationError> e) {
      EXPECT_TRUE(e.has_value());
      granted.set_value(g);
    });
    EXPECT_FALSE(await(granted.get_future()));
  }
}

// A bus that accepts and never answers: the first completion reports the
// failure at the time-out, and the work queued behind it is not held up again.
TEST_F(DesktopNotificationsTest, ASilentBusFailsEachCompletionWithinTheTimeOutAndTheQueueMovesOn) {
  Vantor::Testing::TempDir dir;
  Vantor::Testing::SilentBus silent(dir.path() / "bus");
  DesktopNotificationOptions silentOptions = options();
  silentOptions.busAddress = silent.address();
  silentOptions.responseTimeout = 300ms;
  DesktopNotificationCenter center(silentOptions);
  std::promise<std::pair<bool, std::optional<NotificationError>>> authorization;
  std::promise<AuthorizationStatus> status;
  std::promise<std::optional<NotificationError>> added;
  center.requestAuthorization(7, [&](bool granted, std::optional<NotificationError> error) {
    authorization.set_value({granted, std::move(error)});
  });
  center.getNotificationSettings(
      [&](NotificationSettings settings) { status.set_value(settings.authorizationStatus); });
  center.add({"id", {"Title", "Body", true}}, [&](std::optional<NotificationError> error) { added.set_value(error); });

  auto [granted, error] = await(authorization.get_future());
  EXPECT_FALSE(granted);
  ASSERT_TRUE(error);
  EXPECT_NE(error->description.find("did not answer within 0.3 s"), std::string::npos) << error->description;
  EXPECT_EQ(await(status.get_future()), AuthorizationStatus::notDetermined);
  EXPECT_TRUE(await(added.get_future()).has_value());
}

}  // namespace
}  // namespace Keel
