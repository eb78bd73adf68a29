// Fixed-decimal texts, decimal rounding, rounding to a multiple, a non-finite
// test and a grouped integer text, as free functions on numbers.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>

#include "Keel/core/locale_settings.h"

namespace Keel {

// The value as printf's "%.1f" ... "%.5f" gives it: the exact binary value
// rounded half-to-even on its decimal expansion, so 2.675 (really
// 2.67499999...) is "2.67" with two decimals. Always "." as decimal separator,
// whatever the C locale; "inf", "-inf", "nan" for non-finite values.
[[nodiscard]] std::string oneDecimal(double value);
[[nodiscard]] std::string twoDecimals(double value);
[[nodiscard]] std::string threeDecimals(double value);
[[nodiscard]] std::string fourDecimals(double value);
[[nodiscard]] std::string fiveDecimals(double value);

// round(value * 10^places) / 10^places with halves away from zero, computed in
// doubles: 0.125 gives 0.13, 2.675 gives 2.68 (the product is exactly 267.5),
// -1.005 gives -1.0 (the product is -100.49999999999999). Negative places
// round to tens, hundreds...: 1234.5 with -2 gives 1200.
[[nodiscard]] double rounded(double value, int toPlaces);

// How a value is rounded to an integral one.
enum class RoundingRule { toNearestOrAwayFromZero, toNearestOrEven, up, down, towardZero, awayFromZero };

// `value` rounded to an integral value by `rule`. NaN and infinities pass
// through; the sign of zero is kept (-0.4 to nearest is -0.0).
template <std::floating_point T>
[[nodiscard]] T rounded(T value, RoundingRule rule) {
  switch (rule) {
    case RoundingRule::toNearestOrAwayFromZero:
      return std::round(value);
    case RoundingRule::toNearestOrEven: {
      // remainder() picks the even quotient on a tie and is exact, so the
      // difference is the nearest-even integer in any rounding mode.
      if (!std::isfinite(value)) return value;
      const T result = value - std::remainder(value, T(1));
      return result == 0 ? std::copysign(T(0), value) : result;
    }
    case RoundingRule::up:
      return std::ceil(value);
    case RoundingRule::down:
      return std::floor(value);
    case RoundingRule::towardZero:
      return std::trunc(value);
    case RoundingRule::awayFromZero:
      return std::signbit(value) ? std::floor(value) : std::ceil(value);
  }
  return value;
}

// (value / step) rounded by `rule`, times step: 7.3 to a multiple of 0.5 down
// is 7.0. The step converts to the value's type (a step of 1 is fine for a
// float). A zero step gives NaN (0/0 or infinity times zero), as the
// arithmetic does.
template <std::floating_point T>
[[nodiscard]] T rounded(T value, std::type_identity_t<T> toMultipleOf, RoundingRule rule) {
  return rounded(value / toMultipleOf, rule) * toMultipleOf;
}

// True exactly when every exponent bit is set: infinity or any NaN.
[[nodiscard]] bool isNotFinite(double value);

// `value` in decimal with the settings' locale's grouping separator and group
// sizes: "1,234,567" in en_US, "1.234.567" in de_DE, "1234567" in en_US_POSIX
// (the C locale), which groups nothing. Empty when ICU cannot format.
[[nodiscard]] std::string groupedString(std::int64_t value, const LocaleSettings& settings = LocaleSettings::current());

}  // namespace Keel
