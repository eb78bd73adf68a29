// The tray item for real: Qt on an X server (Xvfb) exporting the item as a
// StatusNotifierItem on a private session bus, where a fake watcher and a
// fake portal (testing/fake_desktop.py) stand in for the desktop. Qt picks
// its session bus and its tray protocol once, when the application and the
// first icon are made, so the checks run in a child copy of this binary
// started under xvfb-run with the bus in its environment.
#include "Plinth/statusitem/status_bar_qt.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "Plinth/statusitem/menu_bar_item_controller.h"
#include "testing/bus_client.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/private_session_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

bool onPath(const char* program) {
  gchar* found = g_find_program_in_path(program);
  const bool there = found != nullptr;
  g_free(found);
  return there;
}

using Vantor::Testing::connectToBus;

// An asynchronous call, answered while the Qt (GLib) loop keeps running: the
// item being asked lives in this very process. The reply as GVariant prints
// it; nothing when the call failed.
std::optional<std::string> call(GDBusConnection* connection, const char* name, const char* path, const char* interface,
                                const char* method, GVariant* parameters) {
  struct Reply {
    bool done = false;
    GVariant* value = nullptr;
  } reply;
  g_dbus_connection_call(
      connection, name, path, interface, method, parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* r = static_cast<Reply*>(data);
        r->value = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr);
        r->done = true;
      },
      &reply);
  while (!reply.done) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
  if (reply.value == nullptr) return std::nullopt;
  gchar* printed = g_variant_print(reply.value, FALSE);
  std::string text = printed;
  g_free(printed);
  g_variant_unref(reply.value);
  return text;
}

std::optional<std::string> callDesktop(GDBusConnection* connection, const char* method, GVariant* parameters) {
  return call(connection, "org.vantor.FakeDesktop", "/org/vantor/FakeDesktop", "org.vantor.FakeDesktop", method,
              parameters);
}

bool spinUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  }
  return true;
}

class RecordingDelegate : public MenuBarDelegate {
 public:
  std::vector<MenuBarTheme> themes;
  void menuBarItemsDidChange() override {}
  void menuBarThemeDidChange(MenuBarTheme theme) override { themes.push_back(theme); }
};

// Runs only in the child (VANTOR_TRAY_PROBE set), on xcb under Xvfb.
TEST(TrayProbe, RegistersRedrawsAndFollowsTheColourScheme) {
  const char* address = std::getenv("VANTOR_TRAY_PROBE");  // NOLINT(concurrency-mt-unsafe)
  if (address == nullptr) GTEST_SKIP() << "runs as the child of TrayIcon.UnderXvfb";
  ASSERT_EQ(QGuiApplication::platformName(), "xcb");
  GDBusConnection* bus = connectToBus(address);
  ASSERT_NE(bus, nullptr);

  auto bar = std::make_shared<QtStatusBar>(makeDesktopAppearance(address), trayThickness);
  auto* text = new QLabel("V");
  text->setGeometry(0, 0, 22, 22);
  MenuBarItemController controller(std::make_shared<QtView>(text), bar);
  auto delegate = std::make_shared<RecordingDelegate>();
  controller.setDelegate(delegate);
  EXPECT_TRUE(bar->isVisible());

  // The item registers with the watcher.
  std::string service;
  ASSERT_TRUE(spinUntil([&] {
    const std::string items = callDesktop(bus, "RegisteredItems", nullptr).value_or("");  // (['name', ...],)
    const auto open = items.find('\'');
    if (open != std::string::npos) service = items.substr(open + 1, items.find('\'', open + 1) - open - 1);
    return !service.empty();
  }));

  const auto pixmap = [&] {
    return call(bus, service.c_str(), "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                g_variant_new("(ss)", "org.kde.StatusNotifierItem", "IconPixmap"))
        .value_or("");
  };
  const std::string before = pixmap();
  EXPECT_NE(before.find("22, 22"), std::string::npos) << before.substr(0, 80);

  // A second view widens the button and changes the exported pixmap.
  auto* more = new QLabel("W");
  more->setGeometry(22, 0, 22, 22);
  controller.item()->add(std::make_shared<QtView>(more));
  EXPECT_TRUE(spinUntil([&] { return pixmap() != before; }));

  // The portal's change signal reaches the controller's delegate.
  ASSERT_TRUE(callDesktop(bus, "SetColorScheme", g_variant_new("(u)", 1U)));
  EXPECT_TRUE(spinUntil([&] { return !delegate->themes.empty(); }));
  EXPECT_EQ(delegate->themes, std::vector<MenuBarTheme>{MenuBarTheme::dark});
  MenuBar::setStatusItem(nullptr);
  g_object_unref(bus);
}

TEST(TrayIcon, UnderXvfb) {
  if (std::getenv("VANTOR_TRAY_PROBE") != nullptr) GTEST_SKIP() << "this is the child";  // NOLINT
  if (!onPath("xvfb-run") || !onPath("Xvfb")) GTEST_SKIP() << "xvfb-run is not installed";
  Vantor::Testing::PrivateSessionBus bus;
  // The watcher must be on the bus before Qt makes its first tray icon.
  Vantor::Testing::ChildProcess desktop(Vantor::Testing::ChildOptions{
      {"/usr/bin/python3", VANTOR_FAKE_DESKTOP, "--portal", "--watcher", "--color-scheme", "2"},
      {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
  GDBusConnection* connection = connectToBus(bus.address());
  ASSERT_NE(connection, nullptr);
  ASSERT_TRUE(Vantor::Testing::waitUntil(
      [&] { return Vantor::Testing::nameHasOwner(connection, "org.vantor.FakeDesktop"); }, 10s));
  g_object_unref(connection);

  Vantor::Testing::TempDir dir;
  const fs::path log = dir.path() / "probe.log";
  Vantor::Testing::ChildProcess probe(Vantor::Testing::ChildOptions{
      {"xvfb-run", "-a", fs::read_symlink("/proc/self/exe").string(), "--gtest_filter=TrayProbe.*"},
      {{"DBUS_SESSION_BUS_ADDRESS", bus.address()},
       {"VANTOR_TRAY_PROBE", bus.address()},
       {"QT_QPA_PLATFORM", "xcb"},
       {"DISPLAY", std::nullopt}},
      log,
      log,
      true});
  const auto status = probe.waitForExit(60s);
  if (!status) probe.killGroup(SIGKILL);
  const std::string output = Vantor::Testing::fileText(log);
  ASSERT_TRUE(status) << "the probe did not finish\n" << output;
  EXPECT_EQ(*status, 0) << output;
  EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
}

}  // namespace
}  // namespace Plinth
