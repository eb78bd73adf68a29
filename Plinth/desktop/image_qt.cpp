#include "Plinth/desktop/image_qt.h"

namespace Plinth {

QPixmap toQPixmap(const Image& image) {
  QPixmap pixmap;
  const auto& bytes = image.data();
  if (!pixmap.loadFromData(bytes.data(), static_cast<uint>(bytes.size()))) return {};
  return pixmap;
}

}  // namespace Plinth
