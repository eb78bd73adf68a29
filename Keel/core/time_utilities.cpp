// Nanosecond clock texts (printf), duration texts (ICU number formatting with
// measure units) and the forwarding of the stopwatch to the shared one.
#include "Keel/core/time_utilities.h"

#include <unicode/measunit.h>
#include <unicode/numberformatter.h>

#include <cmath>
#include <cstdio>

#include "Keel/core/icu_support.h"
#include "Keel/core/stopwatch.h"

namespace Keel {
namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::uint64_t nanosecondsPerHour = 3'600 * nanosecondsPerSecond;

// The unit's length in picoseconds, the smallest unit, so that every ratio is
// a product of exact powers of ten and small integers.
long double picoseconds(DurationUnit unit) {
  switch (unit) {
    case DurationUnit::hours:
      return 3.6e15L;
    case DurationUnit::minutes:
      return 6e13L;
    case DurationUnit::seconds:
      return 1e12L;
    case DurationUnit::milliseconds:
      return 1e9L;
    case DurationUnit::microseconds:
      return 1e6L;
    case DurationUnit::nanoseconds:
      return 1e3L;
    case DurationUnit::picoseconds:
      return 1;
  }
  return 1;
}

icu::MeasureUnit measureUnit(DurationUnit unit) {
  switch (unit) {
    case DurationUnit::hours:
      return icu::MeasureUnit::getHour();
    case DurationUnit::minutes:
      return icu::MeasureUnit::getMinute();
    case DurationUnit::seconds:
      return icu::MeasureUnit::getSecond();
    case DurationUnit::milliseconds:
      return icu::MeasureUnit::getMillisecond();
    case DurationUnit::microseconds:
      return icu::MeasureUnit::getMicrosecond();
    case DurationUnit::nanoseconds:
      return icu::MeasureUnit::getNanosecond();
    case DurationUnit::picoseconds:
      break;
  }
  // ICU has no constant for picoseconds but builds it from the SI prefix.
  UErrorCode status = U_ZERO_ERROR;
  icu::MeasureUnit result = icu::MeasureUnit::forIdentifier("picosecond", status);
  return U_SUCCESS(status) ? result : icu::MeasureUnit::getNanosecond();
}

}  // namespace

std::string TimeUtilities::string(std::uint64_t nanoseconds) {
  const unsigned long long totalMinutes = nanoseconds / (60 * nanosecondsPerSecond);
  const unsigned long long secs = (nanoseconds / nanosecondsPerSecond) % 60;
  const unsigned long long totalMs = nanoseconds / 1'000'000;
  char text[64];
  std::string result;
  if (nanoseconds == 0) {
    result = "00:00.000";
  } else if (nanoseconds < nanosecondsPerHour) {
    std::snprintf(text, sizeof text, "%02llu:%02llu", totalMinutes, secs);
    result = text;
  } else {
    // The third field has no value of its own: it is always zero.
    std::snprintf(text, sizeof text, "%02llu:%02llu:%02d", totalMinutes, secs, 0);
    result = text;
  }
  if (nanoseconds >= nanosecondsPerSecond) {
    // The leading digits of the whole count, not the remainder: 61 234 ms
    // gives 612. Counts from one second up have at least four digits.
    std::snprintf(text, sizeof text, "%llu", totalMs);
    result += '.';
    result.append(text, 3);
  } else {
    std::snprintf(text, sizeof text, ".%03llu", totalMs);
    result += text;
  }
  return result;
}

std::string TimeUtilities::formatDuration(long double value, DurationUnit unit, DurationUnit convertedTo,
                                          const LocaleSettings& settings) {
  const auto converted = static_cast<double>(value * picoseconds(unit) / picoseconds(convertedTo));
  UErrorCode status = U_ZERO_ERROR;
  const auto formatted = icu::number::NumberFormatter::withLocale(icu_support::locale(settings))
                             .unit(measureUnit(convertedTo))
                             .unitWidth(UNUM_UNIT_WIDTH_SHORT)
                             .precision(icu::number::Precision::maxFraction(3))
                             .formatDouble(converted, status);
  icu::UnicodeString text = formatted.toString(status);
  if (U_FAILURE(status)) return {};
  return icu_support::toUtf8(text);
}

void TimeUtilities::start(const std::string& name) { Stopwatch::shared().start(name); }

void TimeUtilities::stop(const std::string& name) { Stopwatch::shared().stop(name); }

}  // namespace Keel
