#include "Plinth/desktop/text_attachment.h"

#include <gtest/gtest.h>

namespace Plinth {
namespace {

TEST(ImageAttachment, CentresTheImageOnTheCapHeightRoundingBeforeHalving) {
  const Image image = Image::fromData({1, 2, 3});
  const Font font{"DejaVu Sans", 13, 11};
  const ImageAttachment sixteen(image, {16, 16}, font);
  EXPECT_EQ(sixteen.bounds(), (Rect{0, -2.5, 16, 16}));
  EXPECT_EQ(sixteen.image(), image);
  EXPECT_EQ(ImageAttachment(image, {20, 17}, font).bounds(), (Rect{0, -3, 20, 17}));
  // Halves are rounded away from zero before the halving.
  EXPECT_EQ(ImageAttachment::verticalOffset(11, 16.5), -3);    // round(-5.5) = -6
  EXPECT_EQ(ImageAttachment::verticalOffset(11, 5.5), 3);      // round(5.5) = 6
  EXPECT_EQ(ImageAttachment::verticalOffset(11, 15.6), -2.5);  // round(-4.6) = -5

  // A font nobody measured, as attributes(color:alignment:fontSize:) makes
  // them, counts with an estimated cap height, not with none (-8).
  const auto attributes = TextUtilities::attributes(Color::label(), TextAlignment::left, 15);
  const auto& systemFont = std::get<Font>(attributes.at(TextAttributeKey::font));
  EXPECT_EQ(ImageAttachment(image, {16, 16}, systemFont).bounds().y, -2.5);  // cap height 10.8
  EXPECT_EQ(ImageAttachment(image, {16, 16}, Font{"DejaVu Sans", 0, std::nullopt}).bounds().y, -8);

  const ImageAttachment withoutFont(image, {16, 16}, std::nullopt);
  EXPECT_FALSE(withoutFont.image());
  EXPECT_EQ(withoutFont.bounds(), Rect{});
}

TEST(ImageAttachmentDeathTest, IsNeverMadeFromDataAndAType) {
  EXPECT_DEATH((void)ImageAttachment::fromData({1}, "public.png"), "has not been implemented");
}

TEST(TextUtilities, AttributesForAFontOrASizeWithAColourAndAnAlignment) {
  const Font font{"DejaVu Serif", 12, 9};
  const auto forFont = TextUtilities::attributes(font, TextAlignment::center);
  EXPECT_EQ(std::get<Font>(forFont.at(TextAttributeKey::font)), font);
  EXPECT_EQ(std::get<Color>(forFont.at(TextAttributeKey::foregroundColor)), Color::label());
  EXPECT_EQ(std::get<ParagraphStyle>(forFont.at(TextAttributeKey::paragraphStyle)).alignment, TextAlignment::center);

  const Color red{1, 0, 0, 1, Color::System::none};
  const auto forSize = TextUtilities::attributes(red, TextAlignment::right, 15);
  EXPECT_EQ(std::get<Font>(forSize.at(TextAttributeKey::font)), Font::system(15));
  EXPECT_EQ(std::get<Color>(forSize.at(TextAttributeKey::foregroundColor)), red);
  EXPECT_EQ(std::get<ParagraphStyle>(forSize.at(TextAttributeKey::paragraphStyle)).alignment, TextAlignment::right);
  // The default style itself is left as it was.
  EXPECT_EQ(ParagraphStyle::defaultStyle().alignment, TextAlignment::natural);
}

}  // namespace
}  // namespace Plinth
