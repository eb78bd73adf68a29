#include "Plinth/desktop/text_attachment.h"

#include <cmath>
#include <string>

#include "Keel/core/fatal_error.h"

namespace Plinth {

double ImageAttachment::verticalOffset(double capHeight, double imageHeight) {
  // std::round takes halves away from zero; the halving comes after it.
  return std::round(capHeight - imageHeight) * 0.5;
}

ImageAttachment::ImageAttachment(const Image& image, Size imageSize, const std::optional<Font>& font) {
  if (!font) return;
  bounds_ = Rect{0, verticalOffset(font->effectiveCapHeight(), imageSize.height), imageSize.width, imageSize.height};
  image_ = image;
}

ImageAttachment ImageAttachment::fromData(const std::vector<std::uint8_t>& /*data*/, std::string_view type) {
  Keel::fatalError("ImageAttachment: init(data:ofType:) has not been implemented (type " + std::string(type) + ")");
}

TextAttributes TextUtilities::attributes(const Font& font, TextAlignment alignment) {
  ParagraphStyle style = ParagraphStyle::defaultStyle();
  style.alignment = alignment;
  return {{TextAttributeKey::font, font},
          {TextAttributeKey::foregroundColor, Color::label()},
          {TextAttributeKey::paragraphStyle, style}};
}

TextAttributes TextUtilities::attributes(const Color& color, TextAlignment alignment, double fontSize) {
  ParagraphStyle style = ParagraphStyle::defaultStyle();
  style.alignment = alignment;
  return {{TextAttributeKey::font, Font::system(fontSize)},
          {TextAttributeKey::foregroundColor, color},
          {TextAttributeKey::paragraphStyle, style}};
}

}  // namespace Plinth
