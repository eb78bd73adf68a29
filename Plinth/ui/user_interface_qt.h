// Turning on Plinth's Qt user interface in a program.
#pragma once

#include <string_view>

namespace Plinth {

// Call once on the main thread after the QApplication exists and before any
// alert, status item or picker is made. Checks that Qt runs on GLib's event
// dispatcher (Keel's run loop, GDBus replies and the appearance portal are
// GLib main-context sources, so Qt must iterate that context) and stops the
// process with a message naming the dispatcher otherwise (QT_NO_GLIB set, or
// a Qt built without GLib). Gives the application the name of its bundle or
// desktop entry (applicationDisplayName), as display name and application
// name, unless the program chose them, so that windows and the tray show it. Then installs, as the process's own: the Qt alert
// presenter; a tray status bar that follows the desktop's colour scheme (and
// makes the application's palette follow it); and the folder picker of
// permission requests (the desktop portal's, or Qt's directory dialog when no
// portal answers). Keeps the application alive when its last window closes
// (a status-item program has no main window).
void installQtUserInterface();

// Takes back what installQtUserInterface installed, and MenuBar's status
// item: call before the QApplication goes, so no widget outlives it.
void uninstallQtUserInterface();

// Both, as the lifetime of a value made right after the QApplication.
class QtUserInterface {
 public:
  QtUserInterface() { installQtUserInterface(); }
  ~QtUserInterface() { uninstallQtUserInterface(); }
  QtUserInterface(const QtUserInterface&) = delete;
  QtUserInterface& operator=(const QtUserInterface&) = delete;
};

// True when `dispatcherClassName` is one of Qt's GLib event dispatchers
// (QEventDispatcherGlib, QPAEventDispatcherGlib, QXcbGlibEventDispatcher).
[[nodiscard]] bool isGlibEventDispatcher(std::string_view dispatcherClassName);

}  // namespace Plinth
