// Three monochrome photo effects, named by the filter identifiers other
// programs store, and applied to pixels here.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "Plinth/desktop/image_pixels.h"

namespace Plinth {

enum class PhotoEffect : std::uint8_t { mono, tonal, noir };

// "CIPhotoEffectMono", "CIPhotoEffectTonal", "CIPhotoEffectNoir".
[[nodiscard]] std::string_view rawValue(PhotoEffect effect);
// The effect of exactly one of those three texts; absent for anything else.
[[nodiscard]] std::optional<PhotoEffect> photoEffect(std::string_view rawValue);

// The effect applied to every pixel; alpha is kept. Each is a grey made from
// a weighted sum of the channels:
// - mono: Rec. 709 luma (0.2126 R + 0.7152 G + 0.0722 B), as it is;
// - tonal: Rec. 601 luma (0.299 R + 0.587 G + 0.114 B) pulled a quarter of
//   the way towards mid grey, for the flatter tones of that look;
// - noir: Rec. 601 luma with its contrast raised by half around mid grey,
//   clamped, for deep blacks and bright whites.
// Pixels whose buffer does not match width * height * 4 come back unchanged.
[[nodiscard]] Pixels applying(PhotoEffect effect, Pixels pixels);

}  // namespace Plinth

template <>
struct std::hash<Plinth::PhotoEffect> {
  std::size_t operator()(Plinth::PhotoEffect effect) const noexcept {
    return std::hash<int>()(static_cast<int>(effect));
  }
};
