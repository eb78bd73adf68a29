// The firmware's serial-number files, in fake /sys and /proc trees.
#include "Plinth/desktop/mac_system_linux.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;
using Kind = SerialNumberLookup::Kind;

class FirmwareTree : public ::testing::Test {
 protected:
  Vantor::Testing::TempDir dir;
  FirmwareSerialNumberSource source{{dir.path() / "sys", dir.path() / "proc"}};

  void write(const fs::path& relative, std::string_view contents) {
    Vantor::Testing::writeText(dir.path() / relative, std::string(contents));
  }
};

TEST_F(FirmwareTree, TheFirstFileThatExistsDecides) {
  EXPECT_EQ(source.lookUp().kind, Kind::noService);
  write("sys/firmware/devicetree/base/serial-number", std::string_view("10000000abcd\0", 13));
  EXPECT_EQ(MacSystem::serialNumber(source), "10000000abcd");
  write("proc/device-tree/serial-number", std::string_view("W8XYZ\0", 6));
  EXPECT_EQ(MacSystem::factoryLocation(source), "Shanghai China");
  write("sys/class/dmi/id/product_serial", "To Be Filled By O.E.M.\n");
  EXPECT_EQ(source.lookUp().kind, Kind::unusable);  // no fallback past a placeholder
  write("sys/class/dmi/id/product_serial", "C02XK0ABJGH5\n");
  EXPECT_EQ(MacSystem::serialNumber(source), "C02XK0ABJGH5");
}

TEST_F(FirmwareTree, HostileFilesAreUnusableNotFatal) {
  write("sys/class/dmi/id/product_serial", std::string(1 << 20, 'C'));  // 1 MiB
  EXPECT_EQ(source.lookUp().kind, Kind::unusable);
  fs::remove(dir.path() / "sys/class/dmi/id/product_serial");
  ASSERT_EQ(mkfifo((dir.path() / "sys/class/dmi/id/product_serial").c_str(), 0600), 0);  // never opened
  EXPECT_EQ(source.lookUp().kind, Kind::unusable);
  EXPECT_EQ(MacSystem::serialNumber(source), std::nullopt);
}

}  // namespace
}  // namespace Plinth
