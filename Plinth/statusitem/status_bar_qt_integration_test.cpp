// The tray item in a real StatusNotifierItem host (xfce4-panel's Status Tray) on Xvfb and a
// private bus. Qt picks its bus and tray protocol once, at its first icon, so the checks run
// in a child copy of this binary under xvfb-run, which starts the panel before that icon.
#include "Plinth/statusitem/status_bar_qt.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QApplication>
#include <QGuiApplication>
#include <QLabel>
#include <QMenu>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <utility>

#include "Plinth/statusitem/menu_bar_host_view_qt.h"
#include "Plinth/statusitem/menu_bar_item_controller.h"
#include "testing/bus_client.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/panel_shot.h"
#include "testing/private_session_bus.h"
#include "testing/temp_dir.h"
#include "testing/xfce_panel.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Vantor::Testing::ChildOptions;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::connectToBus;

constexpr int panelHeight = 40;
using Vantor::Testing::PanelShot;
using Vantor::Testing::spinUntil;

// GVariant's text of `value` (which it releases); empty for none.
std::string printed(GVariant* value) {
  if (value == nullptr) return {};
  gchar* text = g_variant_print(value, FALSE);
  std::string result = text;
  g_free(text);
  g_variant_unref(value);
  return result;
}

// An asynchronous call, since the item asked lives in this process's loop; null when it failed.
GVariant* call(GDBusConnection* connection, const std::string& name, const char* path, const char* interface,
               const char* method, GVariant* parameters) {
  struct Reply {
    bool done = false;
    GVariant* value = nullptr;
  } reply;
  g_dbus_connection_call(
      connection, name.c_str(), path, interface, method, parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* r = static_cast<Reply*>(data);
        r->value = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr);
        r->done = true;
      },
      &reply);
  while (!reply.done) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
  return reply.value;
}

// A property's value, unwrapped from Get's (v); null when the call failed.
GVariant* property(GDBusConnection* connection, const std::string& name, const char* path, const char* interface,
                   const char* key) {
  GVariant* reply =
      call(connection, name, path, "org.freedesktop.DBus.Properties", "Get", g_variant_new("(ss)", interface, key));
  GVariant* value = nullptr;
  if (reply != nullptr) g_variant_get(reply, "(v)", &value);
  if (reply != nullptr) g_variant_unref(reply);
  return value;
}

// Runs only in the child; VANTOR_PANEL_PROBE names a folder for the panel's settings and shots.
TEST(PanelProbe, RegistersWithTheHostLabelsItsMenuAndStaysReadable) {
  const char* configHome = std::getenv("VANTOR_PANEL_PROBE");  // NOLINT(concurrency-mt-unsafe)
  if (configHome == nullptr) GTEST_SKIP() << "runs as the child of RealPanel.ShowsTheItem";
  ASSERT_EQ(QGuiApplication::platformName(), "xcb");
  GDBusConnection* bus = connectToBus(std::getenv("DBUS_SESSION_BUS_ADDRESS"));  // NOLINT(concurrency-mt-unsafe)
  ASSERT_NE(bus, nullptr);

  const fs::path logs = fs::path(configHome) / "logs";
  fs::create_directories(logs);
  Vantor::Testing::XfcePanel panel(configHome, panelHeight, 16);
  // The watcher must be on the bus before Qt makes its first tray icon.
  if (!panel.waitForTray(20s)) GTEST_SKIP() << "xfce4-panel did not start its tray:\n" << panel.log();

  // As QtUserInterface names an application from its bundle.
  QCoreApplication::setApplicationName("Vantor");
  QGuiApplication::setApplicationDisplayName("Vantor");
  auto appearance = std::make_shared<FixedAppearance>("light");
  auto bar = std::make_shared<QtStatusBar>(appearance, trayThickness);
  auto* glyph = new QLabel("V");
  QFont font = glyph->font();
  font.setPixelSize(18);
  font.setBold(true);
  glyph->setFont(font);
  glyph->setAlignment(Qt::AlignCenter);
  glyph->setGeometry(0, 0, 22, 22);
  MenuBarItemController controller(std::make_shared<QtView>(glyph), bar);
  auto& item = static_cast<QtStatusItem&>(*controller.item()->item());
  QMenu menu;
  const auto entry = [](const char* text) {
    auto* view = new QtMenuBarHostView;
    new QLabel(text, view);
    return view;
  };
  auto* quit = entry("Quit");
  quit->setTitle("Quit Vantor");
  QWidgetAction* actions[] = {QtMenuBarHostView::addToMenu(&menu, entry("Open Vantor")),
                              QtMenuBarHostView::addToMenu(&menu, entry("Check for Updates…")),
                              QtMenuBarHostView::addToMenu(&menu, quit)};
  int opened = 0;
  QObject::connect(actions[0], &QAction::triggered, [&] { ++opened; });
  item.setMenu(&menu);

  // The host's watcher lists the item by its connection, which is ours.
  const auto ownedByUs = [&](const std::string& name) {
    return printed(g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                               "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                                               g_variant_new("(s)", name.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE,
                                               5000, nullptr, nullptr)) == "(" + std::to_string(getpid()) + ",)";
  };
  std::string service;
  std::string seen;
  ASSERT_TRUE(spinUntil([&] {
    GVariant* items = property(bus, "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                               "org.kde.StatusNotifierWatcher", "RegisteredStatusNotifierItems");
    if (items == nullptr) return false;
    seen.clear();
    for (gsize i = 0; i < g_variant_n_children(items); ++i) {
      const gchar* registered = nullptr;
      g_variant_get_child(items, i, "&s", &registered);
      const std::string text = registered;
      const std::string name = text.substr(0, text.find('/'));
      seen += text + " ";
      if (ownedByUs(name)) service = name;
    }
    g_variant_unref(items);
    return !service.empty();
  })) << "the item never registered with the panel's watcher, which lists "
      << seen;

  // The menu as the host reads it: every entry has its text.
  const std::string layout = printed(call(bus, service, "/MenuBar", "com.canonical.dbusmenu", "GetLayout",
                                          g_variant_new("(ii@as)", 0, -1, g_variant_new_strv(nullptr, 0))));
  for (const std::string label : {"Open Vantor", "Check for Updates…", "Quit Vantor"}) {
    EXPECT_NE(layout.find("'label': <'" + label + "'>"), std::string::npos) << layout;
  }

  // Clicking an entry in the host runs its action.
  std::smatch open;
  ASSERT_TRUE(std::regex_search(layout, open, std::regex(R"(<\((\d+), \{[^}]*'label': <'Open Vantor'>)")));
  printed(call(bus, service, "/MenuBar", "com.canonical.dbusmenu", "Event",
               g_variant_new("(isvu)", std::stoi(open[1]), "clicked", g_variant_new_int32(0), 0U)));
  EXPECT_TRUE(spinUntil([&] { return opened == 1; }));

  // The application's name, not the executable's.
  const auto itemProperty = [&](const char* key) {
    return printed(property(bus, service, "/StatusNotifierItem", "org.kde.StatusNotifierItem", key));
  };
  EXPECT_EQ(itemProperty("Title"), "'Vantor'");
  EXPECT_NE(itemProperty("ToolTip").find("'Vantor'"), std::string::npos) << itemProperty("ToolTip");

  // Readable on a light and a dark panel, whatever the colour scheme, at the panel's icon sizes.
  QImage before;
  for (const bool darkPanel : {false, true}) {
    ASSERT_TRUE(panel.setDarkMode(darkPanel));
    std::map<std::string, int> lastHeight;  // per scheme: the host takes a larger pixmap for a larger size
    for (const int size : {16, 22, 32}) {
      ASSERT_TRUE(panel.setIconSize(size));
      for (const char* scheme : {"light", "dark"}) {
        appearance->setAppearanceName(scheme);
        const PanelShot shot = Vantor::Testing::settledShotAfter(before, panelHeight);
        before = shot.strip;
        const std::string name = std::string(darkPanel ? "dark" : "light") + " panel, " + scheme + " scheme, " +
                                 std::to_string(size) + " px";
        std::printf("contrast %s: best %.1f:1, %d pixels at 4.5:1 or more, icon %dx%d, background #%06x\n",
                    name.c_str(), shot.best, shot.readablePixels, shot.icon.width(), shot.icon.height(),
                    shot.background & 0xffffffU);
        EXPECT_GE(shot.best, 7.0) << name;
        EXPECT_GE(shot.readablePixels, size) << name;  // a stroke's worth, not a stray pixel
        EXPECT_LE(shot.icon.height(), size + 2) << name;
        EXPECT_GT(shot.icon.height(), std::exchange(lastHeight[scheme], shot.icon.height())) << name;
        // The panel as it looked, for people reading the log's numbers.
        shot.strip.copy(0, 0, 120, panelHeight).save(QString::fromStdString((logs / (name + ".png")).string()));
      }
    }
  }

  item.setMenu(nullptr);
  MenuBar::setStatusItem(nullptr);
  g_object_unref(bus);
}

TEST(RealPanel, ShowsTheItem) {
  if (std::getenv("VANTOR_PANEL_PROBE") != nullptr) GTEST_SKIP() << "this is the child";  // NOLINT
  auto missing = Vantor::Testing::XfcePanel::missing();
  for (const char* program : {"/usr/bin/xvfb-run", "/usr/bin/Xvfb"}) {
    if (!fs::exists(program)) missing = program;
  }
  if (missing) GTEST_SKIP() << *missing << " is not installed (scripts/setup.sh installs it)";
  Vantor::Testing::PrivateSessionBus bus;
  Vantor::Testing::TempDir dir;
  const fs::path log = dir.path() / "probe.log";
  ChildProcess probe(ChildOptions{{"xvfb-run", "-a", "-s", "-screen 0 640x200x24",
                                   fs::read_symlink("/proc/self/exe").string(), "--gtest_filter=PanelProbe.*"},
                                  {{"DBUS_SESSION_BUS_ADDRESS", bus.address()},
                                   {"VANTOR_PANEL_PROBE", dir.path().string()},
                                   {"QT_QPA_PLATFORM", "xcb"},
                                   {"DISPLAY", std::nullopt}},
                                  log,
                                  log,
                                  true});
  const auto status = probe.waitForExit(120s);
  if (!status) probe.killGroup(SIGKILL);
  const std::string output = Vantor::Testing::fileText(log);
  ASSERT_TRUE(status) << "the probe did not finish\n" << output;
  if (output.find("[  SKIPPED ] 1 test") != std::string::npos) GTEST_SKIP() << output;
  EXPECT_EQ(*status, 0) << output;
  EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
  // The measured contrasts, in the test's own output.
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("contrast ", 0) == 0) std::printf("%s\n", line.c_str());
  }
}

}  // namespace
}  // namespace Plinth
