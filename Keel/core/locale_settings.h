// The user's locale, time zone and week rules as one value, so that every
// calendar and number text can be produced for settings given explicitly.
#pragma once

#include <string>

namespace Keel {

// Which locale, time zone and week rules a calendar or formatter uses. A plain
// value: tests build one directly; production code takes `current()`.
struct LocaleSettings {
  // A locale identifier such as "en_US", "de_DE" or "en_US_POSIX". Texts use
  // this locale's symbols and separators; calendars are always Gregorian and
  // digits always Latin whatever the locale asks for. A locale ICU has no
  // data for falls back to the process's locale.
  std::string localeIdentifier = "en_US_POSIX";
  // A time-zone identifier such as "Europe/Berlin" or "UTC". An unknown one
  // behaves as UTC.
  std::string timeZoneIdentifier = "UTC";
  // First day of the week, 1 = Sunday ... 7 = Saturday. Out of range counts
  // as 1, as does a minimal day count out of range.
  int firstWeekday = 1;
  // How many days of a week must fall in the new year for it to be week 1
  // (1 ... 7).
  int minimalDaysInFirstWeek = 1;

  // The locale and zone named, with the week rules that locale uses (Sunday
  // and 1 for en_US, Monday and 4 for de_DE).
  [[nodiscard]] static LocaleSettings forLocale(std::string localeIdentifier, std::string timeZoneIdentifier);

  // The process's settings: the locale from LC_ALL / LC_MESSAGES / LANG (the C
  // and POSIX locales give "en_US_POSIX"), the zone from TZ or the system's
  // zone, the locale's week rules. Read once, on first use, and kept: later
  // changes to the environment are not seen. Safe from any thread.
  [[nodiscard]] static const LocaleSettings& current();
};

}  // namespace Keel
