// Calendar and duration helpers: today's calendar fields and a
// days:hours:minutes:seconds text.
#pragma once

#include <cstdint>
#include <string>

#include "Keel/core/date.h"
#include "Keel/core/locale_settings.h"

namespace Keel {

class DateUtilities {
 public:
  DateUtilities() = delete;

  // The day of month (1...31), month (1...12) and year of `now` on the
  // Gregorian calendar in the settings' time zone. When the calendar gives no
  // value, the day and the month fall back to 1 and the year to 0.
  [[nodiscard]] static int currentDay(const LocaleSettings& settings = LocaleSettings::current(),
                                      Date now = Date::now());
  [[nodiscard]] static int currentMonth(const LocaleSettings& settings = LocaleSettings::current(),
                                        Date now = Date::now());
  [[nodiscard]] static int currentYear(const LocaleSettings& settings = LocaleSettings::current(),
                                       Date now = Date::now());

  // Seconds as "days:hours:minutes:seconds" with printf paddings. The hours
  // field counts all hours (not reduced modulo 24), and fields below the
  // largest unit keep their sign: 3665 gives "00: 1: 1:05", 90061 gives
  // " 1:25:01:01", -75 gives "00:00:-1:-15".
  [[nodiscard]] static std::string durationString(std::int64_t seconds);
};

}  // namespace Keel
