// Numeric ordering of version texts and the application's own version.
#include "Keel/coding/version.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "Keel/core/bundle.h"
#include "testing/plist_bytes.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// Checks left < right in both directions, so that an asymmetric comparison
// cannot pass.
void expectAscending(const Pairs& pairs) {
  for (const auto& [left, right] : pairs) {
    EXPECT_EQ(compareVersionTexts(left, right), VersionOrder::ascending) << left << " vs " << right;
    EXPECT_EQ(compareVersionTexts(right, left), VersionOrder::descending) << right << " vs " << left;
  }
}

TEST(VersionOrder, DigitRunsCompareByValueWithoutOverflowOrLeadingZeros) {
  // Some pairs first differ inside a run that began earlier.
  expectAscending({{"1.9", "1.10"}, {"1.99", "2.0"}, {"9.9.9", "10.0"}, {"2.9", "2.10.1"}, {"build 7", "build 12"}});
  expectAscending({{"1.19", "1.100"}, {"10", "100"}, {"1.20", "1.100"}, {"1.01", "1.2"}, {"0009", "10"}});
  const std::string big(400, '9');
  expectAscending({{big, "1" + std::string(400, '0')},
                   {"18446744073709551615", "18446744073709551616"},
                   {"1." + big + ".1", "1." + big + ".2"}});
  for (const auto& [left, right] : Pairs{{"", ""}, {"01", "1"}, {"1.01", "1.1"}, {"0", "000"}, {big, big}}) {
    EXPECT_EQ(compareVersionTexts(left, right), VersionOrder::same) << left << " vs " << right;
  }
}

TEST(VersionOrder, MissingComponentsEmptyTextSuffixesAndCase) {
  // Missing components are not zero; the empty text sorts first.
  expectAscending({{"1", "1.0"}, {"1.0", "1.0.0"}, {"", "0"}, {"", "."}});
  // Suffixes and case compare literally, the run after a letter is a number
  // too, and '-' (0x2D) sorts before '.' (0x2E): it is no sign.
  expectAscending({{"1.0", "1.0b2"}, {"1.0", "1.0 beta"}, {"1.0A", "1.0a"}, {"1.0b2", "1.0b10"}, {"1-2", "1.2"}});
}

TEST(VersionOrder, NonDigitsUseUtf16CodeUnitOrder) {
  // U+FFFD (UTF-8 EF BF BD) sorts after U+1F600 (F0 9F 98 80) in UTF-16,
  // whose surrogate D83D lies below FFFD; plain byte order would say otherwise.
  expectAscending(
      {{"1.\U0001F600", "1.\uFFFD"}, {"1.\u00E9", "1.\U0001F600"}, {"1.z", "1.\u00E9"}, {"1.\uD7FF", "1.\U00010000"}});
}

TEST(Version, OperatorsAgreeWithTheComparisonAndTheTextIsKeptAsGiven) {
  const std::vector<std::string> samples{"",     " ",    "1",   "1.0",  "01.0", "1.1",
                                         "1.01", "1.10", "1.9", "1.0a", "1.0A", "2"};
  for (const std::string& a : samples) {
    for (const std::string& b : samples) {
      const Version l(a), r(b);
      const VersionOrder o = compareVersionTexts(a, b);
      EXPECT_EQ(l < r, o == VersionOrder::ascending) << a << " " << b;
      EXPECT_EQ(l > r, o == VersionOrder::descending) << a << " " << b;
      EXPECT_EQ(l == r, o == VersionOrder::same) << a << " " << b;
      EXPECT_EQ(l <= r, o != VersionOrder::descending) << a << " " << b;
      EXPECT_EQ(l >= r, o != VersionOrder::ascending) << a << " " << b;
    }
  }
  const Version v(" 3.1 \n");  // kept as given
  EXPECT_EQ(v.string(), " 3.1 \n");
  EXPECT_EQ(Version("3.1").description(), "3.1");
}

// A temporary bundle folder whose Info.plist the test writes with libplist.
class ApplicationVersion : public ::testing::Test {
 protected:
  Vantor::Testing::TempDir dir;

  void SetUp() override { std::filesystem::create_directories(dir.path() / "Test.app" / "Contents"); }
  void writeInfo(plist_t dict, bool binary) {
    std::ofstream(dir.path() / "Test.app" / "Contents" / "Info.plist", std::ios::binary)
        << Vantor::Testing::plistBytes(dict, binary);
  }
  [[nodiscard]] Bundle bundle() const { return Bundle(dir.path() / "Test.app"); }
};

// Reading Info.plist in either format, and text values only, is the bundle's
// own test; here, the key and the fallback text.
TEST_F(ApplicationVersion, IsTheShortVersionStringOrUnknown) {
  EXPECT_EQ(applicationVersion(), "Unknown Version");  // the test binary lies in no bundle
  EXPECT_EQ(applicationVersion(bundle()), "Unknown Version");
  plist_t dict = plist_new_dict();
  plist_dict_set_item(dict, "CFBundleVersion", plist_new_string("77"));
  writeInfo(dict, false);
  EXPECT_EQ(applicationVersion(bundle()), "Unknown Version");

  dict = plist_new_dict();
  plist_dict_set_item(dict, "CFBundleShortVersionString", plist_new_string("4.2.1"));
  writeInfo(dict, true);
  EXPECT_EQ(applicationVersion(bundle()), "4.2.1");
}

}  // namespace
}  // namespace Keel
