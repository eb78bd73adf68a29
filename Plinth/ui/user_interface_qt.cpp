#include "Plinth/ui/user_interface_qt.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QFileInfo>
#include <memory>
#include <string>

#include "Keel/core/fatal_error.h"
#include "Plinth/desktop/application_name.h"
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

namespace {

// Qt names windows (the display name) and the tray item's title and id (the
// application name) after the executable unless told otherwise; names the
// program chose itself are kept.
void nameApplication() {
  const QString executable = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
  const bool displayNameChosen = QGuiApplication::applicationDisplayName() != executable;
  const bool nameChosen = QCoreApplication::applicationName() != executable;
  if (displayNameChosen && nameChosen) return;
  const auto name = applicationDisplayName();
  if (!name) return;
  if (!displayNameChosen) QGuiApplication::setApplicationDisplayName(QString::fromStdString(*name));
  if (!nameChosen) QCoreApplication::setApplicationName(QString::fromStdString(*name));
}

}  // namespace

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
  nameApplication();
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
