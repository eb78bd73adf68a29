#include "Plinth/ui/user_interface_qt.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <memory>
#include <string>

#include "Keel/core/fatal_error.h"
#include "Plinth/inventory/alert_qt.h"
#include "Plinth/permissions/folder_access.h"
#include "Plinth/permissions/folder_picker_qt.h"
#include "Plinth/permissions/portal_folder_picker_linux.h"
#include "Plinth/statusitem/appearance.h"
#include "Plinth/statusitem/menu_bar.h"
#include "Plinth/statusitem/status_bar_qt.h"

namespace Plinth {

bool isGlibEventDispatcher(std::string_view dispatcherClassName) {
  return dispatcherClassName.find("Glib") != std::string_view::npos;
}

void installQtUserInterface() {
  QAbstractEventDispatcher* dispatcher = QCoreApplication::eventDispatcher();
  if (QCoreApplication::instance() == nullptr || dispatcher == nullptr) {
    Keel::fatalError("Plinth's Qt user interface needs a QApplication");
  }
  const std::string name = dispatcher->metaObject()->className();
  if (!isGlibEventDispatcher(name)) {
    Keel::fatalError("Qt runs on the event dispatcher " + name +
                     ", not on GLib's: GLib sources would never run (is QT_NO_GLIB set?)");
  }
  QApplication::setQuitOnLastWindowClosed(false);
  AlertPresenter::setShared(std::make_shared<QtAlertPresenter>());
  StatusBar::setSystem(std::make_shared<QtStatusBar>(makeDesktopAppearance(), trayThickness, true));
  setDefaultFolderPicker(std::make_shared<PortalFolderPicker>(std::nullopt, std::make_shared<QtFolderPicker>()));
}

void uninstallQtUserInterface() {
  MenuBar::setStatusItem(nullptr);
  StatusBar::setSystem(nullptr);
  AlertPresenter::setShared(nullptr);
  setDefaultFolderPicker(nullptr);
}

}  // namespace Plinth
