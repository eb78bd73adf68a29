#include "tools/facts_report.h"

#include <gtest/gtest.h>

#include "Keel/coding/json.h"

namespace Vantor::Tools {
namespace {

class FakeFacts final : public Keel::SystemFacts {
 public:
  std::string modelText = "20KHCTO1WW";
  std::string model() const override { return modelText; }
  std::string processorName() const override { return ""; }
  int processorCount() const override { return 4; }
  std::uint64_t physicalMemory() const override { return 17179869184u; }
  int thermalState() const override { return 2; }
  std::string uptime() const override { return "00: 1: 2:05"; }
  Keel::HostBasicInfo hostBasicInfo() const override {
    Keel::HostBasicInfo info{};
    info.cpuType = 0x0100000C;
    info.physicalCpu = 2;
    info.physicalCpuMax = 4;
    return info;
  }
  std::string architecture() const override { return "aarch64"; }
  std::string operatingSystemVersionText() const override { return "Version 12 (Build 6.1.0-18-amd64)"; }
};

TEST(FactsReportTest, TreeHoldsEveryFactWithItsType) {
  FakeFacts facts;
  const Keel::AnyValue tree = factsTree(facts, distributionOf("NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n"));
  const auto& dictionary = tree.as<Keel::AnyValue::Dictionary>();
  EXPECT_EQ(*dictionary.find("model"), Keel::AnyValue("20KHCTO1WW"));
  EXPECT_EQ(*dictionary.find("processorCount"), Keel::AnyValue(4));
  EXPECT_EQ(*dictionary.find("physicalMemory"), Keel::AnyValue(std::uint64_t{17179869184u}));
  EXPECT_EQ(*dictionary.find("isAppleSilicon"), Keel::AnyValue(false));
  EXPECT_EQ(*dictionary.find("operatingSystemName"), Keel::AnyValue("macOS 12 (Build 6.1.0-18-amd64)"));
  // The system's own name beside the library's, VERSION_ID standing in for VERSION.
  EXPECT_EQ(*dictionary.find("distributionName"), Keel::AnyValue("Debian GNU/Linux"));
  EXPECT_EQ(*dictionary.find("distributionVersion"), Keel::AnyValue("12"));
  EXPECT_EQ(distributionOf("NAME=Fedora\nVERSION=\"40 (Workstation)\"\nVERSION_ID=40").version, "40 (Workstation)");
  const auto& host = dictionary.find("hostBasicInfo")->as<Keel::AnyValue::Dictionary>();
  EXPECT_EQ(host.size(), 11u);
  EXPECT_EQ(*host.find("physicalCpu"), Keel::AnyValue(2));
  EXPECT_EQ(*host.find("cpuType"), Keel::AnyValue(0x0100000C));

  auto json = Keel::JSON::write(tree);
  ASSERT_TRUE(json);
  EXPECT_EQ(Keel::JSON::parse(json.value()).value().as<Keel::AnyValue::Dictionary>().size(), 14u);
}

TEST(FactsReportTest, TextAlignsValuesAndMarksUnknownTexts) {
  FakeFacts facts;
  const std::string text = factsText(factsTree(facts));
  EXPECT_NE(text.find("model                         20KHCTO1WW\n"), std::string::npos) << text;
  EXPECT_NE(text.find("processorName                 (unknown)\n"), std::string::npos) << text;
  EXPECT_NE(text.find("hostBasicInfo.physicalCpuMax  4\n"), std::string::npos) << text;
  EXPECT_NE(text.find("operatingSystemVersionNumber   12 (Build"), std::string::npos) << text;
}

TEST(FactsReportTest, FirmwareBytesThatAreNotUTF8StillMakeJSON) {
  FakeFacts facts;
  facts.modelText = "Caf\xE9 PC";  // Latin-1, as some firmware writes
  const Keel::AnyValue tree = factsTree(facts);
  EXPECT_EQ(*tree.as<Keel::AnyValue::Dictionary>().find("model"), Keel::AnyValue("Caf\xEF\xBF\xBD PC"));
  EXPECT_TRUE(Keel::JSON::write(tree));
}

}  // namespace
}  // namespace Vantor::Tools
