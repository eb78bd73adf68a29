// A Qt widget's window as the portable Window that sheets attach to.
#pragma once

#include <QPointer>
#include <QWidget>

#include "Plinth/desktop/window.h"

namespace Plinth {

class QtWindow : public Window {
 public:
  explicit QtWindow(QWidget* widget) : widget_(widget) {}
  // The widget, or null once Qt destroyed it.
  [[nodiscard]] QWidget* widget() const { return widget_.data(); }

  // The widget of `window` when it is a QtWindow, else null.
  [[nodiscard]] static QWidget* widgetOf(Window* window) {
    auto* qtWindow = dynamic_cast<QtWindow*>(window);
    return qtWindow != nullptr ? qtWindow->widget() : nullptr;
  }

 private:
  QPointer<QWidget> widget_;
};

}  // namespace Plinth
