// The folder picker that folder-permission requests present: an open panel
// set up to choose one folder, shown as a sheet on a window. The picker is
// injected, so that the permission logic runs without any user interface and
// a toolkit supplies the real panel.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Keel/core/url.h"
#include "Plinth/desktop/window.h"

namespace Plinth {

// How the panel ends: OK (1) when the user chose, cancel (0) otherwise. OK
// keeps the capitals every panel API gives that answer.
enum class ModalResponse : int {
  cancel = 0,
  OK = 1,  // NOLINT(readability-identifier-naming)
};

struct OpenPanelOptions {
  Keel::URL directory;  // the folder the panel starts in
  bool allowsMultipleSelection = false;
  bool canChooseDirectories = true;
  bool canCreateDirectories = false;
  bool canChooseFiles = false;
  std::string prompt;  // the title of the confirming button
};

using FolderPickerCompletion = std::function<void(ModalResponse response, std::optional<Keel::URL> url)>;

class FolderPicker {
 public:
  virtual ~FolderPicker() = default;
  // Presents the panel as a sheet on `window` (free-standing when null) and
  // returns at once. Calls `completion` once, on the main thread, with the
  // response and the chosen folder as a directory URL (absent when the panel
  // has none, which can happen even with OK).
  virtual void beginSheet(const OpenPanelOptions& options, Window* window, FolderPickerCompletion completion) = 0;
};

}  // namespace Plinth
