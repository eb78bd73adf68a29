// The seams under status items: the bar that holds them, each item with its
// button, the views a button shows, layout constraints and the appearance.
// A toolkit implements them (plinth_qt: QSystemTrayIcon); tests use fakes.
// User-interface objects: main thread only.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Plinth/desktop/image.h"

namespace Plinth {

// A view that a button shows.
class View {
 public:
  virtual ~View() = default;
  // Lays its own content out again (after an appearance change, say).
  virtual void layout() = 0;
  // Takes the view out of the view that holds it, if any.
  virtual void removeFromSuperview() = 0;
};

// A constraint that fixes a view's width or height. Active constraints apply
// to the view they were added to; the view hears each change.
class LayoutConstraint {
 public:
  enum class Attribute { width, height };
  LayoutConstraint(Attribute attribute, double constant) : attribute_(attribute), constant_(constant) {}
  [[nodiscard]] Attribute attribute() const { return attribute_; }
  [[nodiscard]] double constant() const { return constant_; }
  void setConstant(double constant);
  [[nodiscard]] bool isActive() const { return active_; }
  void setActive(bool active);
  // Called after the constant or the activity changed; set by the view.
  void setChangeHandler(std::function<void()> handler) { changed_ = std::move(handler); }

 private:
  Attribute attribute_;
  double constant_;
  bool active_ = false;
  std::function<void()> changed_;
};

// Where a button puts its image relative to its title.
enum class ImagePosition : int { noImage = 0, imageOnly = 1, imageLeft = 2, imageRight = 3, imageBelow = 4 };

// A status item's button.
class StatusBarButton {
 public:
  virtual ~StatusBarButton() = default;
  [[nodiscard]] virtual std::optional<Image> image() const = 0;
  virtual void setImage(std::optional<Image> image) = 0;
  [[nodiscard]] virtual ImagePosition imagePosition() const = 0;
  virtual void setImagePosition(ImagePosition position) = 0;

  [[nodiscard]] virtual std::vector<std::shared_ptr<View>> subviews() const = 0;
  virtual void addSubview(std::shared_ptr<View> view) = 0;
  virtual void setSubviews(std::vector<std::shared_ptr<View>> views) = 0;

  // What a click does: `action` is called with `target` (an identity, never
  // dereferenced) and `tag` kept for the owner. Null `action` does nothing.
  virtual void setTarget(const void* target) = 0;
  virtual void setAction(std::function<void()> action) = 0;
  virtual void setTag(int tag) = 0;
  [[nodiscard]] virtual const void* target() const = 0;
  [[nodiscard]] virtual bool hasAction() const = 0;
  [[nodiscard]] virtual int tag() const = 0;

  // The constraints added to the button, active or not.
  [[nodiscard]] virtual std::vector<std::shared_ptr<LayoutConstraint>> constraints() const = 0;
  // Adds and activates `constraint`.
  virtual void addConstraint(std::shared_ptr<LayoutConstraint> constraint) = 0;
  virtual void removeConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints) = 0;

  // The name of the appearance the button is drawn in ("dark", "light", ...).
  [[nodiscard]] virtual std::string effectiveAppearanceName() const = 0;
};

// Key-value observation of a status item.
class StatusItem;
class KeyValueObserver {
 public:
  virtual ~KeyValueObserver() = default;
  // `keyPath` is absent when the notification came without one.
  virtual void observeValue(const std::optional<std::string>& keyPath, StatusItem& object) = 0;
};

// The key path of a status item's appearance.
inline constexpr std::string_view effectiveAppearanceKeyPath = "button.effectiveAppearance";

// Observation options: with initial the observer hears the value once when it
// subscribes.
inline constexpr unsigned keyValueObservingNew = 1;
inline constexpr unsigned keyValueObservingInitial = 4;

// One item in the status bar.
class StatusItem {
 public:
  virtual ~StatusItem() = default;
  // The button, or null when the item has none (no status bar to show it).
  [[nodiscard]] virtual StatusBarButton* button() = 0;

  void addObserver(KeyValueObserver* observer, std::string keyPath, unsigned options);
  // Removes the observer's subscription to `keyPath`; nothing when it has none.
  void removeObserver(KeyValueObserver* observer, std::string_view keyPath);
  // Tells the observers of `keyPath` that it changed, in subscription order.
  void didChangeValue(std::string_view keyPath);

 private:
  std::vector<std::pair<KeyValueObserver*, std::string>> observers_;
};

// The length that makes an item as wide as its content.
inline constexpr double variableStatusItemLength = -1;

// The bar that holds status items.
class StatusBar {
 public:
  virtual ~StatusBar() = default;
  [[nodiscard]] virtual std::shared_ptr<StatusItem> statusItem(double length) = 0;
  virtual void removeStatusItem(const std::shared_ptr<StatusItem>& item) = 0;
  // The height of the bar, and of the icons in it.
  [[nodiscard]] virtual double thickness() const = 0;
  // Whether the desktop shows the bar now.
  [[nodiscard]] virtual bool isVisible() const = 0;

  // The process's status bar: the toolkit's once one is installed
  // (installQtUserInterface), before that one that shows nothing: its items
  // have no button, its thickness is 0 and it is never visible.
  [[nodiscard]] static std::shared_ptr<StatusBar> system();
  static void setSystem(std::shared_ptr<StatusBar> bar);
};

}  // namespace Plinth
