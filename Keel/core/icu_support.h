// Internal to Keel's sources: turns LocaleSettings into ICU objects. Never
// included by public headers, since ICU is a private dependency.
#pragma once

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <memory>
#include <string>
#include <string_view>

#include "Keel/core/locale_settings.h"

namespace Keel::icu_support {

// The settings' locale with the Gregorian calendar and Latin digits forced,
// so that fixed patterns such as "yyyy-MM-dd" stay ASCII in every locale.
[[nodiscard]] icu::Locale locale(const LocaleSettings& settings);

// A proleptic Gregorian calendar in the settings' zone and week rules, or
// nullptr when ICU cannot create one. Lenient (out-of-range fields carry over).
// Each call makes a new calendar: ICU calendars are not thread-safe.
[[nodiscard]] std::unique_ptr<icu::Calendar> calendar(const LocaleSettings& settings);

// A calendar like calendar(settings) that belongs to the calling thread and is
// reused by its later calls with the same settings (building one costs tens
// of microseconds). Handed out cleared, lenient and with the settings' week
// rules, whatever the previous user changed. Valid until the thread's next
// call; nullptr when ICU cannot create one.
[[nodiscard]] icu::Calendar* threadCalendar(const LocaleSettings& settings);

// A date formatter for `pattern` with the settings' locale and a calendar like
// calendar(settings), belonging to the calling thread and reused like
// threadCalendar. Handed out lenient. nullptr when ICU cannot create one.
[[nodiscard]] icu::SimpleDateFormat* threadDateFormat(const char* pattern, const LocaleSettings& settings);

// A decimal number formatter with the settings' locale, belonging to the
// calling thread and reused like threadCalendar.
[[nodiscard]] const icu::number::LocalizedNumberFormatter& threadDecimalFormatter(const LocaleSettings& settings);

[[nodiscard]] std::string toUtf8(const icu::UnicodeString& text);
[[nodiscard]] icu::UnicodeString fromUtf8(std::string_view text);

}  // namespace Keel::icu_support
