#include "Plinth/statusitem/menu_bar_host_view_qt.h"

#include <QAbstractButton>
#include <QEnterEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QStringList>

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

QString QtMenuBarHostView::title() const {
  if (!title_.isEmpty()) return title_;
  QStringList texts;
  for (QWidget* child : findChildren<QWidget*>()) {
    QString text;
    if (auto* label = qobject_cast<QLabel*>(child)) text = label->text();
    if (auto* button = qobject_cast<QAbstractButton*>(child)) text = button->text();
    text = text.simplified();
    if (!text.isEmpty()) texts.append(text);
  }
  return texts.isEmpty() ? QStringLiteral("Item") : texts.join(QLatin1Char(' '));
}

void QtMenuBarHostView::setTitle(const QString& title) {
  title_ = title;
  setAccessibleName(title);
  describeEntry();
}

QIcon QtMenuBarHostView::icon() const {
  if (!icon_.isNull()) return icon_;
  for (auto* label : findChildren<QLabel*>()) {
    const QPixmap picture = label->pixmap();
    if (!picture.isNull()) return QIcon(picture);
  }
  return {};
}

void QtMenuBarHostView::setIcon(const QIcon& icon) {
  icon_ = icon;
  describeEntry();
}

void QtMenuBarHostView::describeEntry() {
  if (entry_ == nullptr) return;
  // A tray host sees only the action's text and icon, never the widget.
  entry_->setText(title());
  entry_->setIcon(icon());
}

void QtMenuBarHostView::enterEvent(QEnterEvent* event) {
  QWidget::enterEvent(event);
  // QMenu follows the pointer only over its own entries; over an entry's
  // widget the pointer must select it as the keyboard would.
  if (QMenu* enclosing = menu(); enclosing != nullptr && entry_ != nullptr && entry_->isEnabled()) {
    enclosing->setActiveAction(entry_);
  }
}

void QtMenuBarHostView::leaveEvent(QEvent* event) {
  QWidget::leaveEvent(event);
  QMenu* enclosing = menu();
  if (enclosing != nullptr && entry_ != nullptr && enclosing->activeAction() == entry_) {
    enclosing->setActiveAction(nullptr);
    model_->draw();
    update();
  }
}

void QtMenuBarHostView::mouseReleaseEvent(QMouseEvent* event) {
  QMenu* enclosing = menu();
  if (event->button() != Qt::LeftButton || enclosing == nullptr || entry_ == nullptr || !entry_->isEnabled() ||
      !rect().contains(event->position().toPoint())) {
    QWidget::mouseReleaseEvent(event);
    return;
  }
  event->accept();
  const QPointer<QWidgetAction> entry = entry_;
  enclosing->hide();
  if (entry != nullptr) entry->trigger();
}

QWidgetAction* QtMenuBarHostView::addToMenu(QMenu* menu, QtMenuBarHostView* view) {
  auto* action = new QWidgetAction(menu);
  action->setDefaultWidget(view);
  view->entry_ = action;
  view->describeEntry();
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
