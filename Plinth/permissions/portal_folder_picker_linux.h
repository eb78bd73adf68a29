// The folder picker of a Linux desktop without a toolkit: the desktop
// portal's file chooser (org.freedesktop.portal.FileChooser.OpenFile on the
// session bus), which the desktop shows in its own dialog.
#pragma once

#include <optional>
#include <string>

#include "Plinth/permissions/folder_picker.h"

namespace Plinth {

// Asks the portal for one folder: "directory" and "multiple" from the
// options, "current_folder" the starting folder's path as NUL-terminated bytes,
// "accept_label" the prompt. The portal has no window of ours to attach to
// and cannot forbid creating folders, so the window and canCreateDirectories
// are not passed on.
//
// Everything runs on the thread-default main context of the thread that calls
// beginSheet, and the completion is called there, once: OK with the folder's
// directory URL when the user chose one (OK without a URL when the portal
// answers success but names none), cancel when the user cancelled, when no
// session bus or no portal is there, or when the bus goes away first. It
// never blocks that thread.
class PortalFolderPicker final : public FolderPicker {
 public:
  // `busAddress`: the bus to find the portal on; by default the session bus
  // of DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus when that socket
  // exists. No bus is never launched.
  explicit PortalFolderPicker(std::optional<std::string> busAddress = std::nullopt)
      : busAddress_(std::move(busAddress)) {}
  void beginSheet(const OpenPanelOptions& options, Window* window, FolderPickerCompletion completion) override;

 private:
  std::optional<std::string> busAddress_;
};

}  // namespace Plinth
