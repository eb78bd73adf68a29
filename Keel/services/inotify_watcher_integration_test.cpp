// The shared inotify watcher's own promises: lost events reach every
// listener once, whatever the object it watches.
#include "Keel/services/inotify_watcher.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>

#include "testing/event_count.h"
#include "testing/temp_dir.h"

namespace Keel::detail {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::TempDir;

std::size_t queueLimit() {
  std::ifstream file("/proc/sys/fs/inotify/max_queued_events");
  std::size_t limit = 16384;
  file >> limit;
  return limit;
}

TEST(InotifyWatcher, AnOverflowingQueueIsToldToEveryListener) {
  const std::size_t limit = queueLimit();
  if (limit > 100000) GTEST_SKIP() << "the kernel's event queue holds " << limit << " events; too many to fill here";
  TempDir dir;
  std::filesystem::create_directory(dir.path() / "quiet");
  InotifyWatcher watcher;
  const Vantor::Testing::EventCount blocked, released, busyOverflows, quietOverflows;
  const std::uint64_t busy = watcher.add(dir.path(), IN_MODIFY, [&](std::uint32_t mask, std::string_view) {
    if ((mask & IN_Q_OVERFLOW) != 0) return busyOverflows.add();
    if (blocked.count() > 0) return;  // the reader calls one handler at a time
    blocked.add();                    // hold the reader while the kernel's queue fills up
    (void)released.waitFor(1, 60s);
  });
  const std::uint64_t quiet = watcher.add(dir.path() / "quiet", IN_MODIFY, [&](std::uint32_t mask, std::string_view) {
    if ((mask & IN_Q_OVERFLOW) != 0) quietOverflows.add();
  });
  ASSERT_NE(busy, 0u);
  ASSERT_NE(quiet, 0u);

  const int a = ::open((dir.path() / "a").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  const int b = ::open((dir.path() / "b").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  ASSERT_GE(a, 0);
  ASSERT_GE(b, 0);
  ASSERT_EQ(::write(a, "x", 1), 1);
  ASSERT_TRUE(blocked.waitFor(1, 10s));
  // Alternating files, so that the kernel cannot merge consecutive events.
  for (std::size_t i = 0; i <= limit; ++i) ASSERT_EQ(::write(i % 2 == 0 ? a : b, "x", 1), 1);
  ::close(a);
  ::close(b);
  released.add();
  EXPECT_TRUE(busyOverflows.waitFor(1, 10s));
  EXPECT_TRUE(quietOverflows.waitFor(1, 10s));
  EXPECT_EQ(busyOverflows.settledCount(), 1);
  EXPECT_EQ(quietOverflows.count(), 1);
  watcher.remove(busy);
  watcher.remove(quiet);
}

}  // namespace
}  // namespace Keel::detail
