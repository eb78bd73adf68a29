// The owner of an application's status items: tells a delegate when the set
// of items changes and whether the bar turned light or dark, and lays the
// items' views out again when the appearance changes. Main thread only.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Plinth/statusitem/menu_bar.h"

namespace Plinth {

enum class MenuBarTheme { light, dark };

// "light" and "dark".
[[nodiscard]] std::string_view rawValue(MenuBarTheme theme);
// Exactly "light" or "dark"; anything else is absent.
[[nodiscard]] std::optional<MenuBarTheme> menuBarTheme(std::string_view rawValue);

// The theme of an appearance called `name`: dark when the name, lower-cased,
// contains "dark" ("Dark", "NSAppearanceNameDarkAqua"), else light.
[[nodiscard]] MenuBarTheme themeForAppearanceName(std::string_view name);

class MenuBarDelegate {
 public:
  virtual ~MenuBarDelegate() = default;
  virtual void menuBarItemsDidChange() = 0;
  virtual void menuBarThemeDidChange(MenuBarTheme theme) = 0;
};

class IMenuBarItemController {
 public:
  virtual ~IMenuBarItemController() = default;
  [[nodiscard]] virtual std::shared_ptr<MenuBarDelegate> delegate() const = 0;
  virtual void setDelegate(std::shared_ptr<MenuBarDelegate> delegate) = 0;
  [[nodiscard]] virtual const std::vector<std::shared_ptr<MenuBarItem>>& items() const = 0;
  // The first item (null once every item was removed).
  [[nodiscard]] virtual const std::shared_ptr<MenuBarItem>& item() const = 0;
  // The theme of the first item.
  [[nodiscard]] virtual MenuBarTheme theme() const = 0;
  [[nodiscard]] virtual bool isMenuBarVisible() const = 0;
  // The last item (the first when there is one; null when there is none).
  [[nodiscard]] virtual const std::shared_ptr<MenuBarItem>& lastItem() const = 0;
  virtual void add(std::shared_ptr<MenuBarItem> item) = 0;
  virtual void removeExtraItems() = 0;
  virtual void remove(const std::shared_ptr<MenuBarItem>& item) = 0;
  // New items in the controller's bar, not added to it (the delegate hears
  // nothing): the caller adds the ones it keeps.
  [[nodiscard]] virtual std::shared_ptr<MenuBarItem> makeItem() const = 0;
  [[nodiscard]] virtual std::shared_ptr<MenuBarItem> makeItem(Image image) const = 0;
  [[nodiscard]] virtual std::shared_ptr<MenuBarItem> makeItem(std::shared_ptr<View> view) const = 0;
  [[nodiscard]] virtual std::shared_ptr<MenuBarItem> makeItem(
      const std::vector<std::shared_ptr<View>>& views) const = 0;
};

class MenuBarItemController final : public IMenuBarItemController, public KeyValueObserver {
 public:
  // Each makes one item with the matching MenuBarItem constructor, adds it,
  // makes its status item MenuBar's, and observes its appearance (hearing it
  // once at once, before any delegate can be set).
  explicit MenuBarItemController(std::shared_ptr<StatusBar> bar = StatusBar::system());
  explicit MenuBarItemController(Image image, std::shared_ptr<StatusBar> bar = StatusBar::system());
  explicit MenuBarItemController(std::shared_ptr<View> view, std::shared_ptr<StatusBar> bar = StatusBar::system());
  explicit MenuBarItemController(const std::vector<std::shared_ptr<View>>& views,
                                 std::shared_ptr<StatusBar> bar = StatusBar::system());
  // Stops observing (asking every item's status item, in order, and the
  // observed one even when it was removed meanwhile: MenuBar may keep it
  // alive, and it must never call a destroyed controller). The items stay in
  // the bar until they are destroyed.
  ~MenuBarItemController() override;
  MenuBarItemController(const MenuBarItemController&) = delete;
  MenuBarItemController& operator=(const MenuBarItemController&) = delete;

  [[nodiscard]] std::shared_ptr<MenuBarDelegate> delegate() const override { return delegate_; }
  void setDelegate(std::shared_ptr<MenuBarDelegate> delegate) override { delegate_ = std::move(delegate); }
  [[nodiscard]] const std::vector<std::shared_ptr<MenuBarItem>>& items() const override { return items_; }
  [[nodiscard]] const std::shared_ptr<MenuBarItem>& item() const override {
    return items_.empty() ? none_ : items_.front();
  }
  [[nodiscard]] MenuBarTheme theme() const override;
  [[nodiscard]] bool isMenuBarVisible() const override { return bar_->isVisible(); }
  [[nodiscard]] const std::shared_ptr<MenuBarItem>& lastItem() const override {
    return items_.empty() ? none_ : items_.back();
  }
  // Appends, then tells the delegate.
  void add(std::shared_ptr<MenuBarItem> item) override;
  // Removes every item but the first (which carries the observation), each
  // as remove() does, then tells the delegate once more.
  void removeExtraItems() override;
  // Takes the item out of the bar and the list, then tells the delegate.
  void remove(const std::shared_ptr<MenuBarItem>& item) override;
  [[nodiscard]] std::shared_ptr<MenuBarItem> makeItem() const override;
  [[nodiscard]] std::shared_ptr<MenuBarItem> makeItem(Image image) const override;
  [[nodiscard]] std::shared_ptr<MenuBarItem> makeItem(std::shared_ptr<View> view) const override;
  [[nodiscard]] std::shared_ptr<MenuBarItem> makeItem(const std::vector<std::shared_ptr<View>>& views) const override;

  // An appearance change: every view of every item lays itself out, in
  // order, then the delegate hears the first item's theme. Notifications for
  // any other key path, or none, are ignored.
  void observeValue(const std::optional<std::string>& keyPath, StatusItem& object) override;

 private:
  void start(std::shared_ptr<MenuBarItem> first);
  std::shared_ptr<StatusBar> bar_;
  std::shared_ptr<MenuBarDelegate> delegate_;
  std::vector<std::shared_ptr<MenuBarItem>> items_;
  std::shared_ptr<MenuBarItem> none_;
  std::weak_ptr<StatusItem> observed_;  // the first item's, subscribed at construction
};

}  // namespace Plinth
