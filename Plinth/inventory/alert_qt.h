// Alerts shown with QMessageBox.
#pragma once

#include "Plinth/inventory/alert.h"

namespace Plinth {

// The modal form runs QMessageBox::exec() (a nested event loop on the GLib
// main context, so bus replies and posted work keep running); the sheet form
// is a window-modal box opened on the window and deleted when it closes.
// Buttons keep the order they were added in; the first is the default and
// the escape button.
class QtAlertPresenter final : public AlertPresenter {
 public:
  int runModal(const AlertContent& content) override;
  void beginSheet(const AlertContent& content, Window* window, AlertCompletion completion) override;
};

}  // namespace Plinth
