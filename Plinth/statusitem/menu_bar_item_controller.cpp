#include "Plinth/statusitem/menu_bar_item_controller.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Plinth {

std::string_view rawValue(MenuBarTheme theme) { return theme == MenuBarTheme::dark ? "dark" : "light"; }

std::optional<MenuBarTheme> menuBarTheme(std::string_view raw) {
  if (raw == "light") return MenuBarTheme::light;
  if (raw == "dark") return MenuBarTheme::dark;
  return std::nullopt;
}

MenuBarTheme themeForAppearanceName(std::string_view name) {
  return isDarkAppearanceName(name) ? MenuBarTheme::dark : MenuBarTheme::light;
}

namespace {

MenuBarTheme themeOf(const MenuBarItem& item) {
  StatusBarButton* button = item.item()->button();
  return button == nullptr ? MenuBarTheme::light : themeForAppearanceName(button->effectiveAppearanceName());
}

}  // namespace

MenuBarItemController::MenuBarItemController(std::shared_ptr<StatusBar> bar) : bar_(std::move(bar)) {
  start(std::make_shared<MenuBarItem>(bar_));
}

MenuBarItemController::MenuBarItemController(Image image, std::shared_ptr<StatusBar> bar) : bar_(std::move(bar)) {
  start(std::make_shared<MenuBarItem>(std::move(image), bar_));
}

MenuBarItemController::MenuBarItemController(std::shared_ptr<View> view, std::shared_ptr<StatusBar> bar)
    : bar_(std::move(bar)) {
  start(std::make_shared<MenuBarItem>(std::move(view), bar_));
}

MenuBarItemController::MenuBarItemController(const std::vector<std::shared_ptr<View>>& views,
                                             std::shared_ptr<StatusBar> bar)
    : bar_(std::move(bar)) {
  start(std::make_shared<MenuBarItem>(views, bar_));
}

void MenuBarItemController::start(std::shared_ptr<MenuBarItem> first) {
  add(std::move(first));
  const auto& statusItem = items_.front()->item();
  MenuBar::setStatusItem(statusItem);
  observed_ = statusItem;
  statusItem->addObserver(this, std::string(effectiveAppearanceKeyPath),
                          keyValueObservingNew | keyValueObservingInitial);
}

MenuBarItemController::~MenuBarItemController() {
  for (const auto& item : items_) item->item()->removeObserver(this, effectiveAppearanceKeyPath);
  if (const auto observed = observed_.lock()) observed->removeObserver(this, effectiveAppearanceKeyPath);
}

MenuBarTheme MenuBarItemController::theme() const {
  return items_.empty() ? MenuBarTheme::light : themeOf(*items_.front());
}

void MenuBarItemController::add(std::shared_ptr<MenuBarItem> item) {
  items_.push_back(std::move(item));
  if (delegate_) delegate_->menuBarItemsDidChange();
}

void MenuBarItemController::remove(const std::shared_ptr<MenuBarItem>& item) {
  bar_->removeStatusItem(item->item());
  items_.erase(std::remove(items_.begin(), items_.end(), item), items_.end());
  if (delegate_) delegate_->menuBarItemsDidChange();
}

void MenuBarItemController::removeExtraItems() {
  const auto snapshot = items_;
  for (std::size_t i = 1; i < snapshot.size(); ++i) remove(snapshot[i]);
  if (delegate_) delegate_->menuBarItemsDidChange();
}

std::shared_ptr<MenuBarItem> MenuBarItemController::makeItem() const { return std::make_shared<MenuBarItem>(bar_); }

std::shared_ptr<MenuBarItem> MenuBarItemController::makeItem(Image image) const {
  return std::make_shared<MenuBarItem>(std::move(image), bar_);
}

std::shared_ptr<MenuBarItem> MenuBarItemController::makeItem(std::shared_ptr<View> view) const {
  return std::make_shared<MenuBarItem>(std::move(view), bar_);
}

std::shared_ptr<MenuBarItem> MenuBarItemController::makeItem(const std::vector<std::shared_ptr<View>>& views) const {
  return std::make_shared<MenuBarItem>(views, bar_);
}

void MenuBarItemController::observeValue(const std::optional<std::string>& keyPath, StatusItem& /*object*/) {
  if (!keyPath || *keyPath != effectiveAppearanceKeyPath) return;
  for (const auto& item : items_) {
    if (StatusBarButton* button = item->item()->button()) {
      for (const auto& view : button->subviews()) view->layout();
    }
  }
  if (delegate_) delegate_->menuBarThemeDidChange(theme());
}

}  // namespace Plinth
