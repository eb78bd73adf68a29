// Nanosecond clock texts and unit-converted duration texts.
#include "Keel/core/time_utilities.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace Keel {
namespace {

TEST(TimeUtilitiesTest, NanosecondTextsPadBelowOneSecondAndShowLeadingMillisecondDigitsFromIt) {
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{0}), "00:00.000.000");
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{1}), "00:00.000");
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{7'000'000}), "00:00.007");
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{500'000'000}), "00:00.500");
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{999'999'999}), "00:00.999");
  // From one second on, the leading millisecond digits follow the seconds.
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{1'000'000'000}), "00:01.100");
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{61'234'000'000}), "01:01.612");
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{3'599'999'999'999}), "59:59.359");
  // One hour or more: the third field is always 00.
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{3'600'000'000'000}), "60:00:00.360");
  EXPECT_EQ(TimeUtilities::string(std::uint64_t{3'725'000'000'000}), "62:05:00.372");
  EXPECT_EQ(TimeUtilities::string(UINT64_MAX), "307445734:33:00.184");
}

TEST(TimeUtilitiesTest, DurationTextsConvertAndFollowTheLocale) {
  const LocaleSettings us{"en_US", "UTC", 1, 1};
  const LocaleSettings german{"de_DE", "Europe/Berlin", 2, 4};
  const LocaleSettings posix{"en_US_POSIX", "UTC", 1, 1};
  EXPECT_EQ(TimeUtilities::string(90, DurationUnit::minutes, DurationUnit::hours, us), "1.5 hr");
  EXPECT_EQ(TimeUtilities::string(90, DurationUnit::minutes, DurationUnit::hours, german), "1,5 Std.");
  EXPECT_EQ(TimeUtilities::string(2, DurationUnit::hours, DurationUnit::milliseconds, us), "7,200,000 ms");
  EXPECT_EQ(TimeUtilities::string(2, DurationUnit::hours, DurationUnit::milliseconds, posix), "7200000 ms");
  EXPECT_EQ(TimeUtilities::string(1, DurationUnit::minutes, DurationUnit::hours, us), "0.017 hr");
  EXPECT_EQ(TimeUtilities::string(3, DurationUnit::nanoseconds, DurationUnit::picoseconds, us), "3,000 psec");
  EXPECT_EQ(TimeUtilities::string(0, DurationUnit::seconds, DurationUnit::seconds, us), "0 sec");
  EXPECT_EQ(TimeUtilities::string(UINT64_MAX, DurationUnit::nanoseconds, DurationUnit::hours, us), "5,124,095.576 hr");
}

TEST(TimeUtilitiesDeathTest, NegativeSignedAmountStopsTheProcess) {
  const LocaleSettings us{"en_US", "UTC", 1, 1};
  EXPECT_DEATH((void)TimeUtilities::string(-1, DurationUnit::seconds, DurationUnit::minutes, us), "Negative value");
  EXPECT_DEATH((void)TimeUtilities::string(INT64_MIN, DurationUnit::seconds, DurationUnit::minutes, us),
               "Negative value");
}

}  // namespace
}  // namespace Keel
