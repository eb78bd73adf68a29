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
  // The host shows it on hover; the display name is the application's own
  // (installQtUserInterface sets it from the bundle or desktop entry).
  tray_.setToolTip(QGuiApplication::applicationDisplayName());
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

QImage withContrastingOutline(const QImage& glyph, int width) {
  const QImage source = glyph.convertToFormat(QImage::Format_ARGB32);
  // The glyph's mean luminance, weighted by coverage, decides the outline.
  double luminance = 0;
  double coverage = 0;
  for (int y = 0; y < source.height(); ++y) {
    const auto* row = reinterpret_cast<const QRgb*>(source.constScanLine(y));
    for (int x = 0; x < source.width(); ++x) {
      const double alpha = qAlpha(row[x]) / 255.0;
      luminance += alpha * (0.2126 * qRed(row[x]) + 0.7152 * qGreen(row[x]) + 0.0722 * qBlue(row[x])) / 255.0;
      coverage += alpha;
    }
  }
  if (coverage == 0 || width <= 0) return glyph;
  const QRgb outline = luminance / coverage < 0.5 ? qRgb(255, 255, 255) : qRgb(0, 0, 0);
  // The outline's coverage: the glyph's, spread over a disc of `width`.
  QImage result(source.size(), QImage::Format_ARGB32);
  for (int y = 0; y < source.height(); ++y) {
    auto* out = reinterpret_cast<QRgb*>(result.scanLine(y));
    for (int x = 0; x < source.width(); ++x) {
      int alpha = 0;
      for (int dy = -width; dy <= width; ++dy) {
        const int sy = y + dy;
        if (sy < 0 || sy >= source.height()) continue;
        const auto* row = reinterpret_cast<const QRgb*>(source.constScanLine(sy));
        for (int dx = -width; dx <= width; ++dx) {
          const int sx = x + dx;
          if (sx < 0 || sx >= source.width() || dx * dx + dy * dy > width * width) continue;
          alpha = std::max(alpha, qAlpha(row[sx]));
        }
      }
      out[x] = qRgba(qRed(outline), qGreen(outline), qBlue(outline), alpha);
    }
  }
  QPainter painter(&result);
  painter.drawImage(0, 0, source);
  return result;
}

QImage QtStatusItem::drawButton(const QPixmap& picture, QSize size, int height) {
  const double scale = static_cast<double>(height) / size.height();
  const QSize scaled(std::max(1, static_cast<int>(std::lround(size.width() * scale))), height);
  QImage image(scaled, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::TextAntialiasing);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  if (!picture.isNull()) {
    const QPixmap fitted = picture.scaledToHeight(height, Qt::SmoothTransformation);
    painter.drawPixmap(0, (height - fitted.height()) / 2, fitted);
  }
  // Views are drawn through the scaled painter, so text and shapes are drawn
  // at the target size rather than enlarged from the item's own.
  painter.scale(scale, scale);
  for (const auto& view : subviews_) {
    auto* qtView = dynamic_cast<QtView*>(view.get());
    QWidget* widget = qtView != nullptr ? qtView->widget() : nullptr;
    if (widget == nullptr) continue;
    painter.save();
    painter.translate(widget->pos());
    widget->render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
    painter.restore();
  }
  return image;
}

void QtStatusItem::redraw() {
  const QPixmap picture = image_ && position_ != ImagePosition::noImage ? toQPixmap(*image_) : QPixmap();
  const QSize size = buttonSize(picture);
  container_.resize(size);
  const auto outlined = [&](int height) {
    return QPixmap::fromImage(withContrastingOutline(drawButton(picture, size, height), std::max(1, height / 16)));
  };
  pixmap_ = outlined(size.height());
  QIcon icon(pixmap_);
  for (const int height : trayIconHeights) {
    if (height != size.height()) icon.addPixmap(outlined(height));
  }
  tray_.setIcon(icon);
}

}  // namespace Plinth
