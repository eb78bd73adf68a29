// Colours as toolkit-neutral values: either given components, or one of the
// desktop's own colours that a toolkit resolves for the current appearance.
#pragma once

namespace Plinth {

struct Color {
  enum class System { none, label };
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  System system = System::none;  // when not none, the components are unused

  [[nodiscard]] static constexpr Color white() { return {1, 1, 1, 1, System::none}; }
  [[nodiscard]] static constexpr Color black() { return {0, 0, 0, 1, System::none}; }
  // The colour of primary text (black on light, white on dark desktops).
  [[nodiscard]] static constexpr Color label() { return {0, 0, 0, 1, System::label}; }
  friend bool operator==(const Color&, const Color&) = default;
};

}  // namespace Plinth
