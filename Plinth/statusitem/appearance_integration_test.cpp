#include "Plinth/statusitem/appearance.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "testing/child_process.h"
#include "testing/private_session_bus.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildOptions;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::PrivateSessionBus;

// Iterates the default main context (where the source's replies arrive)
// until `condition` holds or five seconds pass.
bool spinUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + 5s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    g_main_context_iteration(nullptr, FALSE);
    g_usleep(1000);
  }
  return true;
}

class DesktopAppearance : public ::testing::Test {
 protected:
  PrivateSessionBus bus;
  GDBusConnection* connection = nullptr;
  std::unique_ptr<ChildProcess> desktop;

  void SetUp() override {
    connection = g_dbus_connection_new_for_address_sync(
        bus.address().c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    ASSERT_NE(connection, nullptr);
    g_dbus_connection_set_exit_on_close(connection, FALSE);
  }
  void TearDown() override {
    if (connection != nullptr) g_object_unref(connection);
  }

  void startDesktop(const std::string& scheme) {
    desktop = std::make_unique<ChildProcess>(
        ChildOptions{{"/usr/bin/python3", VANTOR_FAKE_DESKTOP, "--portal", "--color-scheme", scheme},
                     {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
    ASSERT_TRUE(Vantor::Testing::waitUntil([&] { return hasOwner("org.vantor.FakeDesktop"); }, 10s));
  }

  bool hasOwner(const char* name) {
    GVariant* reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
        g_variant_new("(s)", name), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, nullptr);
    if (reply == nullptr) return false;
    gboolean owned = FALSE;
    g_variant_get(reply, "(b)", &owned);
    g_variant_unref(reply);
    return owned != FALSE;
  }

  void setColorScheme(std::uint32_t scheme) {
    GVariant* reply = g_dbus_connection_call_sync(
        connection, "org.vantor.FakeDesktop", "/org/vantor/FakeDesktop", "org.vantor.FakeDesktop", "SetColorScheme",
        g_variant_new("(u)", scheme), nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
    ASSERT_NE(reply, nullptr);
    g_variant_unref(reply);
  }
};

TEST_F(DesktopAppearance, ReadsThePortalsColourSchemeAndFollowsItsChanges) {
  startDesktop("1");
  auto appearance = makeDesktopAppearance(bus.address());
  int changes = 0;
  appearance->setChangeHandler([&] { ++changes; });
  EXPECT_EQ(appearance->appearanceName(), "light");  // nothing has answered yet
  ASSERT_TRUE(spinUntil([&] { return appearance->appearanceName() == "dark"; }));
  EXPECT_EQ(changes, 1);

  setColorScheme(2);
  ASSERT_TRUE(spinUntil([&] { return changes == 2; }));
  EXPECT_EQ(appearance->appearanceName(), "light");
  setColorScheme(1);
  ASSERT_TRUE(spinUntil([&] { return changes == 3; }));
  EXPECT_EQ(appearance->appearanceName(), "dark");

  // Destroyed while the bus may still answer: no handler runs afterwards.
  setColorScheme(0);
  appearance.reset();
  for (int i = 0; i < 50; ++i) g_main_context_iteration(nullptr, FALSE);
  EXPECT_EQ(changes, 3);
}

TEST_F(DesktopAppearance, IsLightWithoutAPortalOrABus) {
  auto noPortal = makeDesktopAppearance(bus.address());
  auto noBus = makeDesktopAppearance("unix:path=/nonexistent/vantor-bus");
  for (int i = 0; i < 200; ++i) {
    g_main_context_iteration(nullptr, FALSE);
    g_usleep(1000);
  }
  EXPECT_EQ(noPortal->appearanceName(), "light");
  EXPECT_EQ(noBus->appearanceName(), "light");
  EXPECT_EQ(appearanceNameForColorScheme(0), "light");
  EXPECT_EQ(appearanceNameForColorScheme(7), "light");
}

}  // namespace
}  // namespace Plinth
