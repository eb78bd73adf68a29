// The folder picker as Qt's own directory dialog, window-modal on the window
// (a sheet) or free-standing without one.
#pragma once

#include "Plinth/permissions/folder_picker.h"

namespace Plinth {

// Opens a QFileDialog (Qt's widget dialog, so that the start folder, the
// accept label and the no-new-folder setting always apply) and returns at
// once; the completion runs once on the main thread when the dialog closes.
class QtFolderPicker final : public FolderPicker {
 public:
  void beginSheet(const OpenPanelOptions& options, Window* window, FolderPickerCompletion completion) override;
};

}  // namespace Plinth
