// Number texts: to_chars for fixed decimals (printf's rounding without its
// locale dependence), ICU's NumberFormatter for grouped integers.
#include "Keel/core/number_formatting.h"

#include <unicode/numberformatter.h>

#include <bit>
#include <charconv>

#include "Keel/core/icu_support.h"

namespace Keel {
namespace {

std::string fixed(double value, int decimals) {
  // The widest finite double in fixed notation is 309 digits plus decimals.
  char text[400];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals).ptr;
  return std::string(text, end);
}

}  // namespace

std::string oneDecimal(double value) { return fixed(value, 1); }
std::string twoDecimals(double value) { return fixed(value, 2); }
std::string threeDecimals(double value) { return fixed(value, 3); }
std::string fourDecimals(double value) { return fixed(value, 4); }
std::string fiveDecimals(double value) { return fixed(value, 5); }

double rounded(double value, int toPlaces) {
  const double scale = std::pow(10.0, toPlaces);
  return std::round(value * scale) / scale;
}

bool isNotFinite(double value) {
  constexpr std::uint64_t exponentBits = 0x7ffULL << 52;
  return (std::bit_cast<std::uint64_t>(value) & exponentBits) == exponentBits;
}

std::string groupedString(std::int64_t value, const LocaleSettings& settings) {
  // The locale's own symbols and grouping strategy: a locale whose decimal
  // pattern has no grouping (en_US_POSIX) prints the digits ungrouped.
  UErrorCode status = U_ZERO_ERROR;
  const auto formatted = icu_support::threadDecimalFormatter(settings).formatInt(value, status);
  icu::UnicodeString text = formatted.toString(status);
  if (U_FAILURE(status)) return {};
  return icu_support::toUtf8(text);
}

}  // namespace Keel
