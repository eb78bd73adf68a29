// Text attachments and attributes in Qt's terms: fonts measured by Qt, and
// attribute sets as Qt's character and block formats.
#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QTextBlockFormat>
#include <QTextCharFormat>
#include <optional>

#include "Plinth/desktop/text_attachment.h"

namespace Plinth {

// `font` with the cap height Qt measures for it.
[[nodiscard]] Font fontFromQFont(const QFont& font);
// The Qt font: the application's font at the size for the system font.
[[nodiscard]] QFont toQFont(const Font& font);
// The colour; the label colour is `palette`'s window text.
[[nodiscard]] QColor toQColor(const Color& color, const QPalette& palette);
[[nodiscard]] Qt::Alignment toQtAlignment(TextAlignment alignment);
// The font and colour of `attributes` (absent ones stay unset).
[[nodiscard]] QTextCharFormat toCharFormat(const TextAttributes& attributes, const QPalette& palette);
// The paragraph style of `attributes`.
[[nodiscard]] QTextBlockFormat toBlockFormat(const TextAttributes& attributes);

// The size of the encoded image, read from its header; absent when Qt cannot
// read it.
[[nodiscard]] std::optional<Size> imageSize(const Image& image);
// An attachment of `image` measured by Qt; without a font, or for an image
// Qt cannot read, the empty attachment.
[[nodiscard]] ImageAttachment makeImageAttachment(const Image& image, const std::optional<QFont>& font);

}  // namespace Plinth
