// Opening applications and listing them on the real process table.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "Plinth/inventory/apps.h"
#include "Plinth/inventory/workspace_linux.h"
#include "testing/bundle_builder.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Vantor::Testing::processAlive;
using Vantor::Testing::waitUntil;

class OpenApplicationTest : public ::testing::Test {
 protected:
  Vantor::Testing::TempDir dir;
  fs::path app = dir.path() / "Sample.app";
  fs::path executable = Vantor::Testing::makeBundle({.path = app,
                                                     .identifier = "org.example.sample",
                                                     .executable = VANTOR_SAMPLE_BINARY,
                                                     .extraInfo = {{"VantorSampleLifetimeMs", "30000"}}});
  LinuxWorkspace workspace;

  ~OpenApplicationTest() override {
    for (int pid : Vantor::Testing::processesRunning(executable)) kill(pid, SIGKILL);
  }
};

TEST_F(OpenApplicationTest, StartsTheBundleDetachedAndListsIt) {
  // A descriptor that a careless spawn would leak into the child.
  int leaky[2];
  ASSERT_EQ(pipe(leaky), 0);
  const auto pid = workspace.launchApplication(app);
  ASSERT_TRUE(pid.has_value());
  ASSERT_TRUE(waitUntil([&] { return Apps::isRunning("org.example.sample", workspace); }, 10s));

  EXPECT_EQ(getsid(*pid), *pid) << "leads a session of its own";
  for (int fd = 0; fd <= 2; ++fd) {
    EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(*pid) + "/fd/" + std::to_string(fd)), "/dev/null");
  }
  const fs::path ours = fs::read_symlink("/proc/self/fd/" + std::to_string(leaky[1]));
  for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(*pid) + "/fd")) {
    std::error_code ignored;
    EXPECT_NE(fs::read_symlink(entry.path(), ignored), ours) << "inherited our pipe";
  }
  EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(*pid) + "/cwd"), "/");
  close(leaky[0]);
  close(leaky[1]);

  kill(*pid, SIGTERM);
  // Reaped by us as soon as it ends: it does not linger as a zombie.
  EXPECT_TRUE(waitUntil([&] { return !fs::exists("/proc/" + std::to_string(*pid)); }, 10s));
}

TEST_F(OpenApplicationTest, MissingOrBrokenBundlesStartNothing) {
  EXPECT_FALSE(workspace.launchApplication(dir.path() / "Absent.app").has_value());
  EXPECT_FALSE(workspace.launchApplication("").has_value());
  fs::permissions(executable, fs::perms::owner_read);
  EXPECT_FALSE(workspace.launchApplication(app).has_value());
  workspace.openApplication(dir.path() / "Absent.app");  // says nothing, changes nothing
}

TEST(OpenScriptApplication, RunsWithEverySignalAtItsDefaultAndCountsAsRunning) {
  Vantor::Testing::TempDir dir;
  const fs::path app = dir.path() / "Script.app";
  fs::create_directories(app / "Contents" / "MacOS");
  // The script's first command reports the signal state it inherited.
  const fs::path report = dir.path() / "signals";
  std::ofstream(app / "Contents" / "MacOS" / "run")
      << "#!/bin/sh\ngrep -E '^Sig(Ign|Blk)' /proc/self/status > " << report << ".partial\nmv " << report << ".partial "
      << report << "\nsleep 30\n";
  fs::permissions(app / "Contents" / "MacOS" / "run", fs::perms::owner_all);
  std::ofstream(app / "Contents" / "Info.plist") << Vantor::Testing::infoPlist(
      {{"CFBundleIdentifier", "org.example.script"}, {"CFBundleExecutable", "run"}}, false);
  // What a launcher typically carries: ignored SIGPIPE, blocked signals.
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);

  LinuxWorkspace workspace;
  const auto pid = workspace.launchApplication(app);
  pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  ASSERT_TRUE(pid.has_value());
  // Its /proc/PID/exe is /bin/sh's; the script's path in its arguments counts.
  EXPECT_TRUE(waitUntil([&] { return Apps::isRunning("org.example.script", workspace); }, 10s));
  ASSERT_TRUE(waitUntil([&] { return fs::exists(report); }, 10s));
  EXPECT_EQ(Vantor::Testing::fileText(report), "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
  kill(*pid, SIGKILL);
}

TEST(RunningApplications, ThisProcessIsListedWithoutAnIdentifier) {
  const auto apps = LinuxWorkspace().runningApplications();
  const auto self = std::find_if(apps.begin(), apps.end(),
                                 [](const RunningApplication& a) { return a.processIdentifier == getpid(); });
  ASSERT_NE(self, apps.end());
  EXPECT_FALSE(self->bundleIdentifier.has_value());
}

}  // namespace
}  // namespace Plinth
