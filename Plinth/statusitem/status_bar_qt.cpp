#include "Plinth/statusitem/status_bar_qt.h"

#include <QApplication>
#include <QLayout>
#include <QPainter>
#include <QStyle>
#include <algorithm>
#include <cmath>
#include <utility>

#include "Plinth/desktop/image_qt.h"
#include "Plinth/statusitem/menu_bar.h"

namespace Plinth {

// ---- QtView

QtView::QtView(QWidget* widget) : widget_(widget) {}

QtView::~QtView() {
  if (widget_ != nullptr && widget_->parent() == nullptr) delete widget_.data();
}

void QtView::layout() {
  if (widget_ == nullptr) return;
  widget_->ensurePolished();
  if (QLayout* layout = widget_->layout()) layout->activate();
  if (changed_) changed_();
}

void QtView::removeFromSuperview() {
  changed_ = nullptr;
  if (widget_ != nullptr) {
    widget_->hide();
    widget_->setParent(nullptr);
  }
}

void QtView::setNeedsDisplay() {
  if (changed_) changed_();
}

QPalette paletteForAppearance(std::string_view name) {
  QPalette palette = QApplication::style()->standardPalette();
  if (!isDarkAppearanceName(name)) return palette;
  const QColor window(45, 45, 48);
  const QColor base(30, 30, 32);
  const QColor text(235, 235, 235);
  for (auto group : {QPalette::Active, QPalette::Inactive}) {
    palette.setColor(group, QPalette::Window, window);
    palette.setColor(group, QPalette::WindowText, text);
    palette.setColor(group, QPalette::Base, base);
    palette.setColor(group, QPalette::AlternateBase, window);
    palette.setColor(group, QPalette::Text, text);
    palette.setColor(group, QPalette::Button, window);
    palette.setColor(group, QPalette::ButtonText, text);
    palette.setColor(group, QPalette::ToolTipBase, base);
    palette.setColor(group, QPalette::ToolTipText, text);
    palette.setColor(group, QPalette::Highlight, QColor(42, 110, 200));
    palette.setColor(group, QPalette::HighlightedText, Qt::white);
  }
  palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(130, 130, 130));
  palette.setColor(QPalette::Disabled, QPalette::Text, QColor(130, 130, 130));
  palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(130, 130, 130));
  return palette;
}

// ---- QtStatusBar

QtStatusBar::QtStatusBar(std::shared_ptr<AppearanceSource> appearance, double thickness, bool themesApplication)
    : appearance_(std::move(appearance)), thickness_(thickness), themesApplication_(themesApplication) {
  appearance_->setChangeHandler([this] { appearanceChanged(); });
  if (themesApplication_) QApplication::setPalette(paletteForAppearance(appearance_->appearanceName()));
}

QtStatusBar::~QtStatusBar() { appearance_->setChangeHandler(nullptr); }

std::shared_ptr<StatusItem> QtStatusBar::statusItem(double /*length*/) {
  // Every tray item is as wide as its content: the length is always variable.
  auto item = std::make_shared<QtStatusItem>(thickness_, appearance_->appearanceName());
  std::erase_if(items_, [](const auto& weak) { return weak.expired(); });
  items_.push_back(item);
  return item;
}

void QtStatusBar::removeStatusItem(const std::shared_ptr<StatusItem>& item) {
  if (auto* qtItem = dynamic_cast<QtStatusItem*>(item.get())) qtItem->hide();
}

bool QtStatusBar::isVisible() const { return QSystemTrayIcon::isSystemTrayAvailable(); }

void QtStatusBar::appearanceChanged() {
  const std::string name = appearance_->appearanceName();
  if (themesApplication_) QApplication::setPalette(paletteForAppearance(name));
  // A copy: observers may make or drop items while they hear.
  const auto items = items_;
  for (const auto& weak : items) {
    if (auto item = weak.lock()) {
      item->setAppearanceName(name);
      item->didChangeValue(effectiveAppearanceKeyPath);
    }
  }
}

// ---- QtStatusItem

QtStatusItem::QtStatusItem(double thickness, std::string appearanceName)
    : thickness_(thickness), appearanceName_(std::move(appearanceName)) {
  container_.setAttribute(Qt::WA_DontShowOnScreen);
  QObject::connect(&tray_, &QSystemTrayIcon::activated, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger && action_) action_();
  });
  setAppearanceName(appearanceName_);
  redraw();
  tray_.show();
}

QtStatusItem::~QtStatusItem() {
  for (const auto& view : subviews_) view->removeFromSuperview();
}

void QtStatusItem::setAppearanceName(std::string name) {
  appearanceName_ = std::move(name);
  // Views drawn into the icon take the bar's content colour as their text.
  const QColor content = isDarkAppearanceName(appearanceName_) ? Qt::white : Qt::black;
  QPalette palette = container_.palette();
  palette.setColor(QPalette::WindowText, content);
  palette.setColor(QPalette::Text, content);
  palette.setColor(QPalette::ButtonText, content);
  palette.setColor(QPalette::Window, Qt::transparent);
  container_.setPalette(palette);
}

void QtStatusItem::setImage(std::optional<Image> image) {
  image_ = std::move(image);
  redraw();
}

void QtStatusItem::setImagePosition(ImagePosition position) {
  position_ = position;
  redraw();
}

void QtStatusItem::adopt(const std::shared_ptr<View>& view) {
  if (auto* qtView = dynamic_cast<QtView*>(view.get())) {
    if (QWidget* widget = qtView->widget()) {
      widget->setParent(&container_);
      widget->show();
    }
    qtView->setChangeHandler([this] { redraw(); });
  }
}

void QtStatusItem::addSubview(std::shared_ptr<View> view) {
  adopt(view);
  subviews_.push_back(std::move(view));
  redraw();
}

void QtStatusItem::setSubviews(std::vector<std::shared_ptr<View>> views) {
  for (const auto& old : subviews_) {
    if (std::find(views.begin(), views.end(), old) == views.end()) old->removeFromSuperview();
  }
  subviews_ = std::move(views);
  for (const auto& view : subviews_) adopt(view);
  redraw();
}

void QtStatusItem::addConstraint(std::shared_ptr<LayoutConstraint> constraint) {
  constraint->setChangeHandler([this] { redraw(); });
  constraint->setActive(true);
  constraints_.push_back(std::move(constraint));
  redraw();
}

void QtStatusItem::removeConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints) {
  for (const auto& constraint : constraints) {
    auto it = std::find(constraints_.begin(), constraints_.end(), constraint);
    if (it == constraints_.end()) continue;
    (*it)->setChangeHandler(nullptr);
    constraints_.erase(it);
  }
  redraw();
}

QSize QtStatusItem::buttonSize(const QPixmap& picture) const {
  std::optional<double> width;
  std::optional<double> height;
  for (const auto& constraint : constraints_) {
    if (!constraint->isActive()) continue;
    (constraint->attribute() == LayoutConstraint::Attribute::width ? width : height) = constraint->constant();
  }
  const double h = height.value_or(thickness_);
  double w = h;
  if (width) {
    w = *width;
  } else if (!subviews_.empty()) {
    w = std::max(1, container_.childrenRect().right() + 1);
  } else if (!picture.isNull() && picture.height() > 0) {
    w = h * picture.width() / picture.height();  // the image at the bar's height
  }
  return {std::max(1, static_cast<int>(std::lround(w))), std::max(1, static_cast<int>(std::lround(h)))};
}

void QtStatusItem::redraw() {
  const QPixmap picture = image_ && position_ != ImagePosition::noImage ? toQPixmap(*image_) : QPixmap();
  const QSize size = buttonSize(picture);
  container_.resize(size);
  QPixmap pixmap(size);
  pixmap.fill(Qt::transparent);
  {
    QPainter painter(&pixmap);
    if (!picture.isNull()) {
      const QPixmap scaled = picture.scaledToHeight(size.height(), Qt::SmoothTransformation);
      painter.drawPixmap(0, (size.height() - scaled.height()) / 2, scaled);
    }
    for (const auto& view : subviews_) {
      auto* qtView = dynamic_cast<QtView*>(view.get());
      QWidget* widget = qtView != nullptr ? qtView->widget() : nullptr;
      if (widget == nullptr) continue;
      widget->render(&painter, widget->pos(), QRegion(), QWidget::DrawChildren);
    }
  }
  pixmap_ = pixmap;
  tray_.setIcon(QIcon(pixmap_));
}

}  // namespace Plinth
