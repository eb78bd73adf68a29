// Builds the ICU locale and calendar that every Keel date and number text uses.
#include "Keel/core/icu_support.h"

#include <unicode/gregocal.h>
#include <unicode/timezone.h>

#include <cstdint>
#include <limits>

namespace Keel {

namespace icu_support {

icu::Locale locale(const LocaleSettings& settings) {
  icu::Locale result(settings.localeIdentifier.c_str());
  if (result.isBogus()) result = icu::Locale("en_US_POSIX");
  UErrorCode status = U_ZERO_ERROR;
  result.setKeywordValue("calendar", "gregorian", status);
  status = U_ZERO_ERROR;
  result.setKeywordValue("numbers", "latn", status);
  return result;
}

std::unique_ptr<icu::Calendar> calendar(const LocaleSettings& settings) {
  UErrorCode status = U_ZERO_ERROR;
  // createTimeZone never returns null; an unknown identifier gives the
  // "Etc/Unknown" zone, which has UTC's rules.
  auto gregorian = std::make_unique<icu::GregorianCalendar>(
      icu::TimeZone::createTimeZone(fromUtf8(settings.timeZoneIdentifier)), locale(settings), status);
  if (U_FAILURE(status)) return nullptr;
  // Proleptic: no switch to the Julian calendar before 1582.
  gregorian->setGregorianChange(-1.0e300, status);
  if (U_FAILURE(status)) return nullptr;
  if (settings.firstWeekday >= 1 && settings.firstWeekday <= 7) {
    gregorian->setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(settings.firstWeekday));
  }
  if (settings.minimalDaysInFirstWeek >= 1 && settings.minimalDaysInFirstWeek <= 7) {
    gregorian->setMinimalDaysInFirstWeek(static_cast<uint8_t>(settings.minimalDaysInFirstWeek));
  }
  gregorian->setLenient(true);
  return gregorian;
}

std::string toUtf8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

icu::UnicodeString fromUtf8(std::string_view text) {
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<int32_t>::max())) return {};
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

}  // namespace icu_support
}  // namespace Keel
