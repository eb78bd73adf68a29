// Machine facts read from fake /proc, /sys and /etc trees and a fake kernel
// identity, including trees where every source is missing.
#include "Keel/coding/system_linux.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

namespace fs = std::filesystem;

class SystemFactsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sources_.procRoot = root_ / "proc";
    sources_.sysRoot = root_ / "sys";
    sources_.etcRoot = root_ / "etc";
    sources_.usrLibRoot = root_ / "usr" / "lib";
  }

  // Writes `contents` at `path` below the fake root, creating folders.
  void write(const fs::path& path, std::string_view contents) const {
    Vantor::Testing::writeText(root_ / path, std::string(contents));
  }

  // A kernel identity with fields of the Linux sizes, zero-padded.
  void setKernel(std::string machine, std::string release) {
    machine.resize(65, '\0');
    release.resize(65, '\0');
    sources_.kernelIdentity = [=] { return KernelIdentity{machine, release}; };
  }

  [[nodiscard]] LinuxSystemFacts facts() const { return LinuxSystemFacts(sources_); }
  void expectNothingKnown() const;

  Vantor::Testing::TempDir dir_;
  const fs::path& root_ = dir_.path();
  LinuxSystemFacts::Sources sources_;
};

// FIFOs in the sources' places must read as missing, never wait for a writer.
TEST_F(SystemFactsTest, MissingSourcesOrFifosInTheirPlaceGiveEmptyTextsAndZeros) {
  for (const bool fifos : {false, true}) {
    SCOPED_TRACE(fifos ? "fifos" : "missing");
    if (fifos) {
      for (const char* source : {"proc/cpuinfo", "proc/meminfo", "proc/uptime", "proc/device-tree/model",
                                 "sys/devices/system/cpu/online", "sys/devices/system/cpu/present",
                                 "sys/class/dmi/id/product_name", "etc/os-release", "usr/lib/os-release"}) {
        fs::create_directories((root_ / source).parent_path());
        ASSERT_EQ(mkfifo((root_ / source).c_str(), 0600), 0) << source;
      }
    }
    expectNothingKnown();
  }
}

void SystemFactsTest::expectNothingKnown() const {
  const LinuxSystemFacts f = facts();
  EXPECT_EQ(f.model(), "");
  EXPECT_EQ(f.processorName(), "");
  EXPECT_EQ(f.processorCount(), 0);
  EXPECT_EQ(f.physicalMemory(), 0u);
  EXPECT_EQ(f.thermalState(), 0);
  EXPECT_EQ(f.uptime(), "");
  EXPECT_EQ(f.hostBasicInfo(), HostBasicInfo{});
  EXPECT_EQ(f.architecture(), "");
  EXPECT_FALSE(f.isAppleSilicon());
  EXPECT_EQ(f.operatingSystemVersionText(), "");
  EXPECT_EQ(f.operatingSystemVersionNumber(), "");
  EXPECT_EQ(f.operatingSystemName(), "");
}

TEST_F(SystemFactsTest, ModelPrefersDmiAndSkipsPlaceholders) {
  write("proc/device-tree/model", std::string_view("Raspberry Pi 4 Model B Rev 1.4\0", 31));
  EXPECT_EQ(facts().model(), "Raspberry Pi 4 Model B Rev 1.4");
  write("sys/class/dmi/id/product_name", "To Be Filled By O.E.M.\n");
  EXPECT_EQ(facts().model(), "Raspberry Pi 4 Model B Rev 1.4");
  write("sys/class/dmi/id/product_name", "MacBookPro16,1\n");
  EXPECT_EQ(facts().model(), "MacBookPro16,1");
}

TEST_F(SystemFactsTest, ProcessorNameMemoryAndUptimeComeFromProc) {
  write("proc/cpuinfo", "processor\t: 0\nmodel name\t: AMD Ryzen 7 5800X 8-Core Processor\n");
  write("proc/meminfo", "MemTotal:        8000000 kB\n");
  write("proc/uptime", "3725.99 100.00\n");
  EXPECT_EQ(facts().processorName(), "AMD Ryzen 7 5800X 8-Core Processor");
  EXPECT_EQ(facts().physicalMemory(), 8000000ull * 1024);
  EXPECT_EQ(facts().uptime(), "00: 1: 2:05");
}

TEST_F(SystemFactsTest, ProcessorCountPrefersTheAffinityMask) {
  write("sys/devices/system/cpu/online", "0-7\n");
  EXPECT_EQ(facts().processorCount(), 8);
  sources_.schedulableProcessorCount = [] { return std::optional<int>(3); };
  EXPECT_EQ(facts().processorCount(), 3);
  sources_.schedulableProcessorCount = [] { return std::optional<int>(); };
  EXPECT_EQ(facts().processorCount(), 8);
}

TEST_F(SystemFactsTest, HostBasicInfoCountsProcessorsCoresAndMemory) {
  // Two cores with two threads each, one thread taken offline; cpu3's
  // topology is unreadable.
  write("sys/devices/system/cpu/present", "0-3\n");
  write("sys/devices/system/cpu/online", "0-2\n");
  const int cores[] = {0, 0, 1};
  for (int cpu = 0; cpu < 3; ++cpu) {
    const fs::path topology = fs::path("sys/devices/system/cpu") / ("cpu" + std::to_string(cpu)) / "topology";
    write(topology / "physical_package_id", "0\n");
    write(topology / "core_id", std::to_string(cores[cpu]) + "\n");
  }
  write("proc/meminfo", "MemTotal: 4 kB\n");
  HostBasicInfo expected;
  expected.maxCpus = expected.logicalCpuMax = 4;
  expected.availCpus = expected.logicalCpu = 3;
  expected.physicalCpu = expected.physicalCpuMax = 2;
  expected.memorySize = expected.maxMem = 4096;
  EXPECT_EQ(facts().hostBasicInfo(), expected);

  // The type codes follow the architecture; x86 with more threads than
  // cores online is hyper-threaded.
  setKernel("x86_64", "6.1.0");
  expected.cpuType = 0x01000007;
  expected.cpuSubtype = 3;
  expected.cpuThreadType = 1;
  EXPECT_EQ(facts().hostBasicInfo(), expected);
  setKernel("aarch64", "6.1.0");
  expected.cpuType = 0x0100000C;
  expected.cpuSubtype = 0;
  expected.cpuThreadType = 0;
  EXPECT_EQ(facts().hostBasicInfo(), expected);
}

TEST_F(SystemFactsTest, ThermalStateReadsZonesAndTheirTrips) {
  write("sys/class/thermal/cooling_device0/type", "Processor\n");  // not a zone
  write("sys/class/thermal/thermal_zone0/temp", "45000\n");
  write("sys/class/thermal/thermal_zone0/trip_point_0_type", "active\n");
  write("sys/class/thermal/thermal_zone0/trip_point_0_temp", "40000\n");
  EXPECT_EQ(facts().thermalState(), 1);

  write("sys/class/thermal/thermal_zone1/temp", "90000\n");
  write("sys/class/thermal/thermal_zone1/trip_point_0_type", "passive\n");
  write("sys/class/thermal/thermal_zone1/trip_point_0_temp", "85000\n");
  write("sys/class/thermal/thermal_zone1/trip_point_1_type", "critical\n");
  write("sys/class/thermal/thermal_zone1/trip_point_1_temp", "105000\n");
  EXPECT_EQ(facts().thermalState(), 2);

  write("sys/class/thermal/thermal_zone1/mode", "disabled\n");
  EXPECT_EQ(facts().thermalState(), 1);
}

TEST_F(SystemFactsTest, KernelIdentityGivesTheArchitectureAndJoinsTheDistributionInOperatingSystemTexts) {
  setKernel("x86_64", "6.1.0-18-amd64");
  EXPECT_EQ(facts().architecture(), "x86_64");
  EXPECT_FALSE(facts().isAppleSilicon());
  write("usr/lib/os-release", "VERSION_ID=\"11\"\n");
  EXPECT_EQ(facts().operatingSystemVersionText(), "Version 11 (Build 6.1.0-18-amd64)");
  write("etc/os-release", "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n");  // /etc wins
  EXPECT_EQ(facts().operatingSystemVersionText(), "Version 12 (Build 6.1.0-18-amd64)");
  EXPECT_EQ(facts().operatingSystemVersionNumber(), " 12 (Build 6.1.0-18-amd64)");
  EXPECT_EQ(facts().operatingSystemName(), "macOS 12 (Build 6.1.0-18-amd64)");

  setKernel("aarch64", "6.1.0");
  EXPECT_FALSE(facts().isAppleSilicon());
  setKernel("arm64", "6.1.0");
  EXPECT_TRUE(facts().isAppleSilicon());
  for (const char* near : {"arm64e", "arm6", "ARM64", " arm64", ""}) {
    EXPECT_FALSE(isAppleSiliconArchitecture(near)) << near;
  }
}

}  // namespace
}  // namespace Keel
