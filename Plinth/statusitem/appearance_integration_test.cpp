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
  for (int i = 0; i < 50; ++i) g_main_context_iteration(nullptr, FALSE);
  EXPECT_EQ(changes, 3);
}

TEST_F(DesktopAppearance, IsLightWithoutAPortalOrABus) {
  Vantor::Testing::TempDir dir;
  Vantor::Testing::SilentBus silent(dir.path() / "bus");
  auto noPortal = makeDesktopAppearance(bus.address());
  auto noBus = makeDesktopAppearance("unix:path=/nonexistent/vantor-bus");
  auto silentBus = makeDesktopAppearance(silent.address());  // returns at once all the same
  for (int i = 0; i < 200; ++i) {
    g_main_context_iteration(nullptr, FALSE);
    g_usleep(1000);
  }
  EXPECT_EQ(noPortal->appearanceName(), "light");
  EXPECT_EQ(noBus->appearanceName(), "light");
  EXPECT_EQ(silentBus->appearanceName(), "light");
  EXPECT_EQ(appearanceNameForColorScheme(0), "light");
  EXPECT_EQ(appearanceNameForColorScheme(7), "light");
}

}  // namespace
}  // namespace Plinth
