// The tray item for real: Qt on an X server (Xvfb) exporting the item as a
// StatusNotifierItem on a private session bus, where a fake watcher and a
// fake portal (testing/fake_desktop.py) stand in for the desktop. Qt picks
// its session bus and its tray protocol once, when the application and the
// first icon are made, so the checks run in a child copy of this binary
// started under xvfb-run with the bus in its environment.
#include "Plinth/statusitem/status_bar_qt.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QApplication>
#include <QLabel>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "Plinth/statusitem/menu_bar_item_controller.h"
#include "testing/bus_client.h"
#include "testing/child_process.h"
#include "testing/private_session_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

bool onPath(const char* program) {
  const char* path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe)
  std::stringstream folders(path != nullptr ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (!folder.empty() && ::access((fs::path(folder) / program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

using Vantor::Testing::connectToBus;

// An asynchronous call, answered while the Qt (GLib) loop keeps running: the
// item being asked lives in this very process.
GVariant* call(GDBusConnection* connection, const char* name, const char* path, const char* interface,
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
  return reply.value;
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
    GVariant* items = call(bus, "org.vantor.FakeDesktop", "/org/vantor/FakeDesktop", "org.vantor.FakeDesktop",
                           "RegisteredItems", nullptr);
    if (items == nullptr) return false;
    GVariant* list = g_variant_get_child_value(items, 0);
    if (g_variant_n_children(list) > 0) {
      GVariant* first = g_variant_get_child_value(list, 0);
      service = g_variant_get_string(first, nullptr);
      g_variant_unref(first);
    }
    g_variant_unref(list);
    g_variant_unref(items);
    return !service.empty();
  }));

  const auto pixmap = [&] {
    GVariant* reply = call(bus, service.c_str(), "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                           g_variant_new("(ss)", "org.kde.StatusNotifierItem", "IconPixmap"));
    if (reply == nullptr) return std::string();
    gchar* printedText = g_variant_print(reply, FALSE);
    std::string printed = printedText;
    g_free(printedText);
    g_variant_unref(reply);
    return printed;
  };
  const std::string before = pixmap();
  EXPECT_NE(before.find("22, 22"), std::string::npos) << before.substr(0, 80);

  // A second view widens the button and changes the exported pixmap.
  auto* more = new QLabel("W");
  more->setGeometry(22, 0, 22, 22);
  controller.item()->add(std::make_shared<QtView>(more));
  EXPECT_TRUE(spinUntil([&] { return pixmap() != before; }));

  // The portal's change signal reaches the controller's delegate.
  GVariant* set = call(bus, "org.vantor.FakeDesktop", "/org/vantor/FakeDesktop", "org.vantor.FakeDesktop",
                       "SetColorScheme", g_variant_new("(u)", 1U));
  ASSERT_NE(set, nullptr);
  g_variant_unref(set);
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
  std::ifstream in(log);
  const std::string output((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_TRUE(status) << "the probe did not finish\n" << output;
  EXPECT_EQ(*status, 0) << output;
  EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
}

}  // namespace
}  // namespace Plinth
