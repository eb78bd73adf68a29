// Fixed-decimal texts, rounding rules, the non-finite test and grouping.
#include "Keel/core/number_formatting.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <limits>

namespace Keel {
namespace {

TEST(NumberFormattingTest, FixedDecimalsRoundTheExactBinaryValueHalfToEven) {
  EXPECT_EQ(twoDecimals(2.675), "2.67");  // 2.67499999999999982236431605997495353221893310546875
  EXPECT_EQ(twoDecimals(0.125), "0.12");  // exact tie
  EXPECT_EQ(twoDecimals(0.375), "0.38");  // exact tie
  EXPECT_EQ(oneDecimal(0.25), "0.2");
  EXPECT_EQ(oneDecimal(-0.05), "-0.1");       // -0.05000000000000000277
  EXPECT_EQ(threeDecimals(1.0005), "1.000");  // 1.000499999999999989...
  EXPECT_EQ(fourDecimals(-0.0), "-0.0000");
  EXPECT_EQ(fiveDecimals(3.14159265), "3.14159");
  EXPECT_EQ(oneDecimal(1e20), "100000000000000000000.0");
  EXPECT_EQ(oneDecimal(INFINITY), "inf");
  EXPECT_EQ(twoDecimals(-INFINITY), "-inf");
  EXPECT_EQ(twoDecimals(std::nan("")), "nan");
  EXPECT_EQ(fiveDecimals(DBL_MAX).size(), 309u + 6u);
  if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr) {
    EXPECT_EQ(oneDecimal(1.5), "1.5");
    std::setlocale(LC_NUMERIC, "C");
  }
}

TEST(NumberFormattingTest, RoundedToPlacesRoundsTheScaledDoubleHalfAwayFromZero) {
  EXPECT_DOUBLE_EQ(rounded(0.125, 2), 0.13);
  EXPECT_DOUBLE_EQ(rounded(2.675, 2), 2.68);
  EXPECT_DOUBLE_EQ(rounded(-1.005, 2), -1.0);
  EXPECT_DOUBLE_EQ(rounded(-0.125, 2), -0.13);
  EXPECT_DOUBLE_EQ(rounded(1234.5, -2), 1200.0);
  EXPECT_DOUBLE_EQ(rounded(1250.0, -2), 1300.0);
  EXPECT_DOUBLE_EQ(rounded(2.5, 0), 3.0);
  EXPECT_TRUE(std::isnan(rounded(std::nan(""), 2)));
}

TEST(NumberFormattingTest, RoundedToMultipleFollowsEachRule) {
  using R = RoundingRule;
  struct Case {
    double value;
    double step;
    R rule;
    double expected;
  };
  for (const Case& c :
       {Case{7.25, 0.5, R::toNearestOrAwayFromZero, 7.5}, Case{7.25, 0.5, R::toNearestOrEven, 7.0},
        Case{7.75, 0.5, R::toNearestOrEven, 8.0}, Case{-7.25, 0.5, R::toNearestOrEven, -7.0},
        Case{-7.25, 0.5, R::toNearestOrAwayFromZero, -7.5}, Case{7.1, 0.5, R::up, 7.5}, Case{-7.1, 0.5, R::up, -7.0},
        Case{7.4, 0.5, R::down, 7.0}, Case{-7.1, 0.5, R::down, -7.5}, Case{-7.4, 0.5, R::towardZero, -7.0},
        Case{7.1, 0.5, R::awayFromZero, 7.5}, Case{-7.1, 0.5, R::awayFromZero, -7.5},
        Case{1234.0, 100.0, R::toNearestOrEven, 1200.0}, Case{1250.0, 100.0, R::toNearestOrEven, 1200.0},
        Case{1350.0, 100.0, R::toNearestOrEven, 1400.0}, Case{0.0, 0.5, R::up, 0.0}}) {
    EXPECT_DOUBLE_EQ(rounded(c.value, c.step, c.rule), c.expected)
        << c.value << " step " << c.step << " rule " << static_cast<int>(c.rule);
  }
  EXPECT_FLOAT_EQ(rounded(2.5f, 1, R::toNearestOrEven), 2.0f);
  EXPECT_EQ(rounded(2.5L, 1.0L, R::toNearestOrEven), 2.0L);
  EXPECT_EQ(rounded(3.5L, 1.0L, R::toNearestOrEven), 4.0L);
  EXPECT_TRUE(std::signbit(rounded(-0.4, 1.0, R::toNearestOrEven)));
  const double huge = 0x1p60;
  EXPECT_EQ(rounded(huge + 2048, 1.0, R::toNearestOrEven), huge + 2048);
  EXPECT_TRUE(std::isnan(rounded(1.0, 0.0, R::toNearestOrEven)));
  EXPECT_TRUE(std::isinf(rounded(HUGE_VAL, 1, R::toNearestOrEven)));
}

TEST(NumberFormattingTest, IsNotFiniteLooksAtTheExponentBits) {
  EXPECT_FALSE(isNotFinite(0.0));
  EXPECT_FALSE(isNotFinite(-DBL_MAX));
  EXPECT_FALSE(isNotFinite(DBL_MAX));
  EXPECT_FALSE(isNotFinite(std::numeric_limits<double>::denorm_min()));
  EXPECT_TRUE(isNotFinite(INFINITY));
  EXPECT_TRUE(isNotFinite(-INFINITY));
  EXPECT_TRUE(isNotFinite(std::nan("")));
  EXPECT_TRUE(isNotFinite(-std::numeric_limits<double>::signaling_NaN()));
}

TEST(NumberFormattingTest, GroupedStringUsesTheLocalesSeparator) {
  EXPECT_EQ(groupedString(1234567, {"en_US", "UTC", 1, 1}), "1,234,567");
  EXPECT_EQ(groupedString(1234567, {"de_DE", "UTC", 2, 4}), "1.234.567");
  EXPECT_EQ(groupedString(1234567, {"en_US_POSIX", "UTC", 1, 1}), "1234567");
  EXPECT_EQ(groupedString(-1234567, {"en_US", "UTC", 1, 1}), "-1,234,567");
  EXPECT_EQ(groupedString(999, {"en_US", "UTC", 1, 1}), "999");
  EXPECT_EQ(groupedString(INT64_MIN, {"en_US", "UTC", 1, 1}), "-9,223,372,036,854,775,808");
  EXPECT_EQ(groupedString(1234567, {"ar_EG", "UTC", 1, 1}), "1,234,567");  // Latin digits, Arabic separator
}

}  // namespace
}  // namespace Keel
