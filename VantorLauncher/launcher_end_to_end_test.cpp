// The real launcher, inside a sample main application's bundle, against a private session bus.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>

#include "Plinth/inventory/distributed_notifications_linux.h"
#include "testing/bundle_builder.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/launcher_tree.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::LauncherTree;
using Vantor::Testing::processesRunning;
using Vantor::Testing::waitUntil;

constexpr auto testTimeout = 20s;
namespace fs = std::filesystem;

// True once `pid` handles `signal` itself: the launcher's loop is set up.
bool catches(int pid, int signal) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("SigCgt:")) return (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1)) & 1;
  }
  return false;
}

// True while `pid` has a socket open: the launcher is reaching for its bus.
bool hasSocket(int pid) {
  std::error_code error;
  for (const auto& fd : fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd", error)) {
    if (fs::read_symlink(fd.path(), error).string().starts_with("socket:")) return true;
  }
  return false;
}

class LauncherEndToEnd : public ::testing::Test {
 protected:
  Vantor::Testing::TempDir dir;
  Vantor::Testing::PrivateSessionBus bus;
  LauncherTree tree{dir.path(), {VANTOR_LAUNCHER_BINARY, VANTOR_SAMPLE_BINARY}};
  Plinth::BusNotificationCenter center{bus.address()};

  ~LauncherEndToEnd() override {
    // The main application outlives the launcher by design; end it here.
    for (int pid : processesRunning(tree.mainExecutable())) kill(pid, SIGKILL);
    for (int pid : processesRunning(otherExecutable)) kill(pid, SIGKILL);
  }

  // The launcher of `in` (else the fixture's tree), on the private bus unless `env` names another.
  std::unique_ptr<ChildProcess> startLauncher(std::map<std::string, std::optional<std::string>> env = {},
                                              const LauncherTree* in = nullptr) {
    if (!env.contains("DBUS_SESSION_BUS_ADDRESS")) env["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    return std::make_unique<ChildProcess>(Vantor::Testing::ChildOptions{
        {(in != nullptr ? *in : tree).launcherExecutable().string()}, env, {}, dir.path() / "launcher.stderr"});
  }

  // Posts "killme" until the launcher ends: it hears it once registered.
  std::optional<int> killmeUntilExit(ChildProcess& launcher) {
    std::optional<int> status;
    waitUntil(
        [&] {
          center.post("killme", "com.brenwick.vantor");
          return (status = launcher.waitForExit(20ms)).has_value();
        },
        testTimeout);
    return status;
  }

  std::string launcherStderr() const { return Vantor::Testing::fileText(dir.path() / "launcher.stderr"); }

  std::filesystem::path otherExecutable;
};

TEST_F(LauncherEndToEnd, OpensTheMainApplicationOnceAndQuitsOnlyOnKillmeFromIt) {
  auto launcher = startLauncher();
  ASSERT_TRUE(waitUntil([&] { return tree.started().has_value(); }, testTimeout)) << launcherStderr();
  const int mainPid = tree.started()->pid;
  EXPECT_EQ(processesRunning(tree.mainExecutable()), std::vector<int>{mainPid});

  // The other objects the real centre filters out are its own test's.
  center.post("killme", "COM.BRENWICK.VANTOR");
  EXPECT_FALSE(launcher->waitForExit(500ms).has_value());
  center.post("killme", "com.brenwick.vantor");
  EXPECT_EQ(launcher->waitForExit(testTimeout), 0) << launcherStderr();
  // The main application was detached: it outlives the launcher.
  EXPECT_TRUE(Vantor::Testing::processAlive(mainPid));
}

// The sample posts first thing in main(), so the launcher must already listen; a second copy
// with the build folder out of reach behaves the same.
TEST_F(LauncherEndToEnd, ACopyElsewhereEndsWhenTheMainApplicationPostsKillmeAtOnce) {
  LauncherTree posting(dir.path() / "elsewhere",
                       {tree.launcherExecutable(), VANTOR_SAMPLE_BINARY, "com.brenwick.vantor", 0});
  EXPECT_EQ(startLauncher({{"LD_LIBRARY_PATH", std::nullopt}}, &posting)->waitForExit(testTimeout), 0);
  ASSERT_TRUE(waitUntil([&] { return posting.started().has_value(); }, testTimeout));
  kill(posting.started()->pid, SIGKILL);
}

TEST_F(LauncherEndToEnd, AlreadyRunningQuitsAtOnceWithoutASecondCopy) {
  // Started by hand, as if the user had opened it.
  ChildProcess main({{tree.mainExecutable().string()}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
  ASSERT_TRUE(waitUntil([&] { return tree.started().has_value(); }, testTimeout));
  fs::remove(tree.startedFile());
  EXPECT_EQ(startLauncher()->waitForExit(testTimeout), 0) << launcherStderr();
  EXPECT_EQ(processesRunning(tree.mainExecutable()), std::vector<int>{main.pid()});
  EXPECT_FALSE(tree.started().has_value());
}

TEST_F(LauncherEndToEnd, WithoutASessionBusItOpensTheMainApplicationAndFails) {
  auto launcher = startLauncher(
      {{"DBUS_SESSION_BUS_ADDRESS", std::nullopt}, {"DISPLAY", std::nullopt}, {"XDG_RUNTIME_DIR", std::nullopt}});
  EXPECT_EQ(launcher->waitForExit(testTimeout), 1);
  EXPECT_NE(launcherStderr().find("no D-Bus session bus"), std::string::npos) << launcherStderr();
  EXPECT_TRUE(waitUntil([&] { return tree.started().has_value(); }, testTimeout));
}

TEST_F(LauncherEndToEnd, TheBusGoingAwayEndsItCleanly) {
  auto launcher = startLauncher();
  ASSERT_TRUE(waitUntil([&] { return tree.started().has_value(); }, testTimeout));
  bus.stop();
  EXPECT_EQ(launcher->waitForExit(testTimeout), 1) << launcherStderr();
  EXPECT_NE(launcherStderr().find("lost the D-Bus session bus"), std::string::npos) << launcherStderr();
}

// End requests while connecting end it with 0; at the time-out it opens, then fails with one line.
TEST_F(LauncherEndToEnd, ASilentBusCountsAsNoneOnceItsTimeIsUp) {
  Vantor::Testing::SilentBus silent(dir.path() / "silent-bus");
  for (int signal : {SIGTERM, SIGINT, SIGHUP}) {
    auto launcher = startLauncher({{"DBUS_SESSION_BUS_ADDRESS", silent.address()}});
    ASSERT_TRUE(silent.waitForClient(testTimeout));
    ASSERT_TRUE(waitUntil([&] { return catches(launcher->pid(), signal); }, testTimeout));
    launcher->kill(signal);
    EXPECT_EQ(launcher->waitForExit(testTimeout), 0) << strsignal(signal);
  }
  EXPECT_FALSE(tree.started().has_value());

  auto launcher = startLauncher({{"DBUS_SESSION_BUS_ADDRESS", silent.address()}});
  EXPECT_TRUE(silent.waitForClient(testTimeout));
  EXPECT_EQ(launcher->waitForExit(testTimeout), 1);
  EXPECT_TRUE(waitUntil([&] { return tree.started().has_value(); }, testTimeout));
  const std::string err = launcherStderr();
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  EXPECT_NE(err.find(silent.address() + " did not answer within 3 s"), std::string::npos) << err;
}

TEST_F(LauncherEndToEnd, AStoppedBusThatResumesInTimeIsWaitedFor) {
  kill(bus.pid(), SIGSTOP);
  auto launcher = startLauncher();
  EXPECT_TRUE(waitUntil([&] { return hasSocket(launcher->pid()); }, testTimeout));
  EXPECT_FALSE(tree.started().has_value());
  kill(bus.pid(), SIGCONT);
  EXPECT_TRUE(waitUntil([&] { return tree.started().has_value(); }, testTimeout)) << launcherStderr();
  center.post("killme", "com.brenwick.vantor");
  EXPECT_EQ(launcher->waitForExit(testTimeout), 0) << launcherStderr();
  EXPECT_EQ(launcherStderr(), "");
}

// A running bundle whose Info.plist a plain read would block on, read forever, or misread.
class HostileRunningBundle : public LauncherEndToEnd, public ::testing::WithParamInterface<std::string> {};

TEST_P(HostileRunningBundle, DoesNotHoldUpTheDecision) {
  otherExecutable = Vantor::Testing::makeBundle({dir.path() / "Other.app", "org.example.other", "/usr/bin/sleep"});
  ChildProcess running({{otherExecutable.string(), "600"}});
  ASSERT_TRUE(waitUntil([&] { return !processesRunning(otherExecutable).empty(); }, testTimeout));
  const fs::path info = dir.path() / "Other.app" / "Contents" / "Info.plist";
  fs::remove(info);
  if (GetParam() == "fifo") {
    ASSERT_EQ(mkfifo(info.c_str(), 0644), 0);
  } else if (GetParam() == "dev-zero") {
    fs::create_symlink("/dev/zero", info);
  } else {
    std::ofstream(info) << "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
                        << "<string>com.brenwick.vantor</string>" << std::string(2 << 20, ' ') << "</dict></plist>";
  }
  auto launcher = startLauncher();
  EXPECT_TRUE(waitUntil([&] { return tree.started().has_value(); }, testTimeout)) << launcherStderr();
  center.post("killme", "com.brenwick.vantor");
  EXPECT_EQ(launcher->waitForExit(testTimeout), 0);
}

INSTANTIATE_TEST_SUITE_P(InfoPlists, HostileRunningBundle, ::testing::Values("fifo", "dev-zero", "two-megabytes"));

TEST_F(LauncherEndToEnd, FifoInfoPlistsInItsOwnBundlesLeaveItAnswerable) {
  for (const fs::path& info : {tree.mainBundle() / "Contents" / "Info.plist",
                               tree.launcherExecutable().parent_path().parent_path() / "Info.plist"}) {
    fs::remove(info);
    ASSERT_EQ(mkfifo(info.c_str(), 0644), 0);
  }
  auto heard = startLauncher();
  EXPECT_EQ(killmeUntilExit(*heard), 0);
  // The logout signal ends a launcher that waits for "killme", with status 0.
  auto ended = startLauncher();
  ASSERT_TRUE(waitUntil([&] { return catches(ended->pid(), SIGTERM); }, testTimeout));
  ended->kill(SIGTERM);
  EXPECT_EQ(ended->waitForExit(testTimeout), 0);
}

TEST_F(LauncherEndToEnd, ExecutablesOutsideContentsMacOSAreNeverRun) {
  // Each target would leave a marker if it ran.
  const auto target = [&](const fs::path& path) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "#!/bin/sh\ntouch " << dir.path() / "ran"
                        << "\n";
    fs::permissions(path, fs::perms::owner_all);
  };
  const fs::path root = dir.path() / "trees";
  target(root / "outside.sh");
  target(dir.path() / "bin" / "sh");
  target(dir.path() / "absolute.sh");
  int trees = 0;
  for (const std::string& executable : std::vector<std::string>{"../../../outside.sh", "../../../../bin/sh",
                                                                (dir.path() / "absolute.sh").string(), "", "Linked"}) {
    LauncherTree escaping(root / std::to_string(trees++), {VANTOR_LAUNCHER_BINARY, VANTOR_SAMPLE_BINARY});
    const fs::path contents = escaping.mainBundle() / "Contents";
    std::ofstream(contents / "Info.plist", std::ios::trunc) << Vantor::Testing::infoPlist(
        {{"CFBundleIdentifier", "com.brenwick.vantor"}, {"CFBundleExecutable", executable}}, false);
    fs::create_symlink(root / "outside.sh", contents / "MacOS" / "Linked");
    EXPECT_EQ(killmeUntilExit(*startLauncher({}, &escaping)), 0) << executable;
    EXPECT_EQ(launcherStderr(), "") << executable;
  }
  EXPECT_FALSE(waitUntil([&] { return fs::exists(dir.path() / "ran"); }, 300ms));
}

}  // namespace
