// A view for a menu entry that shows a rounded, emphasised selection
// background only while its entry is highlighted. The rules live here; the
// toolkit's widget supplies the effect view and the menu entry through
// HostViewPlatform. Main thread only.
#pragma once

#include <memory>
#include <optional>

namespace Plinth {

// The platform's background view (a blurred selection material on macOS, a
// rounded highlight on Linux).
class EffectView {
 public:
  virtual ~EffectView() = default;
  virtual void setHidden(bool hidden) = 0;
  [[nodiscard]] virtual bool isHidden() const = 0;
  // The layer's corner radius and clipping; false when the view has no layer.
  [[nodiscard]] virtual bool hasLayer() const = 0;
  virtual void setLayerCornerRadius(double radius) = 0;
  [[nodiscard]] virtual double layerCornerRadius() const = 0;
  virtual void setMasksToBounds(bool masks) = 0;
};

// How the effect view is made (the values of the platform's enumerations).
struct EffectViewSettings {
  int state = 1;     // active
  int material = 4;  // selection
  bool emphasized = true;
  int blendingMode = 0;  // behind the window
  bool wantsLayer = true;
};

// What the host view needs of the widget it is.
class HostViewPlatform {
 public:
  virtual ~HostViewPlatform() = default;
  [[nodiscard]] virtual std::shared_ptr<EffectView> makeEffectView(const EffectViewSettings& settings) = 0;
  // Adds `view` below every other subview.
  virtual void addSubviewBelowAll(const std::shared_ptr<EffectView>& view) = 0;
  // Keeps `view` on the host's four edges.
  virtual void pinToEdges(const std::shared_ptr<EffectView>& view) = 0;
  // Whether the menu entry holding the host is highlighted; absent when the
  // host is in no menu.
  [[nodiscard]] virtual std::optional<bool> enclosingMenuItemIsHighlighted() const = 0;
  virtual void setNeedsDisplay() = 0;
};

class MenuBarHostView {
 public:
  // Sets up the effect view through `platform`, which must outlive the view.
  explicit MenuBarHostView(HostViewPlatform& platform);

  [[nodiscard]] const std::shared_ptr<EffectView>& effectView() const { return effectView_; }
  [[nodiscard]] bool isEmphasized() const { return isEmphasized_; }
  // Stores the value and asks for a redraw; the effect view keeps the
  // emphasis it was made with.
  void setEmphasized(bool emphasized);
  // 4.0 at first, while the effect view's layer starts at 3.0; setting it
  // sets the layer's radius too.
  [[nodiscard]] double cornerRadius() const { return cornerRadius_; }
  void setCornerRadius(double radius);
  // The host draws no vibrancy of its own.
  [[nodiscard]] bool allowsVibrancy() const { return false; }

  // Drawing: the effect view shows only while the enclosing menu entry is
  // highlighted (never outside a menu). Nothing else is drawn.
  void draw();

 private:
  HostViewPlatform& platform_;
  std::shared_ptr<EffectView> effectView_;
  bool isEmphasized_ = true;
  double cornerRadius_ = 4.0;
};

}  // namespace Plinth
