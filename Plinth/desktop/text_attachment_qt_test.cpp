#include "Plinth/desktop/text_attachment_qt.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QBuffer>
#include <QImage>

namespace Plinth {
namespace {

Image png(int width, int height) {
  QImage picture(width, height, QImage::Format_ARGB32);
  picture.fill(Qt::red);
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  picture.save(&buffer, "PNG");
  return Image::fromData({bytes.begin(), bytes.end()});
}

TEST(QtTextAttachment, MeasuresTheImageAndTheFontsCapHeight) {
  QFont font("DejaVu Sans");
  font.setPixelSize(12);
  const Font measured = fontFromQFont(font);
  ASSERT_TRUE(measured.capHeight);
  EXPECT_GT(*measured.capHeight, 0);

  const ImageAttachment attachment = makeImageAttachment(png(16, 17), font);
  EXPECT_EQ(attachment.bounds().width, 16);
  EXPECT_EQ(attachment.bounds().height, 17);
  EXPECT_EQ(attachment.bounds().y, ImageAttachment::verticalOffset(*measured.capHeight, 17));

  EXPECT_FALSE(makeImageAttachment(png(4, 4), std::nullopt).image());
  EXPECT_FALSE(makeImageAttachment(Image::fromData({1, 2, 3}), font).image());  // not an image
}

TEST(QtTextAttachment, AttributesBecomeCharacterAndBlockFormats) {
  QPalette palette;
  palette.setColor(QPalette::WindowText, Qt::darkGreen);
  const auto labelled = TextUtilities::attributes(Font{"DejaVu Serif", 14, 10}, TextAlignment::center);
  const QTextCharFormat character = toCharFormat(labelled, palette);
  EXPECT_EQ(character.font().family(), "DejaVu Serif");
  EXPECT_EQ(character.font().pointSizeF(), 14);
  EXPECT_EQ(character.foreground().color(), QColor(Qt::darkGreen));
  EXPECT_EQ(toBlockFormat(labelled).alignment(), Qt::AlignHCenter);

  const auto sized = TextUtilities::attributes(Color{0, 0, 1, 1, Color::System::none}, TextAlignment::right, 9);
  EXPECT_EQ(toCharFormat(sized, palette).font().family(), QApplication::font().family());
  EXPECT_EQ(toCharFormat(sized, palette).font().pointSizeF(), 9);
  EXPECT_EQ(toCharFormat(sized, palette).foreground().color(), QColor(Qt::blue));
  EXPECT_EQ(toBlockFormat(sized).alignment(), Qt::AlignRight | Qt::AlignAbsolute);
}

}  // namespace
}  // namespace Plinth
