#include "Plinth/statusitem/status_bar.h"

#include <algorithm>
#include <utility>

namespace Plinth {

void LayoutConstraint::setConstant(double constant) {
  constant_ = constant;
  if (changed_) changed_();
}

void LayoutConstraint::setActive(bool active) {
  active_ = active;
  if (changed_) changed_();
}

void StatusItem::addObserver(KeyValueObserver* observer, std::string keyPath, unsigned options) {
  observers_.emplace_back(observer, keyPath);
  if ((options & keyValueObservingInitial) != 0) observer->observeValue(keyPath, *this);
}

void StatusItem::removeObserver(KeyValueObserver* observer, std::string_view keyPath) {
  auto it = std::find_if(observers_.begin(), observers_.end(),
                         [&](const auto& entry) { return entry.first == observer && entry.second == keyPath; });
  if (it != observers_.end()) observers_.erase(it);
}

void StatusItem::didChangeValue(std::string_view keyPath) {
  // A copy: an observer may subscribe or unsubscribe while it hears.
  const auto observers = observers_;
  for (const auto& [observer, path] : observers) {
    if (path == keyPath) observer->observeValue(path, *this);
  }
}

namespace {

// No status bar: items without a button.
class NoStatusItem final : public StatusItem {
 public:
  StatusBarButton* button() override { return nullptr; }
};

class NoStatusBar final : public StatusBar {
 public:
  std::shared_ptr<StatusItem> statusItem(double /*length*/) override { return std::make_shared<NoStatusItem>(); }
  void removeStatusItem(const std::shared_ptr<StatusItem>& /*item*/) override {}
  [[nodiscard]] double thickness() const override { return 0; }
  [[nodiscard]] bool isVisible() const override { return false; }
};

std::shared_ptr<StatusBar>& systemBar() {
  static std::shared_ptr<StatusBar> bar = std::make_shared<NoStatusBar>();
  return bar;
}

}  // namespace

std::shared_ptr<StatusBar> StatusBar::system() { return systemBar(); }

void StatusBar::setSystem(std::shared_ptr<StatusBar> bar) {
  systemBar() = bar ? std::move(bar) : std::make_shared<NoStatusBar>();
}

}  // namespace Plinth
