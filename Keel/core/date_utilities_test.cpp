// The duration text's printf paddings and today's Gregorian fields.
#include "Keel/core/date_utilities.h"

#include <gtest/gtest.h>

#include <cmath>

namespace Keel {
namespace {

TEST(DateUtilitiesTest, DurationStringKeepsPrintfPaddingsAndUnreducedHours) {
  EXPECT_EQ(DateUtilities::durationString(0), "00:00:00:00");
  EXPECT_EQ(DateUtilities::durationString(59), "00:00:00:59");
  EXPECT_EQ(DateUtilities::durationString(60), "00:00: 1:00");
  EXPECT_EQ(DateUtilities::durationString(3665), "00: 1: 1:05");
  EXPECT_EQ(DateUtilities::durationString(3725), "00: 1: 2:05");
  EXPECT_EQ(DateUtilities::durationString(86400), " 1:24:00:00");
  EXPECT_EQ(DateUtilities::durationString(90061), " 1:25:01:01");
  EXPECT_EQ(DateUtilities::durationString(-5), "00:00:00:-5");
  EXPECT_EQ(DateUtilities::durationString(-75), "00:00:-1:-15");
  EXPECT_EQ(DateUtilities::durationString(-3725), "00:-1:-2:-5");
  EXPECT_EQ(DateUtilities::durationString(-90061), "-1:-25:-1:-1");
  EXPECT_EQ(DateUtilities::durationString(INT64_MIN), "-106751991167300:-2562047788015215:-30:-8");
}

TEST(DateUtilitiesTest, CurrentFieldsFollowTheZone) {
  const Date newYearsEve(1735687800.0);  // 2024-12-31T23:30:00Z
  const LocaleSettings utc{"en_US_POSIX", "UTC", 1, 1};
  const LocaleSettings berlin{"de_DE", "Europe/Berlin", 2, 4};
  EXPECT_EQ(DateUtilities::currentDay(utc, newYearsEve), 31);
  EXPECT_EQ(DateUtilities::currentMonth(utc, newYearsEve), 12);
  EXPECT_EQ(DateUtilities::currentYear(utc, newYearsEve), 2024);
  EXPECT_EQ(DateUtilities::currentDay(berlin, newYearsEve), 1);
  EXPECT_EQ(DateUtilities::currentMonth(berlin, newYearsEve), 1);
  EXPECT_EQ(DateUtilities::currentYear(berlin, newYearsEve), 2025);
  // The Thai locale's Buddhist year must not leak in.
  EXPECT_EQ(DateUtilities::currentYear({"th_TH", "Asia/Bangkok", 1, 1}, newYearsEve), 2025);
}

TEST(DateUtilitiesTest, CurrentFieldsFallBackWhenCalendarHasNoValue) {
  const LocaleSettings utc{"en_US_POSIX", "UTC", 1, 1};
  for (const Date nowhere : {Date(std::nan("")), Date(1e300)}) {
    EXPECT_EQ(DateUtilities::currentDay(utc, nowhere), 1);
    EXPECT_EQ(DateUtilities::currentMonth(utc, nowhere), 1);
    EXPECT_EQ(DateUtilities::currentYear(utc, nowhere), 0);
  }
  const int year = DateUtilities::currentYear();
  EXPECT_GE(year, 2024);
}

}  // namespace
}  // namespace Keel
