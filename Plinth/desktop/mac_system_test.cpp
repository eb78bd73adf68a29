// The decoding tables and serial-number rules, with fake sources.
#include "Plinth/desktop/mac_system.h"

#include <gtest/gtest.h>

namespace Plinth {
namespace {

using Kind = SerialNumberLookup::Kind;

struct FakeSource final : SerialNumberSource {
  SerialNumberLookup lookup;
  FakeSource(Kind kind, std::string text = {}) : lookup{kind, std::move(text)} {}
  SerialNumberLookup lookUp() const override { return lookup; }
};

TEST(MacSystem, FactoryLocationTakesTheFirstMatchingRow) {
  const std::pair<const char*, const char*> cases[] = {
      {"FC1234", "Fountain Colorado, USA"},
      {"F9ABCD", "Fremont, California, USA"},
      {"FK0001", "Foxconn \xE2\x80\x93 Zhengzhou, China"},
      {"EE1111", "Singapore"},  // row 6's E comes before Taiwan and the refurbished row
      {"RM22", "Refurbished/remanufactured"},
      {"C0", "Tech Com \xE2\x80\x93 Quanta Computer Subsidiary, China"},
      {"C3", "Foxxcon, Shenzhen, China"},
      {"C7", "Pentragon, Changhai, China"},
  };
  for (const auto& [serial, location] : cases) EXPECT_EQ(MacSystem::factoryLocation(serial), location) << serial;
  for (const char* unknown : {"", "fc12", "ZZ", "C", " FC"}) {
    EXPECT_EQ(MacSystem::factoryLocation(unknown), std::nullopt) << unknown;
  }
}

TEST(MacSystem, ModelNameByCaseSensitivePrefix) {
  const std::pair<const char*, const char*> cases[] = {
      {"MacBookPro16,1", "MacBook Pro"}, {"Macmini9,1", "Mac Mini"}, {"iMacPro1,1", "iMac Pro"},
      {"MacBook10,1", "MacBook"},        {"VirtualMac2,1", ""},      {"macbookpro16,1", ""},
  };
  for (const auto& [model, name] : cases) EXPECT_EQ(MacSystem::modelName(model), name) << model;
}

TEST(MacSystem, SerialNumberIsTheTrimmedTextOrAbsent) {
  EXPECT_EQ(MacSystem::serialNumber(FakeSource(Kind::text, "\t C02XK0 \n")), "C02XK0");
  // Unicode white space too (no-break and ideographic spaces, line separator).
  EXPECT_EQ(MacSystem::serialNumber(FakeSource(Kind::text,
                                               "\xC2\xA0"
                                               "C02\xE3\x80\x80"
                                               "X\xE2\x80\xA8")),
            "C02\xE3\x80\x80X");
  EXPECT_EQ(MacSystem::serialNumber(FakeSource(Kind::text, " \n ")), "");
  EXPECT_EQ(MacSystem::factoryLocation(FakeSource(Kind::text, " \n ")), std::nullopt);
  EXPECT_EQ(MacSystem::factoryLocation(FakeSource(Kind::text, " FC9\n")), "Fountain Colorado, USA");
  EXPECT_EQ(MacSystem::serialNumber(FakeSource(Kind::text, "\xFF\xFE")), std::nullopt);
  EXPECT_EQ(MacSystem::serialNumber(FakeSource(Kind::noService)), std::nullopt);
  EXPECT_EQ(MacSystem::serialNumber(FakeSource(Kind::unusable)), std::nullopt);
  EXPECT_EQ(MacSystem::factoryLocation(FakeSource(Kind::noService)), std::nullopt);
}

TEST(MacSystemDeathTest, AServiceWithoutTheSerialPropertyStopsTheProcess) {
  EXPECT_DEATH((void)MacSystem::serialNumber(FakeSource(Kind::noProperty)), "IOPlatformSerialNumber");
}

TEST(MacSystem, FirmwarePlaceholdersAreNoSerialNumber) {
  EXPECT_EQ(firmwareSerialNumber("C02XK0ABJGH5\n"), "C02XK0ABJGH5\n");
  EXPECT_EQ(firmwareSerialNumber(std::string_view("W80123\0\0", 8)), "W80123");  // device tree's NULs
  EXPECT_EQ(firmwareSerialNumber("VMware-56 4d 00 0f"), "VMware-56 4d 00 0f");
  for (const char* placeholder : {"To Be Filled By O.E.M.\n", "Default string", "System Serial Number", " None ", "0",
                                  "00000000", "0000-0000", "XXXXXXXX", "ff:ff:ff:ff", "", "  \n", "N/A"}) {
    EXPECT_EQ(firmwareSerialNumber(placeholder), std::nullopt) << placeholder;
  }
  EXPECT_EQ(firmwareSerialNumber(std::string_view("AB\0CD", 5)), std::nullopt);
  EXPECT_EQ(firmwareSerialNumber("AB\xC3("), std::nullopt);
}

}  // namespace
}  // namespace Plinth
