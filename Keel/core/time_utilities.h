// Clock-style texts for nanosecond durations, unit-converted duration texts,
// and the process-wide named stopwatch.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>

#include "Keel/core/fatal_error.h"
#include "Keel/core/locale_settings.h"

namespace Keel {

// Units a duration amount can be given in and converted to.
enum class DurationUnit { hours, minutes, seconds, milliseconds, microseconds, nanoseconds, picoseconds };

class TimeUtilities {
 public:
  TimeUtilities() = delete;

  // A clock text for `nanoseconds`:
  //   0                     "00:00.000.000"
  //   below one second      "00:00" and the milliseconds as ".%03d": 500 ms is "00:00.500"
  //   below one hour        "MM:SS" (all minutes, seconds of the minute), then "." and the
  //                         first three digits of the whole millisecond count:
  //                         61 234 ms is "01:01.612" (not ".234")
  //   one hour or more      "MM:SS:00" with the same two values and a third field that is
  //                         always "00", then "." and the same three digits:
  //                         3 725 000 ms is "62:05:00.372"
  // The third field has no value of its own; it is fixed at zero so that the
  // text never shows anything unrelated to the duration.
  [[nodiscard]] static std::string string(std::uint64_t nanoseconds);

  // `value` in `unit`, converted to `convertedTo` and formatted with the unit's
  // short name in the settings' locale, with up to three fraction digits and
  // the locale's grouping: 90 minutes in hours is "1.5 hr" in en_US and
  // "1,5 Std." in de_DE. A signed amount must not be negative: a negative one
  // stops the process. Empty when ICU cannot format.
  template <std::signed_integral Amount>
  [[nodiscard]] static std::string string(Amount value, DurationUnit unit, DurationUnit convertedTo,
                                          const LocaleSettings& settings = LocaleSettings::current()) {
    if (value < 0) fatalError("Negative value is not representable as a duration amount.");
    return formatDuration(static_cast<long double>(value), unit, convertedTo, settings);
  }
  // The same for an unsigned amount, passed as it is.
  template <std::unsigned_integral Amount>
  [[nodiscard]] static std::string string(Amount value, DurationUnit unit, DurationUnit convertedTo,
                                          const LocaleSettings& settings = LocaleSettings::current()) {
    return formatDuration(static_cast<long double>(value), unit, convertedTo, settings);
  }

  // Starts (or restarts) the process-wide stopwatch named `name`. Any thread.
  static void start(const std::string& name);
  // Prints "<name>: <elapsed> ms" and a newline to standard output, with the
  // elapsed time since start(name) in seconds (despite the "ms") and three
  // decimals, then forgets `name`. Prints nothing when `name` was not started.
  // A start followed by a stop on the same thread always finds the start.
  static void stop(const std::string& name);

 private:
  [[nodiscard]] static std::string formatDuration(long double value, DurationUnit unit, DurationUnit convertedTo,
                                                  const LocaleSettings& settings);
};

}  // namespace Keel
