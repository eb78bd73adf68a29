#include "Plinth/desktop/text_attachment_qt.h"

#include <QApplication>
#include <QBuffer>
#include <QByteArray>
#include <QFontMetricsF>
#include <QImageReader>
#include <cmath>

namespace Plinth {

Font fontFromQFont(const QFont& font) {
  return Font{font.family().toStdString(), font.pointSizeF(), QFontMetricsF(font).capHeight()};
}

QFont toQFont(const Font& font) {
  QFont result = font.isSystemFont() ? QApplication::font() : QFont(QString::fromStdString(font.family));
  if (font.pointSize > 0) result.setPointSizeF(font.pointSize);
  return result;
}

QColor toQColor(const Color& color, const QPalette& palette) {
  if (color.system == Color::System::label) return palette.color(QPalette::WindowText);
  return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                          static_cast<float>(color.blue), static_cast<float>(color.alpha));
}

Qt::Alignment toQtAlignment(TextAlignment alignment) {
  switch (alignment) {
    case TextAlignment::left:
      return Qt::AlignLeft | Qt::AlignAbsolute;
    case TextAlignment::right:
      return Qt::AlignRight | Qt::AlignAbsolute;
    case TextAlignment::center:
      return Qt::AlignHCenter;
    case TextAlignment::justified:
      return Qt::AlignJustify;
    case TextAlignment::natural:
      break;
  }
  return Qt::AlignLeading;  // follows the text's direction
}

QTextCharFormat toCharFormat(const TextAttributes& attributes, const QPalette& palette) {
  QTextCharFormat format;
  if (auto it = attributes.find(TextAttributeKey::font); it != attributes.end()) {
    format.setFont(toQFont(std::get<Font>(it->second)));
  }
  if (auto it = attributes.find(TextAttributeKey::foregroundColor); it != attributes.end()) {
    format.setForeground(toQColor(std::get<Color>(it->second), palette));
  }
  return format;
}

QTextBlockFormat toBlockFormat(const TextAttributes& attributes) {
  QTextBlockFormat format;
  if (auto it = attributes.find(TextAttributeKey::paragraphStyle); it != attributes.end()) {
    format.setAlignment(toQtAlignment(std::get<ParagraphStyle>(it->second).alignment));
  }
  return format;
}

std::optional<Size> imageSize(const Image& image) {
  const auto& bytes = image.data();
  QByteArray data =
      QByteArray::fromRawData(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
  QBuffer buffer(&data);
  buffer.open(QIODevice::ReadOnly);
  QImageReader reader(&buffer);
  const QSize size = reader.size();
  if (!size.isValid()) return std::nullopt;
  return Size{static_cast<double>(size.width()), static_cast<double>(size.height())};
}

ImageAttachment makeImageAttachment(const Image& image, const std::optional<QFont>& font) {
  const auto size = imageSize(image);
  if (!font || !size) return {};
  return {image, *size, fontFromQFont(*font)};
}

}  // namespace Plinth
