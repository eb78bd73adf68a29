// Starting real programs: what the child gets, and what keeps it from starting.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Keel/core/descriptor_linux.h"
#include "Keel/core/process_launch_linux.h"
#include "testing/child_process.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

// The child's exit status, or -1 when it has not ended within ten seconds.
int waitForExit(pid_t pid) {
  int status = 0;
  if (Vantor::Testing::waitUntil([&] { return waitpid(pid, &status, WNOHANG) == pid; }, std::chrono::seconds(10))) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  kill(pid, SIGKILL);
  waitpid(pid, &status, 0);
  return -1;
}

TEST(LaunchProcess, TheChildGetsCleanSignalsItsStreamsAndNothingElseTheGivenEnvironmentAndFolder) {
  Vantor::Testing::TempDir dir;
  const Descriptor output(::open((dir.path() / "out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const Descriptor leaked(::open("/dev/null", O_RDONLY));  // without close-on-exec
  ASSERT_TRUE(output.valid() && leaked.valid());
  // What a host typically carries: SIGPIPE ignored, a signal blocked.
  signal(SIGPIPE, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  const LaunchResult launched = launchProcess({
      .executable = "/bin/sh",
      .arguments = {"sh", "-c",
                    "grep -E '^Sig(Ign|Blk)' /proc/self/status; pwd; echo \"$ONLY|$HOME\"; "
                    "ls /proc/$$/fd; read -r line || echo end; true"},
      .environment = std::vector<std::string>{"ONLY=this", "PATH=/usr/bin:/bin"},
      .workingFolder = dir.path().string(),
      .standardInput = ChildStream::null(),
      .standardOutput = ChildStream::from(output.get()),
  });
  pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
  signal(SIGPIPE, SIG_DFL);
  ASSERT_TRUE(launched) << launched.error();
  ASSERT_EQ(waitForExit(*launched), 0);
  std::stringstream text;
  text << std::ifstream(dir.path() / "out").rdbuf();
  EXPECT_EQ(text.str(),
            "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n" + dir.path().string() + "\nthis|\n0\n1\n2\nend\n");
}

TEST(LaunchProcess, WhatCannotStartIsAnErrorNotAChild) {
  Vantor::Testing::TempDir dir;
  const auto errorOf = [](LaunchOptions options) { return launchProcess(options).error(); };
  EXPECT_EQ(errorOf({.executable = (dir.path() / "missing").string()}), ENOENT);
  std::ofstream(dir.path() / "plain") << "#!/bin/sh\n";  // not executable
  EXPECT_EQ(errorOf({.executable = (dir.path() / "plain").string()}), EACCES);
  EXPECT_EQ(errorOf({.executable = "/bin/true", .workingFolder = (dir.path() / "missing").string()}), ENOENT);
  EXPECT_EQ(errorOf({.executable = "/bin/true", .arguments = {"true", std::string(std::size_t{200} * 1024, 'x')}}),
            E2BIG);
  EXPECT_EQ(errorOf({.executable = "/bin/true", .arguments = {"true", std::string("a\0b", 3)}}), EINVAL);
  EXPECT_EQ(errorOf({.executable = std::string("/bin/true\0x", 11)}), EINVAL);
}

}  // namespace
}  // namespace Keel
