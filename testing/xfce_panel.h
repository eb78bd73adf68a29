// A real StatusNotifierItem host for the tray test and the demo: Debian's
// xfce4-panel with one panel holding only its Status Tray, and the settings
// daemon it reads that panel from, both on the display and session bus of
// this process's environment and stopped with this object.
#pragma once

#include <glib.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace Vantor::Testing {

class ChildProcess;

class XfcePanel {
 public:
  // What is missing for a panel (a program's name), or nothing.
  [[nodiscard]] static std::optional<std::string> missing();

  // Writes the panel's settings under `folder` (a panel `height` pixels high
  // along the top of the screen, tray icons `iconSize` high) and starts the
  // settings daemon, then the panel. Throws std::runtime_error when either
  // cannot start or the daemon does not take its bus name in time.
  XfcePanel(std::filesystem::path folder, int height, int iconSize);
  ~XfcePanel();
  XfcePanel(const XfcePanel&) = delete;
  XfcePanel& operator=(const XfcePanel&) = delete;

  // Waits until the tray's StatusNotifierWatcher is on the bus; false after
  // `timeout` (see log()).
  [[nodiscard]] bool waitForTray(std::chrono::milliseconds timeout);
  // Switches the panel's dark mode, and the tray's icon size; true once the
  // settings daemon took it (the panel redraws afterwards, in its own time).
  bool setDarkMode(bool dark);
  bool setIconSize(int pixels);
  // What the daemon and the panel printed.
  [[nodiscard]] std::string log() const;

 private:
  bool set(const char* property, GVariant* value);  // takes a floating `value`
  std::filesystem::path folder_;
  std::string busAddress_;
  std::unique_ptr<ChildProcess> settings_;
  std::unique_ptr<ChildProcess> panel_;
};

}  // namespace Vantor::Testing
