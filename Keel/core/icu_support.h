// Internal to Keel's sources: turns LocaleSettings into ICU objects. Never
// included by public headers, since ICU is a private dependency.
#pragma once

#include <unicode/calendar.h>
#include <unicode/locid.h>
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

[[nodiscard]] std::string toUtf8(const icu::UnicodeString& text);
[[nodiscard]] icu::UnicodeString fromUtf8(std::string_view text);

}  // namespace Keel::icu_support
