#include "Plinth/statusitem/menu_bar_host_view_qt.h"

#include <QPainter>
#include <QPainterPath>
#include <QPointer>

namespace Plinth {

namespace {

// The selection background: the palette's highlight in a rounded rectangle
// (clipped to its corners, as a masking layer would).
class SelectionBackground final : public QWidget {
 public:
  SelectionBackground(QWidget* parent, bool emphasized) : QWidget(parent), emphasized_(emphasized) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
  }
  double radius = 0;

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    QColor color = palette().color(QPalette::Active, QPalette::Highlight);
    if (!emphasized_) color.setAlphaF(0.5F);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(rect()), radius, radius);
  }

 private:
  bool emphasized_;
};

class QtEffectView final : public EffectView {
 public:
  explicit QtEffectView(SelectionBackground* widget) : widget_(widget) {}
  void setHidden(bool hidden) override {
    if (widget_ != nullptr && widget_->isHidden() != hidden) widget_->setHidden(hidden);
  }
  [[nodiscard]] bool isHidden() const override { return widget_ == nullptr || widget_->isHidden(); }
  [[nodiscard]] bool hasLayer() const override { return widget_ != nullptr; }
  void setLayerCornerRadius(double radius) override {
    if (widget_ == nullptr) return;
    widget_->radius = radius;
    widget_->update();
  }
  [[nodiscard]] double layerCornerRadius() const override { return widget_ != nullptr ? widget_->radius : 0; }
  void setMasksToBounds(bool /*masks*/) override {}  // the rounded shape is always clipped
  [[nodiscard]] SelectionBackground* widget() const { return widget_.data(); }

 private:
  QPointer<SelectionBackground> widget_;
};

}  // namespace

QtMenuBarHostView::QtMenuBarHostView(QWidget* parent)
    : QWidget(parent), model_(std::make_unique<MenuBarHostView>(static_cast<HostViewPlatform&>(*this))) {}

QWidget* QtMenuBarHostView::backgroundWidget() const {
  return static_cast<QtEffectView&>(*model_->effectView()).widget();
}

std::shared_ptr<EffectView> QtMenuBarHostView::makeEffectView(const EffectViewSettings& settings) {
  auto* widget = new SelectionBackground(this, settings.emphasized);
  widget->hide();
  return std::make_shared<QtEffectView>(widget);
}

void QtMenuBarHostView::addSubviewBelowAll(const std::shared_ptr<EffectView>& view) {
  if (auto* widget = static_cast<QtEffectView&>(*view).widget()) widget->lower();
}

void QtMenuBarHostView::pinToEdges(const std::shared_ptr<EffectView>& view) {
  pinned_ = static_cast<QtEffectView&>(*view).widget();
  if (pinned_ != nullptr) pinned_->setGeometry(rect());
}

void QtMenuBarHostView::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  if (pinned_ != nullptr) pinned_->setGeometry(rect());
}

std::optional<bool> QtMenuBarHostView::enclosingMenuItemIsHighlighted() const {
  auto* menu = qobject_cast<QMenu*>(parentWidget());
  if (menu == nullptr) return std::nullopt;
  for (QAction* action : menu->actions()) {
    auto* widgetAction = qobject_cast<QWidgetAction*>(action);
    if (widgetAction != nullptr && widgetAction->defaultWidget() == this) return menu->activeAction() == action;
  }
  return std::nullopt;
}

void QtMenuBarHostView::paintEvent(QPaintEvent* /*event*/) { model_->draw(); }

QWidgetAction* QtMenuBarHostView::addToMenu(QMenu* menu, QtMenuBarHostView* view) {
  auto* action = new QWidgetAction(menu);
  action->setDefaultWidget(view);
  menu->addAction(action);
  QPointer<QtMenuBarHostView> guarded(view);
  const auto repaint = [guarded] {
    if (guarded == nullptr) return;
    guarded->hostView().draw();
    guarded->update();
  };
  QObject::connect(menu, &QMenu::hovered, view, repaint);
  QObject::connect(menu, &QMenu::aboutToShow, view, repaint);
  QObject::connect(menu, &QMenu::aboutToHide, view, repaint);
  return action;
}

}  // namespace Plinth
