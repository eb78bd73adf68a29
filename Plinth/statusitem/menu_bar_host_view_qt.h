// The host view as a widget for a menu entry (QWidgetAction in a QMenu): its
// children are the entry's content, and a rounded selection background shows
// behind them only while the entry is highlighted.
#pragma once

#include <QMenu>
#include <QWidget>
#include <QWidgetAction>
#include <memory>
#include <optional>

#include "Plinth/statusitem/menu_bar_host_view.h"

namespace Plinth {

class QtMenuBarHostView final : public QWidget, private HostViewPlatform {
 public:
  explicit QtMenuBarHostView(QWidget* parent = nullptr);

  [[nodiscard]] MenuBarHostView& hostView() { return *model_; }
  [[nodiscard]] const MenuBarHostView& hostView() const { return *model_; }
  // The background widget (for tests and screenshots).
  [[nodiscard]] QWidget* backgroundWidget() const;

  // Puts `view` into `menu` as an entry of its own and returns the entry;
  // the view repaints as the menu's highlighted entry changes.
  static QWidgetAction* addToMenu(QMenu* menu, QtMenuBarHostView* view);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  std::shared_ptr<EffectView> makeEffectView(const EffectViewSettings& settings) override;
  void addSubviewBelowAll(const std::shared_ptr<EffectView>& view) override;
  void pinToEdges(const std::shared_ptr<EffectView>& view) override;
  [[nodiscard]] std::optional<bool> enclosingMenuItemIsHighlighted() const override;
  void setNeedsDisplay() override { update(); }

  QWidget* pinned_ = nullptr;
  std::unique_ptr<MenuBarHostView> model_;
};

}  // namespace Plinth
