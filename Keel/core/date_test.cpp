// Week and month boundaries across daylight-saving changes and year ends,
// calendar arithmetic at month ends, parsing and the fatal calendar paths.
#include "Keel/core/date.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <thread>
#include <vector>

#include "Keel/core/date_utilities.h"

namespace Keel {
namespace {

using namespace std::chrono;

// An instant given in UTC, computed independently of ICU.
Date utc(int y, unsigned m, unsigned d, int hh = 0, int mm = 0, int ss = 0) {
  const auto midnight = sys_days{year{y} / month{m} / day{d}};
  return Date(static_cast<double>(midnight.time_since_epoch().count()) * 86400 + hh * 3600 + mm * 60 + ss);
}

// Berlin with German week rules; New York with American ones; UTC with ISO
// week numbering but a Sunday first weekday, to show that boundaries are
// Monday-based whatever the user's first weekday.
const LocaleSettings berlin{"de_DE", "Europe/Berlin", 2, 4};
const LocaleSettings newYork{"en_US", "America/New_York", 1, 1};
const LocaleSettings utcIso{"en_US_POSIX", "UTC", 1, 4};
const LocaleSettings utcUs{"en_US_POSIX", "UTC", 1, 1};

TEST(DateTest, WeekBoundariesAcrossBerlinSpringForward) {
  // Sunday 2024-03-31 12:00 CEST, the day clocks went from 02:00 to 03:00.
  const Date sunday = utc(2024, 3, 31, 10);
  EXPECT_EQ(sunday.startOfWeek(berlin), utc(2024, 3, 24, 23));  // Mon 25 00:00 CET
  EXPECT_EQ(sunday.endOfWeek(berlin), utc(2024, 3, 30, 23));    // Sun 31 00:00 CET
  // The following Monday starts in summer time.
  EXPECT_EQ(utc(2024, 4, 1, 10).startOfWeek(berlin), utc(2024, 3, 31, 22));
  // A Monday midnight is its own week start.
  EXPECT_EQ(utc(2024, 3, 31, 22).startOfWeek(berlin), utc(2024, 3, 31, 22));
}

TEST(DateTest, WeekAndMonthBoundariesAcrossNewYorkFallBack) {
  // Sunday 2024-11-03 12:00 EST; the week began in daylight time. A Sunday
  // first weekday would put this Sunday in the next week: it must not.
  const Date sunday = utc(2024, 11, 3, 17);
  EXPECT_EQ(sunday.startOfWeek(newYork), utc(2024, 10, 28, 4));  // Mon 00:00 EDT
  EXPECT_EQ(sunday.endOfWeek(newYork), utc(2024, 11, 3, 4));     // Sun 00:00 EDT
  EXPECT_EQ(utc(2024, 11, 15, 12).startOfMonth(newYork), utc(2024, 11, 1, 4));
  EXPECT_EQ(utc(2024, 3, 31, 10).startOfMonth(berlin), utc(2024, 2, 29, 23));
  // 03:30 UTC on Nov 1 is still Oct 31 in New York.
  EXPECT_EQ(utc(2024, 11, 1, 3, 30).startOfMonth(newYork), utc(2024, 10, 1, 4));
}

TEST(DateTest, WeeksSpanningYearEndWhateverTheWeekNumbering) {
  // Dec 28 2020 - Jan 3 2021 is week 53 of 2020 with ISO rules and week 1 of
  // 2021 with American ones; Dec 29 2025 - Jan 4 2026 is week 1 under both.
  for (const LocaleSettings& settings : {utcIso, utcUs, berlin}) {
    SCOPED_TRACE(settings.localeIdentifier + " " + std::to_string(settings.minimalDaysInFirstWeek));
    const bool berlinZone = settings.timeZoneIdentifier == "Europe/Berlin";
    const int offset = berlinZone ? -1 : 0;  // Berlin is UTC+1 in winter
    for (const Date date : {utc(2020, 12, 28, 12), utc(2021, 1, 1, 12), utc(2021, 1, 3, 12)}) {
      EXPECT_EQ(date.startOfWeek(settings), Date(utc(2020, 12, 28).timeIntervalSince1970() + offset * 3600));
      EXPECT_EQ(date.endOfWeek(settings), Date(utc(2021, 1, 3).timeIntervalSince1970() + offset * 3600));
    }
    for (const Date date : {utc(2025, 12, 29, 12), utc(2025, 12, 31, 12), utc(2026, 1, 4, 12)}) {
      EXPECT_EQ(date.startOfWeek(settings), Date(utc(2025, 12, 29).timeIntervalSince1970() + offset * 3600));
      EXPECT_EQ(date.endOfWeek(settings), Date(utc(2026, 1, 4).timeIntervalSince1970() + offset * 3600));
    }
    EXPECT_EQ(utc(2026, 1, 4, 12).startOfMonth(settings),
              Date(utc(2026, 1, 1).timeIntervalSince1970() + offset * 3600));
  }
}

TEST(DateTest, AddingPinsMonthEndsAndKeepsWallClockAcrossDaylightSaving) {
  EXPECT_EQ(utc(2024, 1, 31, 9).addingMonths(1, utcIso), utc(2024, 2, 29, 9));
  EXPECT_EQ(utc(2023, 1, 31, 9).addingMonths(1, utcIso), utc(2023, 2, 28, 9));
  EXPECT_EQ(utc(2024, 3, 31, 9).addingMonths(-1, utcIso), utc(2024, 2, 29, 9));
  EXPECT_EQ(utc(2024, 2, 29, 9).addingYears(1, utcIso), utc(2025, 2, 28, 9));
  EXPECT_EQ(utc(2025, 12, 29, 9).addingWeeks(1, utcIso), utc(2026, 1, 5, 9));
  // Saturday 12:00 CET plus one day is Sunday 12:00 CEST: 23 hours later.
  EXPECT_EQ(utc(2024, 3, 30, 11).addingDays(1, berlin), utc(2024, 3, 31, 10));
  EXPECT_EQ(utc(2024, 3, 31, 10).addingDays(-1, berlin), utc(2024, 3, 30, 11));
  // Jan 31 12:00 EST plus two months is Mar 31 12:00 EDT.
  EXPECT_EQ(utc(2024, 1, 31, 17).addingMonths(2, newYork), utc(2024, 3, 31, 16));
}

TEST(DateTest, BuildsFromWallClockFields) {
  (void)DateUtilities::currentDay(utcIso);  // leaves its strict calendar behind for reuse
  EXPECT_EQ(Date(10, 3, 2024, 4, 5, 6, newYork), utc(2024, 3, 10, 8, 5, 6));  // after 2:00 EST -> EDT
  EXPECT_EQ(Date(1, 1, 2024, 0, 0, 0, berlin), utc(2023, 12, 31, 23));
  // Out-of-range fields carry over.
  EXPECT_EQ(Date(1, 13, 2023, 0, 0, 0, utcIso), utc(2024, 1, 1));
  EXPECT_EQ(Date(0, 3, 2024, 25, 0, 0, utcIso), utc(2024, 3, 1, 1));
  // 02:30 does not exist on Berlin's spring-forward night.
  EXPECT_EQ(Date(31, 3, 2024, 2, 30, 0, berlin), utc(2024, 3, 31, 1, 30));
  // Proleptic Gregorian: no Julian days before 1582.
  EXPECT_EQ(Date(1, 1, 1500, 0, 0, 0, utcIso), utc(1500, 1, 1));
}

TEST(DateTest, ParsesTwelveHourPatternOrFallsBackToClock) {
  const Date fallback(123456.0);
  const Clock clock = [fallback] { return fallback; };
  EXPECT_EQ(Date("2024-03-10 04:05:06", newYork, clock), utc(2024, 3, 10, 8, 5, 6));
  EXPECT_EQ(Date("2024-06-01 12:30:00", utcIso, clock), utc(2024, 6, 1, 0, 30));  // 12 is the hour after midnight
  EXPECT_EQ(Date("2024-01-01 01:00:00", berlin, clock), utc(2024, 1, 1, 0));
  for (const char* bad : {"", "2024-03-10", "2024-03-10 16:04:00", "2024-13-10 04:05:06", "2024-03-10 04:05:06 ",
                          "yesterday", "2024-03-10T04:05:06"}) {
    EXPECT_EQ(Date(bad, utcIso, clock), fallback) << bad;
  }
  // The real clock: the fallback lies between two readings.
  const Date before = Date::now();
  const Date parsed("", utcIso);
  EXPECT_LE(before, parsed);
  EXPECT_LE(parsed, Date::now());
}

TEST(DateTest, DayStringIsGregorianWithLatinDigitsInEveryLocale) {
  const Date newYearsEve = utc(2024, 12, 31, 23, 30);
  EXPECT_EQ(newYearsEve.dayString(utcIso), "2024-12-31");
  EXPECT_EQ(newYearsEve.dayString(berlin), "2025-01-01");
  EXPECT_EQ(newYearsEve.dayString({"th_TH", "UTC", 1, 1}), "2024-12-31");  // not the Buddhist 2567
  EXPECT_EQ(newYearsEve.dayString({"ar_SA", "UTC", 1, 1}), "2024-12-31");
  EXPECT_EQ(Date(1, 2, 3, 0, 0, 0, utcIso).dayString(utcIso), "0003-02-01");
}

TEST(DateTest, NonFiniteAndFarDates) {
  const Date nan(std::nan(""));
  EXPECT_EQ(nan.dayString(utcIso), "");
  EXPECT_TRUE(std::isnan(nan.startOfWeek(utcIso).timeIntervalSince1970()));
  EXPECT_TRUE(std::isnan(nan.addingMonths(1, utcIso).timeIntervalSince1970()));
  const Date infinite(INFINITY);
  EXPECT_EQ(infinite.startOfMonth(utcIso), infinite);
  // At the far ends of the calendar's range the boundaries still resolve.
  for (const double seconds : {-1.8e14 + 3600, 1.8e14 - 3600}) {
    const Date edge(seconds);
    EXPECT_LE(edge.startOfWeek(utcIso), edge);
    EXPECT_GE(edge.startOfWeek(utcIso), Date(seconds - 7 * 86400));
    EXPECT_LE(edge.startOfMonth(utcIso), edge);
  }
}

TEST(DateTest, ManySettingsOnOneThreadEachGetTheirOwnZone) {
  // More settings than a thread keeps calendars for, twice round.
  for (int round = 0; round < 2; ++round) {
    for (int hours = 1; hours <= 12; ++hours) {
      const LocaleSettings zone{"en_US", "Etc/GMT-" + std::to_string(hours), 1, 1};  // UTC+hours
      EXPECT_EQ(utc(2024, 6, 15, 12).startOfMonth(zone), utc(2024, 5, 31, 24 - hours)) << hours;
      EXPECT_EQ(utc(2024, 6, 30, 24 - hours).dayString(zone), "2024-07-01") << hours;
    }
  }
}

TEST(DateTest, OperationsAreSafeFromManyThreads) {
  // Each thread keeps its own ICU calendars and formatters; the process's
  // settings are initialised once however many threads ask first.
  std::vector<std::thread> threads;
  std::atomic<int> mismatches{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&mismatches] {
      const LocaleSettings& settings = LocaleSettings::current();
      for (int i = 0; i < 50; ++i) {
        const Date date = utc(2024, 3, 31, 10);
        if (date.startOfWeek(berlin) != utc(2024, 3, 24, 23)) mismatches.fetch_add(1);
        if (date.dayString(berlin) != "2024-03-31") mismatches.fetch_add(1);
        if (Date("2024-03-31 01:00:00", utcIso).dayString(settings).empty()) mismatches.fetch_add(1);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0);
}

TEST(DateDeathTest, FieldsOrArithmeticWithoutDateStopTheProcess) {
  EXPECT_DEATH((void)Date(1, 1, INT_MAX, 0, 0, 0, utcIso), "Could not create date object.");
  EXPECT_DEATH((void)Date(INT_MAX, 1, 2024, 0, 0, 0, utcIso), "Could not create date object.");
  EXPECT_DEATH((void)utc(2024, 1, 1).addingYears(INT_MAX, utcIso), "Could not create date object.");
  EXPECT_DEATH((void)utc(2024, 1, 1).addingMonths(INT_MIN, utcIso), "Could not create date object.");
}

}  // namespace
}  // namespace Keel
