// An absolute instant and the calendar operations on it: parsing, building
// from fields, week and month boundaries, calendar arithmetic, a day text.
#pragma once

#include <compare>
#include <functional>
#include <string>
#include <string_view>

#include "Keel/core/locale_settings.h"

namespace Keel {

class Date;

// Where "now" comes from. Production code uses systemClock(); tests pass a
// function returning a fixed instant.
using Clock = std::function<Date()>;

// An instant, given and taken as seconds since 1970-01-01T00:00:00Z. A plain
// value: copying is free and every operation returns a new date. It is stored
// as seconds since 2001-01-01T00:00:00Z, the epoch of property-list dates, so
// that a date read from a property list is written back bit for bit (moving a
// fractional value between epochs would round it). Calendar operations use a
// proleptic Gregorian calendar in the zone and week rules of the LocaleSettings
// given (the process's by default). ICU calendars and formatters are not
// thread-safe, so each thread keeps its own: all operations are safe from any
// thread. A date that is not
// finite or lies beyond about five million years names no calendar day: the
// boundary and arithmetic operations return it unchanged and dayString gives
// an empty text.
class Date {
 public:
  // 1970-01-01T00:00:00Z.
  constexpr Date() = default;
  constexpr explicit Date(double secondsSince1970) : sinceReference_(secondsSince1970 - referenceDateSince1970) {}

  // 2001-01-01T00:00:00Z as seconds since 1970.
  static constexpr double referenceDateSince1970 = 978307200.0;

  // The date `seconds` after 2001-01-01T00:00:00Z, kept exactly.
  [[nodiscard]] static constexpr Date withTimeIntervalSinceReferenceDate(double seconds) {
    Date date;
    date.sinceReference_ = seconds;
    return date;
  }

  // The present instant from the system's real-time clock.
  [[nodiscard]] static Date now();

  // Parses "yyyy-MM-dd hh:mm:ss" in the settings' locale and zone. "hh" is the
  // 12-hour field with no AM/PM field, so hours run 01...12 and "12" is the
  // hour after midnight; "13" and later do not parse. The whole text must
  // match. When it does not, the result is `clock()`: never fails.
  explicit Date(std::string_view string, const LocaleSettings& settings = LocaleSettings::current(),
                const Clock& clock = systemClock());

  // The instant of the given wall-clock fields in the settings' zone. Fields
  // out of range carry over (month 13 is January of the next year, day 0 the
  // last day of the previous month). A wall time skipped by a daylight-saving
  // change moves forward by the size of the change (02:30 on Berlin's
  // spring-forward night is 03:30). Stops the process with
  // "Could not create date object." when the fields name no representable
  // instant (years beyond about five million).
  Date(int day, int month, int year, int hour, int minute, int second,
       const LocaleSettings& settings = LocaleSettings::current());

  [[nodiscard]] constexpr double timeIntervalSince1970() const { return sinceReference_ + referenceDateSince1970; }
  [[nodiscard]] constexpr double timeIntervalSinceReferenceDate() const { return sinceReference_; }

  // Midnight starting the Monday of the Monday-based week holding this date,
  // whatever the settings' first weekday. Week numbering follows the settings'
  // minimal days in the first week; the result is always the Monday on or
  // before this date.
  [[nodiscard]] Date startOfWeek(const LocaleSettings& settings = LocaleSettings::current()) const;
  // Midnight starting the Sunday that ends that Monday-based week (six days
  // after startOfWeek in wall-clock terms).
  [[nodiscard]] Date endOfWeek(const LocaleSettings& settings = LocaleSettings::current()) const;
  // Midnight starting the first day of this date's month.
  [[nodiscard]] Date startOfMonth(const LocaleSettings& settings = LocaleSettings::current()) const;

  // Calendar arithmetic that keeps the wall-clock time across daylight-saving
  // changes and pins the day to the end of shorter months (Jan 31 plus one
  // month is Feb 28 or 29). Stops the process with "Could not create date
  // object." when the result is not representable.
  [[nodiscard]] Date addingDays(int days, const LocaleSettings& settings = LocaleSettings::current()) const;
  [[nodiscard]] Date addingWeeks(int weeks, const LocaleSettings& settings = LocaleSettings::current()) const;
  [[nodiscard]] Date addingMonths(int months, const LocaleSettings& settings = LocaleSettings::current()) const;
  [[nodiscard]] Date addingYears(int years, const LocaleSettings& settings = LocaleSettings::current()) const;

  // "yyyy-MM-dd" in the settings' locale and zone (always Gregorian years and
  // Latin digits).
  [[nodiscard]] std::string dayString(const LocaleSettings& settings = LocaleSettings::current()) const;

  // The real-time clock as a Clock.
  [[nodiscard]] static Clock systemClock();

  // NOLINTNEXTLINE(modernize-use-nullptr): a defaulted <=> has no literal in it
  friend constexpr auto operator<=>(const Date&, const Date&) = default;

 private:
  double sinceReference_ = -referenceDateSince1970;
};

}  // namespace Keel
