#include "Plinth/statusitem/menu_bar_host_view.h"

namespace Plinth {

MenuBarHostView::MenuBarHostView(HostViewPlatform& platform) : platform_(platform) {
  EffectViewSettings settings;
  settings.emphasized = isEmphasized_;
  auto view = platform_.makeEffectView(settings);
  if (view->hasLayer()) {
    view->setMasksToBounds(true);
    // Deliberately not cornerRadius_ (4.0): the background starts a little
    // tighter than the field says until someone sets the field.
    view->setLayerCornerRadius(3.0);
  }
  platform_.addSubviewBelowAll(view);
  effectView_ = view;
  platform_.pinToEdges(view);
}

void MenuBarHostView::setEmphasized(bool emphasized) {
  isEmphasized_ = emphasized;
  platform_.setNeedsDisplay();
}

void MenuBarHostView::setCornerRadius(double radius) {
  cornerRadius_ = radius;
  if (effectView_ && effectView_->hasLayer()) effectView_->setLayerCornerRadius(radius);
}

void MenuBarHostView::draw() {
  if (!effectView_) return;
  const auto highlighted = platform_.enclosingMenuItemIsHighlighted();
  effectView_->setHidden(!highlighted.value_or(false));
}

}  // namespace Plinth
