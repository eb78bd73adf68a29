// Cost of building an ICU calendar or formatter per call (what Keel does, for
// thread safety) against reusing one (the single-threaded peer).
#include "Keel/core/date.h"

#include <benchmark/benchmark.h>
#include <unicode/gregocal.h>
#include <unicode/numberformatter.h>
#include <unicode/smpdtfmt.h>

#include "Keel/core/number_formatting.h"

namespace {

const Keel::LocaleSettings berlin{"de_DE", "Europe/Berlin", 2, 4};
constexpr double sunday = 1711879200.0;  // 2024-03-31T10:00:00Z

void BM_DayString(benchmark::State& state) {
  const Keel::Date date(sunday);
  for (auto _ : state) benchmark::DoNotOptimize(date.dayString(berlin));
}
BENCHMARK(BM_DayString)->MinTime(0.2);

void BM_DayStringReusedIcuFormatter(benchmark::State& state) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icu::UnicodeString("yyyy-MM-dd"), icu::Locale("de_DE"), status);
  format.adoptTimeZone(icu::TimeZone::createTimeZone("Europe/Berlin"));
  for (auto _ : state) {
    icu::UnicodeString text;
    format.format(sunday * 1000.0, text);
    std::string utf8;
    benchmark::DoNotOptimize(text.toUTF8String(utf8));
  }
}
BENCHMARK(BM_DayStringReusedIcuFormatter)->MinTime(0.2);

void BM_ParseDate(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Keel::Date("2024-03-31 10:00:00", berlin));
}
BENCHMARK(BM_ParseDate)->MinTime(0.2);

void BM_ParseDateReusedIcuFormatter(benchmark::State& state) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icu::UnicodeString("yyyy-MM-dd hh:mm:ss"), icu::Locale("de_DE"), status);
  format.adoptTimeZone(icu::TimeZone::createTimeZone("Europe/Berlin"));
  format.setLenient(false);
  for (auto _ : state) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8("2024-03-31 10:00:00");
    icu::ParsePosition position(0);
    benchmark::DoNotOptimize(format.parse(text, position));
  }
}
BENCHMARK(BM_ParseDateReusedIcuFormatter)->MinTime(0.2);

void BM_StartOfWeek(benchmark::State& state) {
  const Keel::Date date(sunday);
  for (auto _ : state) benchmark::DoNotOptimize(date.startOfWeek(berlin));
}
BENCHMARK(BM_StartOfWeek)->MinTime(0.2);

void BM_StartOfWeekReusedIcuCalendar(benchmark::State& state) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(icu::TimeZone::createTimeZone("Europe/Berlin"), icu::Locale("de_DE"), status);
  calendar.setFirstDayOfWeek(UCAL_MONDAY);
  for (auto _ : state) {
    calendar.setTime(sunday * 1000.0, status);
    const int32_t yearForWeek = calendar.get(UCAL_YEAR_WOY, status);
    const int32_t week = calendar.get(UCAL_WEEK_OF_YEAR, status);
    calendar.clear();
    calendar.set(UCAL_YEAR_WOY, yearForWeek);
    calendar.set(UCAL_WEEK_OF_YEAR, week);
    calendar.set(UCAL_DAY_OF_WEEK, UCAL_MONDAY);
    benchmark::DoNotOptimize(calendar.getTime(status));
  }
}
BENCHMARK(BM_StartOfWeekReusedIcuCalendar)->MinTime(0.2);

void BM_GroupedString(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Keel::groupedString(1234567, berlin));
}
BENCHMARK(BM_GroupedString)->MinTime(0.2);

void BM_GroupedStringReusedIcuFormatter(benchmark::State& state) {
  const auto formatter = icu::number::NumberFormatter::withLocale(icu::Locale("de_DE"));
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    std::string utf8;
    formatter.formatInt(1234567, status).toString(status).toUTF8String(utf8);
    benchmark::DoNotOptimize(utf8);
  }
}
BENCHMARK(BM_GroupedStringReusedIcuFormatter)->MinTime(0.2);

}  // namespace
