// Shell against the real /bin/bash: results, environment, descriptors,
// large and hostile output, signals.
#include "Plinth/desktop/shell.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <future>
#include <random>

#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;

TEST(ShellOnLinux, StatusOutputArgumentsAndLocale) {
  EXPECT_EQ(Shell::run({"printf 'half a result'; exit 1"}), std::nullopt);
  EXPECT_EQ(Shell::run({"kill -KILL $$"}), std::nullopt);  // a signal is no zero status
  EXPECT_EQ(Shell::run({"true"}), std::vector<std::uint8_t>{});
  EXPECT_EQ(Shell::runString({"true"}), "");
  EXPECT_EQ(Shell::runString({"printf '%s|%s' \"$0\" \"$1\"", "zero", "one two"}), "zero|one two");
  EXPECT_EQ(Shell::runString({"printf '\\377'"}), std::nullopt);

  const char* saved = getenv("LC_ALL");
  const std::string before = saved != nullptr ? saved : "";
  setenv("LC_ALL", "C", 1);
  EXPECT_EQ(Shell::runString({"printf %s \"$LC_ALL\"; env | grep -c ^LC_ALL="}),
            "en_US.UTF-8"
            "1\n");
  if (saved != nullptr) {
    setenv("LC_ALL", before.c_str(), 1);
  } else {
    unsetenv("LC_ALL");
  }
}

TEST(ShellOnLinux, TheChildGetsOnlyItsThreeStreams) {
  const int leaked = open("/dev/null", O_RDONLY);  // without close-on-exec
  ASSERT_GE(leaked, 3);
  // ls runs as bash's child (a command follows it), so it lists bash's.
  EXPECT_EQ(Shell::runString({"ls /proc/$$/fd; true"}), "0\n1\n2\n");
  close(leaked);
}

TEST(ShellOnLinux, TenMegabytesOnEachStreamNeverStall) {
  Vantor::Testing::TempDir dir;
  std::vector<std::uint8_t> data(10 << 20);
  std::mt19937 random(13);
  for (auto& b : data) b = static_cast<std::uint8_t>(random());
  std::ofstream(dir.path() / "data", std::ios::binary)
      .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
  // Both streams at once, then standard error alone after standard output
  // has closed.
  const auto output = Shell::run(
      {"cat \"$1\" >&2 & cat \"$1\"; wait; exec 1>&-; cat \"$1\" >&2", "sh", (dir.path() / "data").string()});
  ASSERT_TRUE(output);
  EXPECT_TRUE(*output == data);
}

TEST(ShellOnLinux, AProcessLeftHoldingStandardErrorIsNotWaitedFor) {
  const auto start = std::chrono::steady_clock::now();
  const auto pid = Shell::runString({"sleep 60 >/dev/null & echo $!"});
  EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
  ASSERT_TRUE(pid);
  kill(std::stoi(*pid), SIGKILL);
}

TEST(ShellOnLinux, HugeCommandLines) {
  // One argument is limited to 128 KiB by the kernel: the start fails.
  EXPECT_EQ(Shell::run({"true #" + std::string(1 << 20, 'x')}), std::nullopt);
  std::vector<std::string> arguments{"printf %s \"$@\" | wc -c", "sh"};
  for (int i = 0; i < 16; ++i) arguments.emplace_back(64 * 1024, 'y');  // 1 MiB in all
  EXPECT_EQ(Shell::runString(arguments), "1048576\n");
}

TEST(ShellOnLinux, SignalsToTheWaitingThreadAreNoFailure) {
  struct sigaction action = {};
  struct sigaction previous = {};
  action.sa_handler = [](int) {};  // no SA_RESTART: every call is interrupted
  sigaction(SIGUSR1, &action, &previous);
  std::atomic<pthread_t> runner{};
  std::atomic<bool> started{false};
  auto result = std::async(std::launch::async, [&] {
    runner = pthread_self();
    started = true;
    return Shell::runString({"sleep 0.3; printf done"});
  });
  while (!started) std::this_thread::yield();
  while (result.wait_for(1ms) != std::future_status::ready) pthread_kill(runner, SIGUSR1);
  EXPECT_EQ(result.get(), "done");
  sigaction(SIGUSR1, &previous, nullptr);
}

}  // namespace
}  // namespace Plinth
