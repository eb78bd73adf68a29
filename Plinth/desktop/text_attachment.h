// Styled-text helpers that stay free of any toolkit: an inline image centred
// on the capital height of the text around it, and the attribute sets for a
// font or font size, a colour and an alignment. Toolkits convert them
// (plinth_qt: text_attachment_qt.h).
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Plinth/desktop/color.h"
#include "Plinth/desktop/image.h"

namespace Plinth {

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const Rect&, const Rect&) = default;
};

// The cap height of user-interface fonts per point of size (DejaVu Sans
// 0.73, Helvetica 0.72, SF 0.70): what a font counts with until a toolkit
// measures it, so that an unmeasured font never sets images as if its
// capitals had no height.
inline constexpr double capHeightPerPoint = 0.72;

// A font as text is set in it. The cap height (the height of a capital
// letter above the baseline) is measured by a toolkit; until one does, it is
// estimated from the size.
struct Font {
  std::string family;  // empty: the desktop's user-interface font
  double pointSize = 0;
  std::optional<double> capHeight;

  [[nodiscard]] static Font system(double pointSize) { return Font{{}, pointSize, std::nullopt}; }
  [[nodiscard]] bool isSystemFont() const { return family.empty(); }
  // The measured cap height, else pointSize * capHeightPerPoint.
  [[nodiscard]] double effectiveCapHeight() const { return capHeight.value_or(pointSize * capHeightPerPoint); }
  friend bool operator==(const Font&, const Font&) = default;
};

class ImageAttachment {
 public:
  // No image and default (empty) bounds.
  ImageAttachment() = default;
  // `image` of `imageSize` (points; the toolkit that decodes the image knows
  // it), set inline: without a font the attachment stays empty, as the plain
  // one is. With one, it is lowered by round(capHeight - height) / 2, the
  // rounding taking halves away from zero before the halving, so the offset
  // may end in .5 (a font without a measured cap height counts with the
  // estimate of effectiveCapHeight).
  ImageAttachment(const Image& image, Size imageSize, const std::optional<Font>& font);

  // Attachments are never made from encoded data and a type: stops the
  // process saying so.
  [[noreturn]] static ImageAttachment fromData(const std::vector<std::uint8_t>& data, std::string_view type);

  [[nodiscard]] const std::optional<Image>& image() const { return image_; }
  [[nodiscard]] const Rect& bounds() const { return bounds_; }

  // round(capHeight - imageHeight) * 0.5.
  [[nodiscard]] static double verticalOffset(double capHeight, double imageHeight);

 private:
  std::optional<Image> image_;
  Rect bounds_;
};

enum class TextAlignment { left, right, center, justified, natural };

struct ParagraphStyle {
  TextAlignment alignment = TextAlignment::natural;
  // The style text has unless it asks for another.
  [[nodiscard]] static ParagraphStyle defaultStyle() { return {}; }
  friend bool operator==(const ParagraphStyle&, const ParagraphStyle&) = default;
};

enum class TextAttributeKey { font, foregroundColor, paragraphStyle };
using TextAttributeValue = std::variant<Font, Color, ParagraphStyle>;
using TextAttributes = std::map<TextAttributeKey, TextAttributeValue>;

class TextUtilities {
 public:
  // `font`, the label colour and the default paragraph style aligned as asked.
  [[nodiscard]] static TextAttributes attributes(const Font& font, TextAlignment alignment);
  // The system font of `fontSize`, `color` and the same paragraph style.
  [[nodiscard]] static TextAttributes attributes(const Color& color, TextAlignment alignment, double fontSize);
};

}  // namespace Plinth
