#include "Plinth/statusitem/appearance.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "testing/bus_client.h"
#include "testing/child_process.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildOptions;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::PrivateSessionBus;

// Serves the default main context (where the source's replies arrive),
// sleeping in it between events, until `condition` holds or `timeout` passes.
bool spinUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout = 5s) {
  bool expired = false;
  const guint timer = g_timeout_add_once(
      static_cast<guint>(timeout.count()), [](gpointer flag) { *static_cast<bool*>(flag) = true; }, &expired);
  while (!condition() && !expired) g_main_context_iteration(nullptr, TRUE);
  if (!expired) g_source_remove(timer);
  return condition();
}

class DesktopAppearance : public ::testing::Test {
 protected:
  PrivateSessionBus bus;
  GDBusConnection* connection = nullptr;
  std::unique_ptr<ChildProcess> desktop;

  void SetUp() override {
    connection = Vantor::Testing::connectToBus(bus.address());
    ASSERT_NE(connection, nullptr);
  }
  void TearDown() override {
    if (connection != nullptr) g_object_unref(connection);
  }

  void startDesktop(const std::string& scheme) {
    desktop = std::make_unique<ChildProcess>(
        ChildOptions{{"/usr/bin/python3", VANTOR_FAKE_DESKTOP, "--portal", "--color-scheme", scheme},
                     {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
    ASSERT_TRUE(Vantor::Testing::waitUntil(
        [&] { return Vantor::Testing::nameHasOwner(connection, "org.vantor.FakeDesktop"); }, 10s));
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
  EXPECT_FALSE(spinUntil([] { return false; }, 200ms));
  EXPECT_EQ(changes, 3);
}

TEST_F(DesktopAppearance, IsLightWithoutAPortalOrABus) {
  Vantor::Testing::TempDir dir;
  Vantor::Testing::SilentBus silent(dir.path() / "bus");
  auto noPortal = makeDesktopAppearance(bus.address());
  auto noBus = makeDesktopAppearance("unix:path=/nonexistent/vantor-bus");
  auto silentBus = makeDesktopAppearance(silent.address());  // returns at once all the same
  // Nothing is to happen, so a quiet period in which any answer is served.
  EXPECT_FALSE(spinUntil([] { return false; }, 200ms));
  EXPECT_EQ(noPortal->appearanceName(), "light");
  EXPECT_EQ(noBus->appearanceName(), "light");
  EXPECT_EQ(silentBus->appearanceName(), "light");
}

}  // namespace
}  // namespace Plinth
