// Plinth::Image decoded by Qt (PNG, JPEG and GIF built in; SVG, ICNS, TIFF,
// WebP through Qt's image-format plugins).
#pragma once

#include <QPixmap>

#include "Plinth/desktop/image.h"

namespace Plinth {

// The decoded image; a null pixmap when Qt cannot decode the bytes.
[[nodiscard]] QPixmap toQPixmap(const Image& image);

}  // namespace Plinth
