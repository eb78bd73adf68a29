// The running machine's facts: every query works and gives plausible values.
#include "Keel/coding/system.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>

#include "Keel/coding/apple_hardware_details.h"

namespace Keel {
namespace {

TEST(SystemOnThisMachine, FactsArePlausible) {
  EXPECT_GE(System::processorCount(), 1);
  EXPECT_GT(System::physicalMemory(), 0u);
  EXPECT_FALSE(System::architecture().empty());
  EXPECT_EQ(System::isAppleSilicon(), System::architecture() == "arm64");
  EXPECT_FALSE(System::uptime().empty());
  const int thermal = System::thermalState();
  EXPECT_GE(thermal, 0);
  EXPECT_LE(thermal, 3);

  const HostBasicInfo info = System::hostBasicInfo();
  EXPECT_GE(info.logicalCpu, 1);
  EXPECT_GE(info.logicalCpuMax, info.logicalCpu);
  EXPECT_EQ(info.memorySize, System::physicalMemory());

  const std::string os = System::operatingSystemVersionText();
  EXPECT_EQ(os.rfind("Version", 0), 0u) << os;
  EXPECT_NE(os.find("(Build "), std::string::npos) << os;
  EXPECT_EQ(System::operatingSystemName().rfind("macOS", 0), 0u);

  // Model and processor name may be absent (containers, arm64), but never
  // fail; show what this machine says.
  std::cout << "model: '" << System::model() << "', processor: '" << System::processorName() << "', " << os << ", "
            << System::architecture() << ", up " << System::uptime() << "\n";
}

TEST(AppleHardwareDetailsOnLinux, IsAbsentWithoutTheMachineAttributesList) {
  // Linux ships no machine-attributes list, whatever the model and language.
  ASSERT_FALSE(std::filesystem::exists("/System/Library/PrivateFrameworks/ServerInformation.framework"));
  EXPECT_FALSE(AppleHardwareDetails::currentDetails().has_value());
}

}  // namespace
}  // namespace Keel
