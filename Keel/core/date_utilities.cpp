// Today's calendar fields come from ICU's Gregorian calendar; the duration
// text is plain printf.
#include "Keel/core/date_utilities.h"

#include <cmath>
#include <cstdio>
#include <optional>

#include "Keel/core/icu_support.h"

namespace Keel {
namespace {

// `field` of `now` on the settings' Gregorian calendar, or nothing when ICU
// cannot say (no calendar, or an instant outside its range).
std::optional<int> calendarField(UCalendarDateFields field, const LocaleSettings& settings, Date now) {
  if (!std::isfinite(now.timeIntervalSince1970())) return std::nullopt;
  icu::Calendar* const calendar = icu_support::threadCalendar(settings);
  if (!calendar) return std::nullopt;
  calendar->setLenient(false);  // out-of-range instants fail rather than pin
  UErrorCode status = U_ZERO_ERROR;
  calendar->setTime(now.timeIntervalSince1970() * 1000.0, status);
  const int32_t value = calendar->get(field, status);
  if (U_FAILURE(status)) return std::nullopt;
  return value;
}

}  // namespace

int DateUtilities::currentDay(const LocaleSettings& settings, Date now) {
  return calendarField(UCAL_DATE, settings, now).value_or(1);
}

int DateUtilities::currentMonth(const LocaleSettings& settings, Date now) {
  const auto month = calendarField(UCAL_MONTH, settings, now);
  return month ? *month + 1 : 1;
}

int DateUtilities::currentYear(const LocaleSettings& settings, Date now) {
  return calendarField(UCAL_EXTENDED_YEAR, settings, now).value_or(0);
}

std::string DateUtilities::durationString(std::int64_t seconds) {
  const std::int64_t days = seconds / 86400;
  const std::int64_t hours = seconds / 3600;
  const std::int64_t minutes = (seconds % 3600) / 60;
  const std::int64_t secs = seconds % 60;
  char text[96];
  if (seconds >= 86400 || seconds <= -86400) {
    std::snprintf(text, sizeof text, "%2lld:%2lld:%02lld:%02lld", static_cast<long long>(days),
                  static_cast<long long>(hours), static_cast<long long>(minutes), static_cast<long long>(secs));
  } else if (seconds >= 3600 || seconds <= -3600) {
    std::snprintf(text, sizeof text, "00:%2lld:%2lld:%02lld", static_cast<long long>(hours),
                  static_cast<long long>(minutes), static_cast<long long>(secs));
  } else if (seconds >= 60 || seconds <= -60) {
    std::snprintf(text, sizeof text, "00:00:%2lld:%02lld", static_cast<long long>(minutes),
                  static_cast<long long>(secs));
  } else if (seconds == 0) {
    return "00:00:00:00";
  } else {
    std::snprintf(text, sizeof text, "00:00:00:%02lld", static_cast<long long>(secs));
  }
  return text;
}

}  // namespace Keel
