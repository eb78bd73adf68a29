// The folder picker of a Linux desktop without a toolkit: the desktop
// portal's file chooser (org.freedesktop.portal.FileChooser.OpenFile on the
// session bus), which the desktop shows in its own dialog.
#pragma once

#include <memory>
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
// answers success but names none), cancel when the user cancelled or when the
// bus goes away while the portal's dialog is open. It never blocks that
// thread.
//
// When no session bus or no portal answers (no bus, no connection within 3 s,
// nobody owns the portal's name, an error or no answer to the call within
// 30 s of beginSheet), the request goes to the fallback picker with the same
// options, window and completion; without a fallback it ends with cancel.
class PortalFolderPicker final : public FolderPicker {
 public:
  // `busAddress`: the bus to find the portal on; by default the session bus
  // of the address policy (Keel/core/message_bus_linux.h).
  explicit PortalFolderPicker(std::optional<std::string> busAddress = std::nullopt,
                              std::shared_ptr<FolderPicker> fallback = nullptr)
      : busAddress_(std::move(busAddress)), fallback_(std::move(fallback)) {}
  void beginSheet(const OpenPanelOptions& options, Window* window, FolderPickerCompletion completion) override;

 private:
  std::optional<std::string> busAddress_;
  std::shared_ptr<FolderPicker> fallback_;
};

}  // namespace Plinth
