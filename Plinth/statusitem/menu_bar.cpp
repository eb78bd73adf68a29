#include "Plinth/statusitem/menu_bar.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <utility>

namespace Plinth {

namespace {

struct MenuBarState {
  std::shared_ptr<StatusItem> statusItem;
  double innerSpacing = 2.0;
  double outerSpacing = 3.0;
};

MenuBarState& state() {
  static MenuBarState menuBar;
  return menuBar;
}

}  // namespace

std::shared_ptr<StatusItem> MenuBar::statusItem() { return state().statusItem; }
void MenuBar::setStatusItem(std::shared_ptr<StatusItem> item) { state().statusItem = std::move(item); }
double MenuBar::thickness() { return StatusBar::system()->thickness(); }
double MenuBar::innerSpacing() { return state().innerSpacing; }
void MenuBar::setInnerSpacing(double spacing) { state().innerSpacing = spacing; }
double MenuBar::outerSpacing() { return state().outerSpacing; }
void MenuBar::setOuterSpacing(double spacing) { state().outerSpacing = spacing; }

bool isDarkAppearanceName(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower.find("dark") != std::string::npos;
}

bool MenuBar::isDark() {
  const auto item = statusItem();
  StatusBarButton* button = item ? item->button() : nullptr;
  return button != nullptr && isDarkAppearanceName(button->effectiveAppearanceName());
}

Color MenuBar::contentColor() { return isDark() ? Color::white() : Color::black(); }

MenuBarItem::MenuBarItem(const std::shared_ptr<StatusBar>& bar) : item_(bar->statusItem(variableStatusItemLength)) {}

MenuBarItem::MenuBarItem(Image image, const std::shared_ptr<StatusBar>& bar) : MenuBarItem(bar) {
  if (auto* button = item_->button()) {
    button->setImagePosition(ImagePosition::imageLeft);
    button->setImage(std::move(image));
  }
}

MenuBarItem::MenuBarItem(std::shared_ptr<View> view, const std::shared_ptr<StatusBar>& bar) : MenuBarItem(bar) {
  add(std::move(view));
}

MenuBarItem::MenuBarItem(const std::vector<std::shared_ptr<View>>& views, const std::shared_ptr<StatusBar>& bar)
    : MenuBarItem(bar) {
  for (const auto& view : views) add(view);
}

void MenuBarItem::add(std::shared_ptr<View> view) {
  if (auto* button = item_->button()) button->addSubview(std::move(view));
}

void MenuBarItem::setAction(const void* target, std::function<void()> action, int tag) {
  if (auto* button = item_->button()) {
    button->setTarget(target);
    button->setAction(std::move(action));
    button->setTag(tag);
  }
}

void MenuBarItem::clearAction() { setAction(nullptr, nullptr, 0); }

void MenuBarItem::setSize(double width, double height) {
  StatusBarButton* button = item_->button();
  const auto fix = [button](std::shared_ptr<LayoutConstraint>& kept, LayoutConstraint::Attribute attribute,
                            double constant) {
    if (kept) {
      kept->setConstant(constant);
    } else if (button != nullptr) {
      kept = std::make_shared<LayoutConstraint>(attribute, constant);
      button->addConstraint(kept);
    }
  };
  fix(widthConstraint_, LayoutConstraint::Attribute::width, width);
  fix(heightConstraint_, LayoutConstraint::Attribute::height, height);
}

void MenuBarItem::clear() {
  StatusBarButton* button = item_->button();
  if (button == nullptr) return;
  button->setImage(std::nullopt);
  const auto constraints = button->constraints();
  for (const auto& constraint : constraints) constraint->setActive(false);
  button->removeConstraints(constraints);
  for (const auto& view : button->subviews()) view->removeFromSuperview();
  button->setSubviews({});
}

}  // namespace Plinth
