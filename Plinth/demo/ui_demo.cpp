// vantor-ui-demo: Plinth's Qt user interface on an X display (make demo-ui
// runs it under Xvfb). It starts a session bus of its own with a real tray
// host (xfce4-panel) and a stand-in for the portal's colour scheme, shows a
// status item with a menu of host views in the panel, opens that menu in the
// panel as a user would (a right click, through xdotool), switches the panel
// and the desktop to dark, asks a confirmation, and saves screenshots of each
// step into the folder named on its command line.
#include <gio/gio.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "Plinth/inventory/alert.h"
#include "Plinth/statusitem/menu_bar_host_view_qt.h"
#include "Plinth/statusitem/menu_bar_item_controller.h"
#include "Plinth/statusitem/status_bar_qt.h"
#include "Plinth/ui/user_interface_qt.h"
#include "testing/bus_client.h"
#include "testing/child_process.h"
#include "testing/panel_shot.h"
#include "testing/private_session_bus.h"
#include "testing/xfce_panel.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
constexpr int panelHeight = 32;

class Narrator : public Plinth::MenuBarDelegate {
 public:
  void menuBarItemsDidChange() override { std::puts("  the controller's items changed"); }
  void menuBarThemeDidChange(Plinth::MenuBarTheme theme) override {
    std::printf("  the menu bar is now %s\n", std::string(Plinth::rawValue(theme)).c_str());
  }
};

Plinth::QtMenuBarHostView* entry(const QString& text) {
  auto* view = new Plinth::QtMenuBarHostView;
  auto* layout = new QHBoxLayout(view);
  layout->setContentsMargins(12, 5, 12, 5);
  layout->addWidget(new QLabel(text));
  view->setMinimumSize(220, 30);
  return view;
}

void save(const QPixmap& pixmap, const fs::path& folder, const std::string& name) {
  const fs::path file = folder / (name + ".png");
  if (pixmap.save(QString::fromStdString(file.string()))) std::printf("  saved %s\n", file.c_str());
}

// The stand-in desktop takes its control name last, once all is in place.
bool desktopIsReady(const std::string& address) {
  GDBusConnection* bus = Vantor::Testing::connectToBus(address);
  if (bus == nullptr) return false;
  const bool ready = Vantor::Testing::nameHasOwner(bus, "org.vantor.FakeDesktop");
  g_object_unref(bus);
  return ready;
}

void setColorScheme(const std::string& address, std::uint32_t scheme) {
  GDBusConnection* bus = Vantor::Testing::connectToBus(address);
  if (bus == nullptr) return;
  GVariant* reply = g_dbus_connection_call_sync(
      bus, "org.vantor.FakeDesktop", "/org/vantor/FakeDesktop", "org.vantor.FakeDesktop", "SetColorScheme",
      g_variant_new("(u)", scheme), nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
  if (reply != nullptr) g_variant_unref(reply);
  g_object_unref(bus);
}

}  // namespace

int main(int argc, char** argv) {
  const fs::path folder = argc > 1 ? fs::path(argv[1]) : fs::current_path() / "screenshots";
  fs::create_directories(folder);
  if (std::getenv("DISPLAY") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    std::fputs("vantor-ui-demo needs an X display: run it with xvfb-run -a (make demo-ui does)\n", stderr);
    return 2;
  }

  std::puts("1. A session bus of our own, with the portal's colour scheme (light) and xfce4-panel's tray");
  if (auto missing = Vantor::Testing::XfcePanel::missing()) {
    std::fprintf(stderr, "%s is not installed: make setup installs it\n", missing->c_str());
    return 1;
  }
  Vantor::Testing::PrivateSessionBus bus;
  setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);  // before Qt connects to it
  Vantor::Testing::ChildProcess desktop(Vantor::Testing::ChildOptions{
      {"/usr/bin/python3", VANTOR_FAKE_DESKTOP, "--portal", "--color-scheme", "2"}});
  if (!Vantor::Testing::waitUntil([&] { return desktopIsReady(bus.address()); }, 10s)) {
    std::fputs("the stand-in desktop did not start (is python3-gi installed?)\n", stderr);
    return 1;
  }
  const fs::path panelFolder = folder / "panel";
  Vantor::Testing::XfcePanel panel(panelFolder, panelHeight, 22);
  // The watcher must be on the bus before Qt makes its first tray icon.
  if (!panel.waitForTray(20s)) {
    std::fprintf(stderr, "xfce4-panel did not start its tray:\n%s\n", panel.log().c_str());
    return 1;
  }

  setenv("QT_QPA_PLATFORM", "xcb", 1);
  // Qt wants a private runtime folder; one of our own, removed at the end.
  struct RuntimeFolder {
    fs::path path;
    ~RuntimeFolder() {
      std::error_code error;
      if (!path.empty()) fs::remove_all(path, error);
    }
  } runtimeFolder;
  std::string pattern = (fs::temp_directory_path() / "vantor-ui-demo-XXXXXX").string();
  if (std::getenv("XDG_RUNTIME_DIR") == nullptr && mkdtemp(pattern.data()) != nullptr) {  // NOLINT
    runtimeFolder.path = pattern;
    setenv("XDG_RUNTIME_DIR", pattern.c_str(), 1);
  }
  QApplication application(argc, argv);
  Plinth::QtUserInterface userInterface;

  std::puts("2. A status item whose button shows a view, with a menu of host views, in the panel");
  // Named as an application bundle would name it (the demo runs from none).
  QCoreApplication::setApplicationName("Vantor");
  QGuiApplication::setApplicationDisplayName("Vantor");
  auto* icon = new QLabel("V");
  QFont bold = icon->font();
  bold.setPixelSize(18);
  bold.setBold(true);
  icon->setFont(bold);
  icon->setAlignment(Qt::AlignCenter);
  icon->setGeometry(0, 0, 22, 22);
  Plinth::MenuBarItemController controller(std::make_shared<Plinth::QtView>(icon));
  controller.setDelegate(std::make_shared<Narrator>());
  auto& statusItem = static_cast<Plinth::QtStatusItem&>(*controller.item()->item());
  QMenu menu;
  const QString titles[] = {"Open Vantor", "Check for Updates…", "Quit"};
  for (const auto& title : titles) {
    QWidgetAction* action = Plinth::QtMenuBarHostView::addToMenu(&menu, entry(title));
    QObject::connect(action, &QAction::triggered, [title] { std::printf("  chose %s\n", qPrintable(title)); });
  }
  statusItem.setMenu(&menu);
  std::printf("  the tray %s\n", controller.isMenuBarVisible() ? "shows the item" : "is not there");

  QImage before;
  const auto shoot = [&](const std::string& appearance) {
    const auto shot = Vantor::Testing::settledShotAfter(before, panelHeight);
    before = shot.strip;
    std::printf("  the icon's best contrast with the panel: %.1f:1\n", shot.best);
    // Opened as a user would: a right click on the item; the panel draws it.
    const auto below = [] {
      return QGuiApplication::primaryScreen()->grabWindow(0, 0, panelHeight, 360, 160).toImage();
    };
    const QImage closed = below();
    const QPoint at = shot.icon.center();
    Vantor::Testing::ChildProcess click(Vantor::Testing::ChildOptions{
        {"xdotool", "mousemove", std::to_string(at.x()), std::to_string(at.y()), "click", "3"}});
    click.waitForExit(5s);
    if (!Vantor::Testing::spinUntil([&] { return below() != closed; }, 5s)) std::puts("  the panel opened no menu");
    Vantor::Testing::serveEvents(300);  // the menu's fade-in
    save(QGuiApplication::primaryScreen()->grabWindow(0, 0, 0, 360, 200), folder, "menu-" + appearance);
    save(statusItem.iconPixmap(), folder, "icon-" + appearance);
    Vantor::Testing::ChildProcess escape(Vantor::Testing::ChildOptions{{"xdotool", "key", "Escape"}});
    escape.waitForExit(5s);
  };
  shoot("light");

  std::puts("3. The panel and the desktop switch to dark (the portal's SettingChanged)");
  panel.setDarkMode(true);
  setColorScheme(bus.address(), 1);
  Vantor::Testing::spinUntil([&] { return controller.theme() == Plinth::MenuBarTheme::dark; });
  shoot("dark");

  std::puts("4. A confirmation (Return answers the default, No)");
  QTimer::singleShot(300, [&] {
    if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
      save(box->grab(), folder, "alert-dark");
      QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
      QApplication::sendEvent(box, &press);
    }
  });
  const bool yes = Plinth::Alert::confirm("Remove Vantor from the menu bar?", "You can add it again in Settings.");
  std::printf("  answered %s\n", yes ? "yes" : "no");
  return 0;
}
