// The host view as a widget for a menu entry (QWidgetAction in a QMenu): its
// children are the entry's content, and a rounded selection background shows
// behind them only while the entry is highlighted. A tray host draws the
// item's menu itself from a description of its entries (dbusmenu), where a
// widget cannot go: there the entry shows the view's title and icon.
#pragma once

#include <QIcon>
#include <QMenu>
#include <QPointer>
#include <QString>
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

  // The entry's text where the view itself cannot be shown (a tray host's
  // menu, screen readers): the title set here, else the texts of the labels
  // and buttons inside the view, joined by spaces, else "Item". The entry
  // takes title and icon when the view is added and whenever they are set
  // here; labels changed later need a setTitle.
  [[nodiscard]] QString title() const;
  void setTitle(const QString& title);
  // The entry's icon there: the one set here, else the first picture a label
  // inside the view shows, else none.
  [[nodiscard]] QIcon icon() const;
  void setIcon(const QIcon& icon);

  // Puts `view` into `menu` as an entry of its own, labelled with its title
  // and icon, and returns the entry. Its `triggered` is the entry's action:
  // a click on the view, Return while it is highlighted, or a click in a
  // tray host's menu. The view repaints as the menu's highlighted entry
  // changes, and the pointer over it highlights it as the keyboard does.
  static QWidgetAction* addToMenu(QMenu* menu, QtMenuBarHostView* view);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void enterEvent(QEnterEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  std::shared_ptr<EffectView> makeEffectView(const EffectViewSettings& settings) override;
  void addSubviewBelowAll(const std::shared_ptr<EffectView>& view) override;
  void pinToEdges(const std::shared_ptr<EffectView>& view) override;
  [[nodiscard]] std::optional<bool> enclosingMenuItemIsHighlighted() const override;
  void setNeedsDisplay() override { update(); }

  [[nodiscard]] QMenu* menu() const { return qobject_cast<QMenu*>(parentWidget()); }
  void describeEntry();

  QWidget* pinned_ = nullptr;
  std::unique_ptr<MenuBarHostView> model_;
  QString title_;
  QIcon icon_;
  QPointer<QWidgetAction> entry_;
};

}  // namespace Plinth
