// Images decoded to pixels, for the code that works on pixels (effects,
// comparisons in tests) rather than handing bytes to a toolkit.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Plinth/desktop/image.h"

namespace Plinth {

// Decoded pixels: 8-bit RGBA rows without padding, not premultiplied.
struct Pixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgba;
  friend bool operator==(const Pixels&, const Pixels&) = default;
};

// The image's pixels: PNG, SVG, XPM, ICO, ICNS (application bundles ship
// these; the largest image the file holds) and the other formats of the
// system's image loaders. Absent when the bytes are no image a loader takes,
// or the image has over 64 million pixels.
[[nodiscard]] std::optional<Pixels> decodePixels(const Image& image);

}  // namespace Plinth
