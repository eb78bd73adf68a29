// Builds the ICU locale and calendar that every Keel date and number text uses.
#include "Keel/core/icu_support.h"

#include <unicode/gregocal.h>
#include <unicode/timezone.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Keel::icu_support {
namespace {

// A few ICU objects per thread, most recently used first. Programs use one or
// two settings, so a short list beats a map.
template <typename T>
class ThreadCache {
 public:
  template <typename Make>
  T* find(const std::string& key, Make make) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      if (entries_[i].first == key) {
        if (i != 0) std::swap(entries_[0], entries_[i]);
        return entries_[0].second.get();
      }
    }
    std::unique_ptr<T> made = make();
    if (!made) return nullptr;
    if (entries_.size() == capacity) entries_.pop_back();
    entries_.insert(entries_.begin(), {key, std::move(made)});
    return entries_[0].second.get();
  }

 private:
  static constexpr std::size_t capacity = 8;
  std::vector<std::pair<std::string, std::unique_ptr<T>>> entries_;
};

std::string keyOf(const LocaleSettings& settings) {
  return settings.localeIdentifier + '\n' + settings.timeZoneIdentifier + '\n' + std::to_string(settings.firstWeekday) +
         '\n' + std::to_string(settings.minimalDaysInFirstWeek);
}

// Values out of range count as 1 (Sunday; one day).
void applyWeekRules(icu::Calendar& target, const LocaleSettings& settings) {
  const int firstWeekday = settings.firstWeekday >= 1 && settings.firstWeekday <= 7 ? settings.firstWeekday : 1;
  const int minimalDays = settings.minimalDaysInFirstWeek >= 1 && settings.minimalDaysInFirstWeek <= 7
                              ? settings.minimalDaysInFirstWeek
                              : 1;
  target.setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(firstWeekday));
  target.setMinimalDaysInFirstWeek(static_cast<uint8_t>(minimalDays));
}

}  // namespace

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
  applyWeekRules(*gregorian, settings);
  gregorian->setLenient(true);
  return gregorian;
}

icu::Calendar* threadCalendar(const LocaleSettings& settings) {
  thread_local ThreadCache<icu::Calendar> cache;
  icu::Calendar* result = cache.find(keyOf(settings), [&settings] { return calendar(settings); });
  if (result) {
    applyWeekRules(*result, settings);
    result->setLenient(true);
    result->clear();
  }
  return result;
}

icu::SimpleDateFormat* threadDateFormat(const char* pattern, const LocaleSettings& settings) {
  thread_local ThreadCache<icu::SimpleDateFormat> cache;
  icu::SimpleDateFormat* result = cache.find(keyOf(settings) + '\n' + pattern, [pattern, &settings] {
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern), locale(settings), status);
    auto gregorian = calendar(settings);
    if (U_FAILURE(status) || !gregorian) return std::unique_ptr<icu::SimpleDateFormat>();
    format->adoptCalendar(gregorian.release());
    return format;
  });
  if (result) result->setLenient(true);
  return result;
}

const icu::number::LocalizedNumberFormatter& threadDecimalFormatter(const LocaleSettings& settings) {
  thread_local ThreadCache<icu::number::LocalizedNumberFormatter> cache;
  // Creation cannot fail: a bad locale falls back to the root locale.
  return *cache.find(keyOf(settings), [&settings] {
    return std::make_unique<icu::number::LocalizedNumberFormatter>(
        icu::number::NumberFormatter::withLocale(locale(settings)));
  });
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

}  // namespace Keel::icu_support
