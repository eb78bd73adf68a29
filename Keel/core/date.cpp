// Date operations on ICU's Gregorian calendar and SimpleDateFormat, one of
// each per thread and settings (ICU's are not thread-safe). ICU 72 does not
// report overflow in its field arithmetic, so results are checked
// against a rough estimate to catch the cases where the calendar has no date.
#include "Keel/core/date.h"

#include <unicode/smpdtfmt.h>

#include <chrono>
#include <cmath>

#include "Keel/core/fatal_error.h"
#include "Keel/core/icu_support.h"

namespace Keel {
namespace {

constexpr double secondsPerDay = 86400.0;
constexpr double daysPerYear = 365.2425;  // mean Gregorian year
constexpr double daysPerMonth = daysPerYear / 12;
// ICU's calendars cover about +-1.84e14 s. Inputs and estimates must stay
// inside limitSeconds; results may go a little further (the week start of
// the earliest date), up to resultLimitSeconds.
constexpr double limitSeconds = 1.8e14;
constexpr double resultLimitSeconds = 1.83e14;
// How far ICU's answer may stray from the estimate: zone offsets, month-end
// pinning and the spread of real year and month lengths are far smaller.
constexpr double toleranceSeconds = 400 * secondsPerDay;

constexpr const char* noDate = "Could not create date object.";

bool isRepresentable(double seconds, double limit = limitSeconds) {
  return std::isfinite(seconds) && std::fabs(seconds) <= limit;
}

// The calling thread's calendar for `settings`, cleared.
icu::Calendar& calendarOrDie(const LocaleSettings& settings) {
  icu::Calendar* calendar = icu_support::threadCalendar(settings);
  if (!calendar) fatalError(noDate);
  return *calendar;
}

// The calendar's instant, or a fatal error when it has none near `estimate`.
Date resolvedOrDie(icu::Calendar& calendar, double estimate) {
  UErrorCode status = U_ZERO_ERROR;
  const double seconds = calendar.getTime(status) / 1000.0;
  if (U_FAILURE(status) || !isRepresentable(seconds, resultLimitSeconds) ||
      std::fabs(seconds - estimate) > toleranceSeconds) {
    fatalError(noDate);
  }
  return Date(seconds);
}

icu::Calendar& calendarAt(const LocaleSettings& settings, double seconds) {
  icu::Calendar& calendar = calendarOrDie(settings);
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(seconds * 1000.0, status);
  if (U_FAILURE(status)) fatalError(noDate);
  return calendar;
}

// Midnight starting `weekday` of the Monday-based week holding `seconds`.
Date dayOfMondayWeek(double seconds, UCalendarDaysOfWeek weekday, const LocaleSettings& settings) {
  if (!isRepresentable(seconds)) return Date(seconds);
  icu::Calendar& calendar = calendarAt(settings, seconds);
  calendar.setFirstDayOfWeek(UCAL_MONDAY);
  UErrorCode status = U_ZERO_ERROR;
  const int32_t yearForWeek = calendar.get(UCAL_YEAR_WOY, status);
  const int32_t week = calendar.get(UCAL_WEEK_OF_YEAR, status);
  if (U_FAILURE(status)) fatalError(noDate);
  calendar.clear();
  calendar.set(UCAL_YEAR_WOY, yearForWeek);
  calendar.set(UCAL_WEEK_OF_YEAR, week);
  calendar.set(UCAL_DAY_OF_WEEK, weekday);
  return resolvedOrDie(calendar, seconds);
}

Date addingField(double seconds, UCalendarDateFields field, int amount, double secondsPerUnit,
                 const LocaleSettings& settings) {
  if (!isRepresentable(seconds)) return Date(seconds);
  const double estimate = seconds + amount * secondsPerUnit;
  if (!isRepresentable(estimate)) fatalError(noDate);
  icu::Calendar& calendar = calendarAt(settings, seconds);
  UErrorCode status = U_ZERO_ERROR;
  calendar.add(field, amount, status);
  if (U_FAILURE(status)) fatalError(noDate);
  return resolvedOrDie(calendar, estimate);
}

}  // namespace

Date Date::now() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return Date(std::chrono::duration<double>(sinceEpoch).count());
}

Clock Date::systemClock() { return &Date::now; }

Date::Date(std::string_view string, const LocaleSettings& settings, const Clock& clock) {
  icu::SimpleDateFormat* const parser = icu_support::threadDateFormat("yyyy-MM-dd hh:mm:ss", settings);
  if (parser) {
    // Strict: no rolling of out-of-range fields, and "hh" accepts 1...12 only.
    parser->setLenient(false);
    const icu::UnicodeString text = icu_support::fromUtf8(string);
    icu::ParsePosition position(0);
    const UDate parsed = parser->parse(text, position);
    if (position.getErrorIndex() < 0 && position.getIndex() == text.length() && !text.isEmpty()) {
      *this = Date(parsed / 1000.0);
      return;
    }
  }
  *this = clock();
}

Date::Date(int day, int month, int year, int hour, int minute, int second, const LocaleSettings& settings) {
  const double estimate = ((year - 1970.0) * daysPerYear + (month - 1.0) * daysPerMonth + (day - 1.0)) * secondsPerDay +
                          hour * 3600.0 + minute * 60.0 + second;
  if (!isRepresentable(estimate)) fatalError(noDate);
  icu::Calendar& calendar = calendarOrDie(settings);
  calendar.set(UCAL_YEAR, year);
  calendar.set(UCAL_MONTH, month - 1);
  calendar.set(UCAL_DATE, day);
  calendar.set(UCAL_HOUR_OF_DAY, hour);
  calendar.set(UCAL_MINUTE, minute);
  calendar.set(UCAL_SECOND, second);
  *this = resolvedOrDie(calendar, estimate);
}

Date Date::startOfWeek(const LocaleSettings& settings) const {
  return dayOfMondayWeek(timeIntervalSince1970(), UCAL_MONDAY, settings);
}

Date Date::endOfWeek(const LocaleSettings& settings) const {
  return dayOfMondayWeek(timeIntervalSince1970(), UCAL_SUNDAY, settings);
}

Date Date::startOfMonth(const LocaleSettings& settings) const {
  if (!isRepresentable(timeIntervalSince1970())) return *this;
  icu::Calendar& calendar = calendarAt(settings, timeIntervalSince1970());
  UErrorCode status = U_ZERO_ERROR;
  const int32_t era = calendar.get(UCAL_ERA, status);
  const int32_t year = calendar.get(UCAL_YEAR, status);
  const int32_t month = calendar.get(UCAL_MONTH, status);
  if (U_FAILURE(status)) fatalError(noDate);
  calendar.clear();
  calendar.set(UCAL_ERA, era);
  calendar.set(UCAL_YEAR, year);
  calendar.set(UCAL_MONTH, month);
  return resolvedOrDie(calendar, timeIntervalSince1970());
}

Date Date::addingDays(int days, const LocaleSettings& settings) const {
  return addingField(timeIntervalSince1970(), UCAL_DATE, days, secondsPerDay, settings);
}

Date Date::addingWeeks(int weeks, const LocaleSettings& settings) const {
  return addingField(timeIntervalSince1970(), UCAL_WEEK_OF_YEAR, weeks, 7 * secondsPerDay, settings);
}

Date Date::addingMonths(int months, const LocaleSettings& settings) const {
  return addingField(timeIntervalSince1970(), UCAL_MONTH, months, daysPerMonth * secondsPerDay, settings);
}

Date Date::addingYears(int years, const LocaleSettings& settings) const {
  return addingField(timeIntervalSince1970(), UCAL_YEAR, years, daysPerYear * secondsPerDay, settings);
}

std::string Date::dayString(const LocaleSettings& settings) const {
  if (!isRepresentable(timeIntervalSince1970())) return {};
  icu::SimpleDateFormat* const printer = icu_support::threadDateFormat("yyyy-MM-dd", settings);
  if (!printer) return {};
  icu::UnicodeString text;
  printer->format(timeIntervalSince1970() * 1000.0, text);
  return icu_support::toUtf8(text);
}

}  // namespace Keel
