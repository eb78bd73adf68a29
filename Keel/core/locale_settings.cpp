// The process's locale settings come from ICU's defaults, which follow the
// environment (LC_ALL, LANG, TZ) as for any program.
#include "Keel/core/locale_settings.h"

#include <unicode/timezone.h>

#include <utility>

#include "Keel/core/icu_support.h"

namespace Keel {

LocaleSettings LocaleSettings::forLocale(std::string localeIdentifier, std::string timeZoneIdentifier) {
  LocaleSettings settings;
  settings.localeIdentifier = std::move(localeIdentifier);
  settings.timeZoneIdentifier = std::move(timeZoneIdentifier);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Calendar> rules(
      icu::Calendar::createInstance(icu::Locale(settings.localeIdentifier.c_str()), status));
  if (U_SUCCESS(status) && rules) {
    settings.firstWeekday = static_cast<int>(rules->getFirstDayOfWeek(status));
    settings.minimalDaysInFirstWeek = rules->getMinimalDaysInFirstWeek();
  }
  return settings;
}

const LocaleSettings& LocaleSettings::current() {
  static const LocaleSettings settings = [] {
    const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
    icu::UnicodeString zoneIdentifier;
    if (zone) zone->getID(zoneIdentifier);
    return forLocale(icu::Locale::getDefault().getName(),
                     zoneIdentifier.isEmpty() ? std::string("UTC") : icu_support::toUtf8(zoneIdentifier));
  }();
  return settings;
}

}  // namespace Keel
