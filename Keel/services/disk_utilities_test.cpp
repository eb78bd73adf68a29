// Byte-count and rate texts at their thresholds, the fatal rates, and decimal
// texts in the process's locale.
#include "Keel/services/disk_utilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace Keel {
namespace {

using D = DiskUtilities;
constexpr std::uint64_t gibi = std::uint64_t{1} << 30;

// GLib puts a no-break space between a number and a multiple's unit, and a
// plain one before "bytes".
TEST(SizeTexts, FilesInDecimalAndMemoryInBinaryMultiples) {
  EXPECT_EQ(D::fileSizeText(-1), "-");
  EXPECT_EQ(D::memorySizeText(-1), "-");
  EXPECT_EQ(D::fileSizeText(1), "1 byte");
  EXPECT_EQ(D::fileSizeText(999), "999 bytes");
  EXPECT_EQ(D::fileSizeText(1000), "1.0\u00A0kB");
  EXPECT_EQ(D::fileSizeText(std::int64_t{1} << 40), "1.1\u00A0TB");
  EXPECT_EQ(D::memorySizeText(1023), "1023 bytes");
  EXPECT_EQ(D::memorySizeText(1024), "1.0\u00A0KiB");
  EXPECT_EQ(D::memorySizeText(std::int64_t{1} << 40), "1.0\u00A0TiB");
}

TEST(PreciseSpeedText, BytesStepAtBinaryMultiplesAndBitsAtDecimalOnesStoppingAtATerabit) {
  EXPECT_EQ(D::speedText(1023, false), "1023 B/s");
  EXPECT_EQ(D::speedText(1024, false), "1 KB/s");
  EXPECT_EQ(D::speedText(1048575, false), "1023 KB/s");
  EXPECT_EQ(D::speedText(1048576, false), "1.00 MB/s");
  EXPECT_EQ(D::speedText(gibi - 1, false), "1024.00 MB/s");
  EXPECT_EQ(D::speedText(gibi, false), "1.00 GB/s");
  EXPECT_EQ(D::speedText(gibi * 1000000, false), "1000000.00 GB/s");  // no cap in bytes
  EXPECT_EQ(D::speedText(124, true), "992 b/s");
  EXPECT_EQ(D::speedText(125, true), "1 Kb/s");
  EXPECT_EQ(D::speedText(124999, true), "999 Kb/s");
  EXPECT_EQ(D::speedText(125000, true), "1.00 Mb/s");
  EXPECT_EQ(D::speedText(187500000, true), "1.50 Gb/s");
  EXPECT_EQ(D::speedText(124999999999, true), "1000.00 Gb/s");
  EXPECT_EQ(D::speedText(125000000000, true), "0 b/s");
}

TEST(CompactSpeedText, WholeNumbersButGigabytesNoCapAndFromBytesAndSecondsTruncated) {
  EXPECT_EQ(D::compactSpeedText(125000000000, true), "1000 Gb/s");
  EXPECT_EQ(D::compactSpeedText(249999, true), "1 Mb/s");  // 1,999,992 bits truncate
  EXPECT_EQ(D::compactSpeedText(2 * 1048576 - 1, false), "1 MB/s");
  EXPECT_EQ(D::compactSpeedText(2047, false), "1 KB/s");
  EXPECT_EQ(D::compactSpeedText(gibi + gibi / 2, false), "1.50 GB/s");
  EXPECT_EQ(D::speedText(3000, 2.0, false), "1 KB/s");
  EXPECT_EQ(D::speedText(1000, -1.0, true), "-");
  EXPECT_EQ(D::compactSpeedText(1000, 3.0, true), "2 Kb/s");  // 333 B/s
  EXPECT_EQ(D::rate(10, 4.0), 2u);
  EXPECT_EQ(D::rate(1, -2.0), 0u);  // -0.5 truncates to 0
}

TEST(SpeedTextDeathTest, UnrepresentableRatesStopTheProcess) {
  EXPECT_DEATH((void)D::speedText(std::uint64_t{1} << 61, true), "overflow");
  EXPECT_DEATH((void)D::compactSpeedText(std::uint64_t{1} << 61, true), "overflow");
  EXPECT_DEATH((void)D::compactSpeedText(1000, 0.0, false), "infinite or NaN");
  EXPECT_DEATH((void)D::compactSpeedText(0, 0.0, false), "infinite or NaN");
  EXPECT_DEATH((void)D::compactSpeedText(2, -1.0, false), "out of range");
  EXPECT_DEATH((void)D::speedText(UINT64_MAX, 1e-10, false), "out of range");
}

std::string digitsOf(std::string text) {
  std::erase_if(text, [](char c) { return c < '0' || c > '9'; });
  return text;
}

TEST(DecimalFormatterText, RoundsHalfToEvenWithinTheFractionDigits) {
  EXPECT_EQ(DecimalFormatter::text(7, 2), "7");
  EXPECT_EQ(DecimalFormatter::text(2.5, 0), "2");
  EXPECT_EQ(DecimalFormatter::text(3.5, 0), "4");
  EXPECT_EQ(DecimalFormatter::text(-1.0, -3), "-1");
  EXPECT_EQ(digitsOf(DecimalFormatter::text(1234567.891, 2)), "123456789");  // no grouping
  EXPECT_EQ(digitsOf(DecimalFormatter::text(0.125, 2)), "012");
  EXPECT_EQ(DecimalFormatter::text(UINT64_MAX, 0), "18446744073709551615");
  EXPECT_EQ(DecimalFormatter::text(INT64_MIN, 0), "-9223372036854775808");
}

}  // namespace
}  // namespace Keel
