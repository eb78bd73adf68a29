// Status items as freedesktop tray icons (QSystemTrayIcon, a
// StatusNotifierItem on the session bus). Each item's button is drawn into
// the icon's pixmap: its image, or its views rendered at the button's size.
// Main thread only.
#pragma once

#include <QMenu>
#include <QImage>
#include <QPalette>
#include <QPixmap>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

#include "Plinth/statusitem/appearance.h"
#include "Plinth/statusitem/status_bar.h"

namespace Plinth {

// A widget as a view a button shows. Owns the widget while it has no parent.
class QtView final : public View {
 public:
  explicit QtView(QWidget* widget);
  ~QtView() override;
  QtView(const QtView&) = delete;
  QtView& operator=(const QtView&) = delete;

  [[nodiscard]] QWidget* widget() const { return widget_.data(); }
  // Lays the widget out again and redraws the button showing it.
  void layout() override;
  void removeFromSuperview() override;
  // Redraws the button showing it, after the widget's content changed.
  void setNeedsDisplay();
  // Set by the button that shows the view.
  void setChangeHandler(std::function<void()> handler) { changed_ = std::move(handler); }

 private:
  QPointer<QWidget> widget_;
  std::function<void()> changed_;
};

// The widgets' palette for an appearance: Qt's standard palette for a light
// one, a dark palette of the same roles for one whose name contains "dark".
[[nodiscard]] QPalette paletteForAppearance(std::string_view name);

// The tray's icon size: the height status items are laid out at.
inline constexpr double trayThickness = 22;

// The heights every item's icon is drawn in besides its own. The protocol
// never tells an item how thick the panel is: the host takes the size that
// fits it best, so each must be drawn crisp rather than scaled from one.
inline constexpr int trayIconHeights[] = {16, 22, 24, 32, 48};

// `glyph` (straight or premultiplied alpha) with an outline `width` pixels
// wide in the colour that contrasts with it: white around a dark glyph,
// black around a light one. Panels draw themselves in colours of their own,
// whatever the desktop's colour scheme says; with both, a glyph reads on any.
[[nodiscard]] QImage withContrastingOutline(const QImage& glyph, int width);

class QtStatusItem;

class QtStatusBar final : public StatusBar {
 public:
  // Items follow `appearance` (the desktop's colour scheme in programs, a
  // FixedAppearance in tests) and are drawn `thickness` pixels high. With
  // `themesApplication` the application's palette follows it too (Qt 6.4
  // does not follow the desktop's colour scheme by itself).
  explicit QtStatusBar(std::shared_ptr<AppearanceSource> appearance, double thickness = trayThickness,
                       bool themesApplication = false);
  ~QtStatusBar() override;
  QtStatusBar(const QtStatusBar&) = delete;
  QtStatusBar& operator=(const QtStatusBar&) = delete;

  [[nodiscard]] std::shared_ptr<StatusItem> statusItem(double length) override;
  // Hides the item's icon; it stays hidden.
  void removeStatusItem(const std::shared_ptr<StatusItem>& item) override;
  [[nodiscard]] double thickness() const override { return thickness_; }
  // Whether a tray (a StatusNotifierWatcher) is there to show items.
  [[nodiscard]] bool isVisible() const override;

 private:
  void appearanceChanged();
  std::shared_ptr<AppearanceSource> appearance_;
  double thickness_;
  bool themesApplication_;
  std::vector<std::weak_ptr<QtStatusItem>> items_;
};

class QtStatusItem final : public StatusItem, public StatusBarButton {
 public:
  QtStatusItem(double thickness, std::string appearanceName);
  ~QtStatusItem() override;
  QtStatusItem(const QtStatusItem&) = delete;
  QtStatusItem& operator=(const QtStatusItem&) = delete;

  StatusBarButton* button() override { return this; }
  [[nodiscard]] QSystemTrayIcon& trayIcon() { return tray_; }
  // The menu the tray shows for the item (not owned).
  void setMenu(QMenu* menu) { tray_.setContextMenu(menu); }
  // The pixmap last drawn into the icon at the item's own height, outlined
  // as every size of the icon is.
  [[nodiscard]] const QPixmap& iconPixmap() const { return pixmap_; }
  // Draws the button into the icon again.
  void redraw();
  void hide() { tray_.hide(); }
  void setAppearanceName(std::string name);

  // StatusBarButton
  [[nodiscard]] std::optional<Image> image() const override { return image_; }
  void setImage(std::optional<Image> image) override;
  [[nodiscard]] ImagePosition imagePosition() const override { return position_; }
  void setImagePosition(ImagePosition position) override;
  [[nodiscard]] std::vector<std::shared_ptr<View>> subviews() const override { return subviews_; }
  void addSubview(std::shared_ptr<View> view) override;
  void setSubviews(std::vector<std::shared_ptr<View>> views) override;
  void setTarget(const void* target) override { target_ = target; }
  void setAction(std::function<void()> action) override { action_ = std::move(action); }
  void setTag(int tag) override { tag_ = tag; }
  [[nodiscard]] const void* target() const override { return target_; }
  [[nodiscard]] bool hasAction() const override { return static_cast<bool>(action_); }
  [[nodiscard]] int tag() const override { return tag_; }
  [[nodiscard]] std::vector<std::shared_ptr<LayoutConstraint>> constraints() const override { return constraints_; }
  void addConstraint(std::shared_ptr<LayoutConstraint> constraint) override;
  void removeConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints) override;
  [[nodiscard]] std::string effectiveAppearanceName() const override { return appearanceName_; }

 private:
  [[nodiscard]] QSize buttonSize(const QPixmap& picture) const;
  // The button's content, laid out at `size`, drawn `height` pixels high.
  [[nodiscard]] QImage drawButton(const QPixmap& picture, QSize size, int height);
  void adopt(const std::shared_ptr<View>& view);
  double thickness_;
  std::string appearanceName_;
  QSystemTrayIcon tray_;
  QWidget container_;  // never shown: the views' parent, rendered into the icon
  QPixmap pixmap_;
  std::optional<Image> image_;
  ImagePosition position_ = ImagePosition::noImage;
  std::vector<std::shared_ptr<View>> subviews_;
  std::vector<std::shared_ptr<LayoutConstraint>> constraints_;
  const void* target_ = nullptr;
  std::function<void()> action_;
  int tag_ = 0;
};

}  // namespace Plinth
