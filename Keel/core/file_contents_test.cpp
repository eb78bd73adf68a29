// Bounded reads of files that someone else controls.
#include "Keel/core/file_contents.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <future>

#include "testing/temp_dir.h"

namespace Keel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class ReadRegularFileTest : public ::testing::Test {
 protected:
  Vantor::Testing::TempDir temp;
  const fs::path& dir = temp.path();
};

TEST_F(ReadRegularFileTest, ReadsRegularFilesUpToTheLimitThroughLinksToo) {
  std::ofstream(dir / "ten") << "0123456789";
  fs::create_symlink(dir / "ten", dir / "link");
  EXPECT_EQ(readRegularFile(dir / "link", 10)->size(), 10u);
  EXPECT_FALSE(readRegularFile(dir / "ten", 9));
  // procfs reports a size of 0 for files that hold more.
  EXPECT_GT(readRegularFile("/proc/self/status", 1 << 20)->size(), 100u);
  EXPECT_FALSE(readRegularFile("/proc/self/status", 50));
  EXPECT_FALSE(readRegularFile(dir, 10));
}

// Each of these would block or never end under a plain read.
TEST_F(ReadRegularFileTest, FifosDevicesAndLinksToThemAreRefusedAtOnce) {
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  fs::create_symlink("/dev/zero", dir / "zero");
  auto reads = std::async(std::launch::async, [&] {
    return !readRegularFile(dir / "fifo", 1 << 20) && !readRegularFile(dir / "zero", 1 << 20);
  });
  if (reads.wait_for(10s) != std::future_status::ready) {
    // Give a reader stuck on the FIFO its writer so that the test can end.
    close(open((dir / "fifo").c_str(), O_WRONLY | O_NONBLOCK));
    FAIL() << "a read did not return";
  }
  EXPECT_TRUE(reads.get());
}

}  // namespace
}  // namespace Keel
