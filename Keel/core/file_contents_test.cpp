// Bounded reads of files that someone else controls.
#include "Keel/core/file_contents.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>

namespace Keel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class ReadRegularFileTest : public ::testing::Test {
 protected:
  fs::path dir;
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "keel-read-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
  }
  void TearDown() override { fs::remove_all(dir); }

  fs::path file(const std::string& name, std::size_t size) {
    std::ofstream(dir / name, std::ios::binary) << std::string(size, 'x');
    return dir / name;
  }
};

TEST_F(ReadRegularFileTest, ReadsFilesUpToTheLimitAndFollowsLinksToThem) {
  EXPECT_EQ(readRegularFile(file("empty", 0), 10), std::vector<std::uint8_t>{});
  EXPECT_EQ(readRegularFile(file("ten", 10), 10)->size(), 10u);
  EXPECT_FALSE(readRegularFile(file("eleven", 11), 10));
  fs::create_symlink(dir / "ten", dir / "link");
  EXPECT_EQ(readRegularFile(dir / "link", 10)->size(), 10u);
  EXPECT_FALSE(readRegularFile(dir / "missing", 10));
  EXPECT_FALSE(readRegularFile(dir, 10));
}

TEST_F(ReadRegularFileTest, FilesWithoutAReportedSizeAreReadOnlyUpToTheLimit) {
  // procfs reports a size of 0 for files that hold more.
  const auto status = readRegularFile("/proc/self/status", 1 << 20);
  ASSERT_TRUE(status.has_value());
  EXPECT_GT(status->size(), 100u);
  EXPECT_FALSE(readRegularFile("/proc/self/status", 50));
}

// Each of these would block or never end under a plain read.
TEST_F(ReadRegularFileTest, FifosDevicesAndLinksToThemAreRefusedAtOnce) {
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  fs::create_symlink(dir / "fifo", dir / "fifo-link");
  fs::create_symlink("/dev/zero", dir / "zero-link");
  auto reads = std::async(std::launch::async, [&] {
    return !readRegularFile(dir / "fifo", 1 << 20) && !readRegularFile(dir / "fifo-link", 1 << 20) &&
           !readRegularFile(dir / "zero-link", 1 << 20) && !readRegularFile("/dev/zero", 1 << 20);
  });
  if (reads.wait_for(10s) != std::future_status::ready) {
    // Give a reader stuck on the FIFO its writer so that the test can end.
    const int writer = open((dir / "fifo").c_str(), O_WRONLY | O_NONBLOCK);
    if (writer >= 0) close(writer);
    FAIL() << "a read did not return";
  }
  EXPECT_TRUE(reads.get());
}

}  // namespace
}  // namespace Keel
