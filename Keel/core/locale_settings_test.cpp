// Week rules taken from a locale, and settings that name nothing usable.
#include "Keel/core/locale_settings.h"

#include <gtest/gtest.h>

#include "Keel/core/date.h"
#include "Keel/core/number_formatting.h"

namespace Keel {
namespace {

TEST(LocaleSettingsTest, ForLocaleTakesTheLocalesWeekRules) {
  const LocaleSettings german = LocaleSettings::forLocale("de_DE", "Europe/Berlin");
  EXPECT_EQ(german.firstWeekday, 2);
  EXPECT_EQ(german.minimalDaysInFirstWeek, 4);
  EXPECT_EQ(german.timeZoneIdentifier, "Europe/Berlin");
  const LocaleSettings american = LocaleSettings::forLocale("en_US", "America/New_York");
  EXPECT_EQ(american.firstWeekday, 1);
  EXPECT_EQ(american.minimalDaysInFirstWeek, 1);
}

TEST(LocaleSettingsTest, ProcessSettingsAreComplete) {
  const LocaleSettings& current = LocaleSettings::current();
  EXPECT_FALSE(current.localeIdentifier.empty());
  EXPECT_FALSE(current.timeZoneIdentifier.empty());
  EXPECT_EQ(&current, &LocaleSettings::current());
}

TEST(LocaleSettingsTest, UnknownNamesAndBadWeekRulesStillGiveTexts) {
  const LocaleSettings nowhere{"xx_NOWHERE", "Mars/Olympus_Mons", 0, 99};
  const Date newYearsEve(1735687800.0);  // 2024-12-31T23:30:00Z
  EXPECT_EQ(newYearsEve.dayString(nowhere), "2024-12-31");
  EXPECT_EQ(newYearsEve.startOfMonth(nowhere), Date(1733011200.0));  // 2024-12-01T00:00:00Z
  EXPECT_FALSE(groupedString(1234567, nowhere).empty());             // the process's locale stands in
}

}  // namespace
}  // namespace Keel
