#include "Plinth/desktop/photo_effect.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Plinth {

std::string_view rawValue(PhotoEffect effect) {
  switch (effect) {
    case PhotoEffect::mono:
      return "CIPhotoEffectMono";
    case PhotoEffect::tonal:
      return "CIPhotoEffectTonal";
    case PhotoEffect::noir:
      return "CIPhotoEffectNoir";
  }
  return {};
}

std::optional<PhotoEffect> photoEffect(std::string_view text) {
  for (const PhotoEffect effect : {PhotoEffect::mono, PhotoEffect::tonal, PhotoEffect::noir}) {
    if (rawValue(effect) == text) return effect;
  }
  return std::nullopt;
}

Pixels applying(PhotoEffect effect, Pixels pixels) {
  if (pixels.width < 0 || pixels.height < 0 ||
      pixels.rgba.size() != static_cast<std::size_t>(pixels.width) * static_cast<std::size_t>(pixels.height) * 4U) {
    return pixels;
  }
  for (std::size_t i = 0; i + 3 < pixels.rgba.size(); i += 4) {
    const double r = pixels.rgba[i];
    const double g = pixels.rgba[i + 1];
    const double b = pixels.rgba[i + 2];
    double grey = 0;
    switch (effect) {
      case PhotoEffect::mono:
        grey = 0.2126 * r + 0.7152 * g + 0.0722 * b;
        break;
      case PhotoEffect::tonal:
        grey = 0.299 * r + 0.587 * g + 0.114 * b;
        grey = grey + (127.5 - grey) * 0.25;
        break;
      case PhotoEffect::noir:
        grey = 0.299 * r + 0.587 * g + 0.114 * b;
        grey = (grey - 127.5) * 1.5 + 127.5;
        break;
    }
    const auto value = static_cast<std::uint8_t>(std::lround(std::clamp(grey, 0.0, 255.0)));
    pixels.rgba[i] = pixels.rgba[i + 1] = pixels.rgba[i + 2] = value;
  }
  return pixels;
}

}  // namespace Plinth
