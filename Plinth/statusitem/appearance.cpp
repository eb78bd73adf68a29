#include "Plinth/statusitem/appearance.h"

#include <utility>

namespace Plinth {

void FixedAppearance::setAppearanceName(std::string name) {
  if (name == name_) return;
  name_ = std::move(name);
  if (handler_) handler_();
}

std::string appearanceNameForColorScheme(std::uint32_t colorScheme) { return colorScheme == 1 ? "dark" : "light"; }

}  // namespace Plinth
