// Status items in the desktop's status bar (the tray): MenuBar holds the
// process-wide facts, MenuBarItem owns one item and fills its button with an
// image or views. Main thread only.
#pragma once

#include <any>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Plinth/desktop/color.h"
#include "Plinth/desktop/image.h"
#include "Plinth/statusitem/status_bar.h"

namespace Plinth {

class MenuBar {
 public:
  // The item whose appearance decides isDark(); absent at first. The item
  // controller sets it to its first item.
  [[nodiscard]] static std::shared_ptr<StatusItem> statusItem();
  static void setStatusItem(std::shared_ptr<StatusItem> item);

  // The system status bar's thickness, asked afresh on each read (on Linux
  // the tray's icon size, 22 unless the bar was made with another).
  [[nodiscard]] static double thickness();
  [[nodiscard]] static double halfThickness() { return thickness() * 0.5; }
  // Two halves added back and taken away: the thickness and zero.
  [[nodiscard]] static double fullThickness() { return halfThickness() + halfThickness(); }
  [[nodiscard]] static double zeroThickness() { return halfThickness() - halfThickness(); }
  [[nodiscard]] static double innerSpacing();
  static void setInnerSpacing(double spacing);  // 2.0 at start
  [[nodiscard]] static double outerSpacing();
  static void setOuterSpacing(double spacing);  // 3.0 at start
  [[nodiscard]] static double paddedThickness() { return thickness() + outerSpacing() + innerSpacing(); }

  // Whether statusItem()'s button is drawn dark: its appearance's name,
  // lower-cased, contains "dark". False without an item or a button.
  [[nodiscard]] static bool isDark();
  // White on a dark bar, black on a light one.
  [[nodiscard]] static Color contentColor();
};

// Whether an appearance called `name` is dark: "dark" in any letter case.
[[nodiscard]] bool isDarkAppearanceName(std::string_view name);

class MenuBarItem {
 public:
  // Each constructor first makes a variable-length item in `bar`.
  explicit MenuBarItem(const std::shared_ptr<StatusBar>& bar = StatusBar::system());
  // The image to the left of the title.
  explicit MenuBarItem(Image image, const std::shared_ptr<StatusBar>& bar = StatusBar::system());
  explicit MenuBarItem(std::shared_ptr<View> view, const std::shared_ptr<StatusBar>& bar = StatusBar::system());
  explicit MenuBarItem(const std::vector<std::shared_ptr<View>>& views,
                       const std::shared_ptr<StatusBar>& bar = StatusBar::system());
  MenuBarItem(const MenuBarItem&) = delete;
  MenuBarItem& operator=(const MenuBarItem&) = delete;

  [[nodiscard]] const std::shared_ptr<StatusItem>& item() const { return item_; }
  [[nodiscard]] const std::shared_ptr<LayoutConstraint>& widthConstraint() const { return widthConstraint_; }
  [[nodiscard]] const std::shared_ptr<LayoutConstraint>& heightConstraint() const { return heightConstraint_; }
  // Free for the owner.
  std::any representedObject;

  // Adds `view` to the button, after the ones it has.
  void add(std::shared_ptr<View> view);
  // What a click on the button does.
  void setAction(const void* target, std::function<void()> action, int tag);
  void clearAction();
  // Fixes the button's size. The constraints are made on the first call and
  // afterwards only their constants change. Nothing without a button.
  void setSize(double width, double height);
  // Empties the button: no image, no constraints, no subviews. The kept
  // constraints are deactivated and removed from the button too, but stay
  // kept: a later setSize changes their constants and the button no longer
  // hears it.
  void clear();

 private:
  std::shared_ptr<StatusItem> item_;
  std::shared_ptr<LayoutConstraint> widthConstraint_;
  std::shared_ptr<LayoutConstraint> heightConstraint_;
};

}  // namespace Plinth
