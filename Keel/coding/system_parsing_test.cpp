// The parsers behind the machine facts, fed with the texts real kernels and
// distributions write.
#include "Keel/coding/system_parsing.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace Keel::SystemParsing {
namespace {

TEST(FirmwareText, KeepsRealNamesAndDropsPlaceholders) {
  EXPECT_EQ(firmwareText("MacBookPro16,1\n"), "MacBookPro16,1");
  EXPECT_EQ(firmwareText(std::string_view("Raspberry Pi 4 Model B Rev 1.4\0", 31)), "Raspberry Pi 4 Model B Rev 1.4");
  EXPECT_EQ(firmwareText("Standard PC (i440FX + PIIX, 1996)\n"), "Standard PC (i440FX + PIIX, 1996)");
  for (const char* placeholder :
       {"To Be Filled By O.E.M.\n", "to be filled by o.e.m.", "Default string\n", "System Product Name",
        "System Serial Number", "0000000000", "00000000-0000", "", " \n"}) {
    EXPECT_EQ(firmwareText(placeholder), std::nullopt) << placeholder;
  }
  EXPECT_EQ(firmwareText(std::string_view("\0\0", 2)), std::nullopt);
  EXPECT_EQ(firmwareText("X1000"), "X1000");  // zeros inside a real name are fine
}

TEST(ProcessorName, PicksTheBrandLineOfEachArchitecture) {
  EXPECT_EQ(processorName("processor\t: 0\nvendor_id\t: GenuineIntel\ncpu family\t: 6\n"
                          "model name\t: Intel(R) Xeon(R) Processor\ncpu MHz\t\t: 2000.000\n\n"
                          "processor\t: 1\nmodel name\t: Intel(R) Xeon(R) Processor\n"),
            "Intel(R) Xeon(R) Processor");
  // 32-bit ARM: the lower-case "processor" lines are numbers, "Processor" is the brand.
  EXPECT_EQ(processorName("Processor\t: ARMv7 Processor rev 4 (v7l)\nprocessor\t: 0\nHardware\t: BCM2709\n"),
            "ARMv7 Processor rev 4 (v7l)");
  EXPECT_EQ(processorName("processor\t: 0\nHardware\t: BCM2835\nRevision\t: c03114\n"), "BCM2835");
  EXPECT_EQ(processorName("processor\t: 0\ncpu\t\t: POWER9 (architected), altivec supported\n"),
            "POWER9 (architected), altivec supported");
  // A modern arm64 kernel names no brand at all.
  EXPECT_EQ(processorName("processor\t: 0\nBogoMIPS\t: 48.00\nCPU implementer\t: 0x41\nCPU part\t: 0xd0c\n"), "");
  EXPECT_EQ(processorName("model name\t:\nHardware\t: X\n"), "X");  // empty values do not count
  EXPECT_EQ(processorName(""), "");
}

TEST(MemTotal, ReadsKilobytesAsBytes) {
  EXPECT_EQ(memTotalBytes("MemTotal:       24684112 kB\nMemFree:        24239316 kB\n"), 24684112ull * 1024);
  EXPECT_EQ(memTotalBytes("MemFree: 1 kB\nMemTotal: 2 kB"), 2048u);
  EXPECT_EQ(memTotalBytes("MemFree: 1 kB\n"), std::nullopt);
  EXPECT_EQ(memTotalBytes("MemTotal: 12 MB\n"), std::nullopt);
  EXPECT_EQ(memTotalBytes("MemTotal: -5 kB\n"), std::nullopt);
  EXPECT_EQ(memTotalBytes("MemTotal: 18446744073709551615 kB\n"), std::nullopt);  // overflows in bytes
}

TEST(Uptime, ParsesOnlyWhatTheKernelWritesAndTruncatesTowardZeroIntoTheDurationText) {
  EXPECT_EQ(uptimeSeconds("652.64 1215.77\n"), 652.64);
  EXPECT_EQ(uptimeSeconds("7\n"), 7.0);
  for (const char* bad : {"", "\n", "inf 1", "nan 1", "1e5 1", "-3.0 1", ".5 1", "5. 1", "12abc 3"}) {
    EXPECT_EQ(uptimeSeconds(bad), std::nullopt) << bad;
  }
  // Truncated toward zero into the duration text, whose own layout is the date utilities' to test.
  EXPECT_EQ(uptimeText(3725.99), "00: 1: 2:05");
  EXPECT_EQ(uptimeText(0.9), "00:00:00:00");
  EXPECT_EQ(uptimeText(-75.9), "00:00:-1:-15");
}

TEST(UptimeDeathTest, NonFiniteOrHugeUptimeIsFatal) {
  EXPECT_DEATH((void)uptimeText(std::numeric_limits<double>::quiet_NaN()), "not a finite");
  EXPECT_DEATH((void)uptimeText(std::numeric_limits<double>::infinity()), "not a finite");
  EXPECT_DEATH((void)uptimeText(9223372036854775808.0), "does not fit");
  EXPECT_DEATH((void)uptimeText(-1e19), "does not fit");
}

TEST(OsRelease, ReadsQuotedAndUnquotedValues) {
  const auto values = osRelease(
      "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
      "# a comment\n"
      "VERSION_ID=\"12\"\n"
      "ID=debian\n"
      "NAME='Some OS'\n"
      "ESCAPED=\"say \\\"hi\\\" \\\\ \\$HOME \\n\"\n"
      "BROKEN=\"unterminated\n"
      "TRAILING=\"a\"b\n"
      "not a line\n"
      "1X=ok\n"
      "ID=override\n");
  EXPECT_EQ(values.at("PRETTY_NAME"), "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(values.at("VERSION_ID"), "12");
  EXPECT_EQ(values.at("NAME"), "Some OS");
  EXPECT_EQ(values.at("ESCAPED"), "say \"hi\" \\ $HOME \\n");
  EXPECT_EQ(values.at("ID"), "override");
  EXPECT_EQ(values.at("1X"), "ok");
  EXPECT_EQ(values.count("BROKEN"), 0u);
  EXPECT_EQ(values.count("TRAILING"), 0u);
  EXPECT_EQ(values.size(), 6u);
}

TEST(OperatingSystemTexts, BuildTheVersionShapeAndReplaceLiterally) {
  EXPECT_EQ(operatingSystemVersionText("12", "6.1.0-18-amd64"), "Version 12 (Build 6.1.0-18-amd64)");
  EXPECT_EQ(operatingSystemVersionText("12", ""), "Version 12");
  EXPECT_EQ(operatingSystemVersionText("", "6.1.0"), "Version (Build 6.1.0)");
  EXPECT_EQ(operatingSystemVersionText("", ""), "");
  const std::string text = "Version 11.2 (Build 20D64)";
  EXPECT_EQ(replacingAll(text, "Version", ""), " 11.2 (Build 20D64)");
  EXPECT_EQ(replacingAll(text, "Version", "macOS"), "macOS 11.2 (Build 20D64)");
  EXPECT_EQ(replacingAll("VersionVersion version", "Version", "x"), "xx version");
  EXPECT_EQ(replacingAll("abc", "", "x"), "abc");
}

TEST(UnameField, DropsTrailingZerosAndDecodesLatin1) {
  std::array<unsigned char, 65> field{};
  const std::string_view machine = "x86_64";
  std::copy(machine.begin(), machine.end(), field.begin());
  EXPECT_EQ(decodeUnameField(field), "x86_64");

  // Filled to all 256 bytes without a terminator: taken whole, each byte
  // above 0x7F becoming its two-byte UTF-8 form.
  std::array<unsigned char, 256> full{};
  for (std::size_t i = 0; i < full.size(); ++i) full[i] = static_cast<unsigned char>(i == 0 ? 'a' : i);
  const std::string decoded = decodeUnameField(full);
  EXPECT_EQ(decoded.size(), 128u + 2 * 128u);
  EXPECT_EQ(decoded.substr(0, 2), "a\x01");
  EXPECT_EQ(decoded.substr(decoded.size() - 4), "\xC3\xBE\xC3\xBF");  // U+00FE, U+00FF

  std::array<unsigned char, 8> inner{'a', 0, 'b', 0, 0, 0, 0, 0};  // only trailing zeros go
  EXPECT_EQ(decodeUnameField(inner), std::string("a\0b", 3));
  EXPECT_EQ(decodeUnameField(std::array<unsigned char, 4>{}), "");
}

TEST(CpuList, CountsRangesAndRejectsNonsense) {
  EXPECT_EQ(cpuList("0-3,8,10-11\n"), (std::vector<unsigned>{0, 1, 2, 3, 8, 10, 11}));
  EXPECT_EQ(cpuList("0\n"), (std::vector<unsigned>{0}));
  EXPECT_EQ(cpuList("\n"), std::vector<unsigned>{});
  EXPECT_EQ(cpuList("2,0-2"), (std::vector<unsigned>{0, 1, 2}));
  for (const char* bad : {"3-1", "a", "1,,2", "1-", "-1", "0-4294967295", "0-70000"}) {
    EXPECT_EQ(cpuList(bad), std::nullopt) << bad;
  }
}

TEST(ThermalState, HighestReachedTripOfAnEnabledZoneDecides) {
  const ThermalZone cool{true, 40000, {{"active", 50000}, {"passive", 80000}, {"critical", 100000}}};
  const ThermalZone fansOn{true, 55000, {{"active", 50000}, {"passive", 80000}}};
  const ThermalZone throttled{true, 85000, {{"active", 50000}, {"passive", 80000}, {"critical", 100000}}};
  const ThermalZone hot{true, 96000, {{"hot", 95000}, {"critical", 100000}}};
  const ThermalZone burning{true, 101000, {{"critical", 100000}}};
  EXPECT_EQ(thermalState(std::vector<ThermalZone>{}), 0);
  EXPECT_EQ(thermalState(std::vector{cool}), 0);
  EXPECT_EQ(thermalState(std::vector{cool, fansOn}), 1);
  EXPECT_EQ(thermalState(std::vector{fansOn, throttled, cool}), 2);
  EXPECT_EQ(thermalState(std::vector{hot}), 3);
  EXPECT_EQ(thermalState(std::vector{burning, cool}), 3);
  // Disabled zones, placeholder trips, missing readings and unknown kinds count for nothing.
  const ThermalZone disabled{false, 120000, {{"critical", 100000}}};
  const ThermalZone placeholderTrip{true, 30000, {{"critical", -32768000}, {"passive", 0}}};
  const ThermalZone noReading{true, std::nullopt, {{"critical", 1000}}};
  const ThermalZone unknownKind{true, 90000, {{"fan_boost", 1000}}};
  EXPECT_EQ(thermalState(std::vector{disabled, placeholderTrip, noReading, unknownKind}), 0);
}

}  // namespace
}  // namespace Keel::SystemParsing
