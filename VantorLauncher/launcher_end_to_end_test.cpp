// The real launcher binary, installed inside a sample main application's
// bundle in a temporary folder, against a private session bus.
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>

#include "Plinth/inventory/distributed_notifications_linux.h"
#include "testing/bundle_builder.h"
#include "testing/child_process.h"
#include "testing/launcher_tree.h"
#include "testing/private_session_bus.h"
#include "testing/temp_dir.h"

namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::LauncherTree;
using Vantor::Testing::processesRunning;
using Vantor::Testing::waitUntil;

constexpr auto kTimeout = 20s;

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

  std::unique_ptr<ChildProcess> startLauncher(std::map<std::string, std::optional<std::string>> env = {}) {
    if (!env.contains("DBUS_SESSION_BUS_ADDRESS")) env["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    return std::make_unique<ChildProcess>(Vantor::Testing::ChildOptions{
        {tree.launcherExecutable().string()}, env, {}, dir.path() / "launcher.stderr"});
  }

  // Starts the main application by hand, as if the user had opened it.
  std::unique_ptr<ChildProcess> startMainDirectly() {
    auto main = std::make_unique<ChildProcess>(Vantor::Testing::ChildOptions{
        {tree.mainExecutable().string()}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
    EXPECT_TRUE(waitUntil([&] { return tree.started().has_value(); }, kTimeout));
    std::filesystem::remove(tree.startedFile());
    return main;
  }

  std::string launcherStderr() const {
    std::ifstream in(dir.path() / "launcher.stderr");
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }

  std::filesystem::path otherExecutable;
};

TEST_F(LauncherEndToEnd, OpensTheMainApplicationOnceAndQuitsOnKillmeFromIt) {
  auto launcher = startLauncher();
  ASSERT_TRUE(waitUntil([&] { return tree.started().has_value(); }, kTimeout)) << launcherStderr();
  const int mainPid = tree.started()->pid;
  EXPECT_EQ(processesRunning(tree.mainExecutable()), std::vector<int>{mainPid});

  center.post("killme", "com.brenwick.vantor");
  EXPECT_EQ(launcher->waitForExit(kTimeout), 0) << launcherStderr();
  // The main application was detached: it outlives the launcher.
  EXPECT_TRUE(Vantor::Testing::processAlive(mainPid));
}

TEST_F(LauncherEndToEnd, KillmeSentWithDbusSendEndsIt) {
  // The wire contract as the README gives it, from a tool that knows nothing
  // of this project.
  auto launcher = startLauncher();
  ASSERT_TRUE(waitUntil([&] { return tree.started().has_value(); }, kTimeout)) << launcherStderr();
  ChildProcess send({.argv = {"dbus-send", "--session", "--type=signal", "/com/brenwick/DistributedNotifications",
                              "com.brenwick.DistributedNotifications.Notification", "string:killme", "boolean:true",
                              "string:com.brenwick.vantor"},
                     .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
  EXPECT_EQ(send.waitForExit(kTimeout), 0);
  EXPECT_EQ(launcher->waitForExit(kTimeout), 0) << launcherStderr();
}

TEST_F(LauncherEndToEnd, KillmeWithAnotherObjectOrNoneLeavesItRunning) {
  auto launcher = startLauncher();
  ASSERT_TRUE(waitUntil([&] { return tree.started().has_value(); }, kTimeout)) << launcherStderr();
  center.post("killme", "com.brenwick.other");
  center.post("killme", std::nullopt);
  center.post("killme", "COM.BRENWICK.VANTOR");
  EXPECT_FALSE(launcher->waitForExit(500ms).has_value());
  center.post("killme", "com.brenwick.vantor");
  EXPECT_EQ(launcher->waitForExit(kTimeout), 0);
}

TEST_F(LauncherEndToEnd, MainApplicationPostingKillmeEndsTheLauncher) {
  LauncherTree posting(dir.path() / "posting", {VANTOR_LAUNCHER_BINARY, VANTOR_SAMPLE_BINARY, "com.brenwick.vantor", 100});
  auto launcher = std::make_unique<ChildProcess>(Vantor::Testing::ChildOptions{
      {posting.launcherExecutable().string()}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
  EXPECT_EQ(launcher->waitForExit(kTimeout), 0);
  ASSERT_TRUE(posting.started().has_value());
  kill(posting.started()->pid, SIGKILL);
}

TEST_F(LauncherEndToEnd, AlreadyRunningQuitsAtOnceWithoutASecondCopy) {
  auto main = startMainDirectly();
  auto launcher = startLauncher();
  EXPECT_EQ(launcher->waitForExit(kTimeout), 0) << launcherStderr();
  EXPECT_EQ(processesRunning(tree.mainExecutable()), std::vector<int>{main->pid()});
  EXPECT_FALSE(tree.started().has_value());
}

TEST_F(LauncherEndToEnd, IdentifierDifferingOnlyInCaseCountsAsNotRunning) {
  Vantor::Testing::BundleSpec other{dir.path() / "Other.app", "com.brenwick.Vantor", VANTOR_SAMPLE_BINARY, {}, false};
  otherExecutable = Vantor::Testing::makeBundle(other);
  ChildProcess running({{otherExecutable.string()}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
  ASSERT_TRUE(waitUntil([&] { return !processesRunning(otherExecutable).empty(); }, kTimeout));

  auto launcher = startLauncher();
  EXPECT_TRUE(waitUntil([&] { return tree.started().has_value(); }, kTimeout)) << launcherStderr();
  center.post("killme", "com.brenwick.vantor");
  EXPECT_EQ(launcher->waitForExit(kTimeout), 0);
}

TEST_F(LauncherEndToEnd, WithoutASessionBusItOpensTheMainApplicationAndFails) {
  auto launcher = startLauncher({{"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                                 {"DISPLAY", std::nullopt},
                                 {"XDG_RUNTIME_DIR", std::nullopt}});
  const auto status = launcher->waitForExit(kTimeout);
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(*status, 1);
  EXPECT_NE(launcherStderr().find("no D-Bus session bus"), std::string::npos) << launcherStderr();
  EXPECT_TRUE(waitUntil([&] { return tree.started().has_value(); }, kTimeout));
}

TEST_F(LauncherEndToEnd, TheBusGoingAwayEndsItCleanly) {
  auto launcher = startLauncher();
  ASSERT_TRUE(waitUntil([&] { return tree.started().has_value(); }, kTimeout));
  bus.stop();
  EXPECT_EQ(launcher->waitForExit(kTimeout), 1) << launcherStderr();
  EXPECT_NE(launcherStderr().find("lost the D-Bus session bus"), std::string::npos) << launcherStderr();
}

TEST_F(LauncherEndToEnd, LogoutSignalEndsItWithStatusZero) {
  auto launcher = startLauncher();
  ASSERT_TRUE(waitUntil([&] { return tree.started().has_value(); }, kTimeout));
  launcher->kill(SIGTERM);
  EXPECT_EQ(launcher->waitForExit(kTimeout), 0);
}

TEST_F(LauncherEndToEnd, KeepsWorkingWhenCopiedAwayFromTheBuildTree) {
  // The launcher in the tree is already a copy; a second copy elsewhere with
  // the build folder out of reach behaves the same.
  LauncherTree moved(dir.path() / "elsewhere", {tree.launcherExecutable(), VANTOR_SAMPLE_BINARY});
  ChildProcess launcher({{moved.launcherExecutable().string()}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()},
                                                                   {"LD_LIBRARY_PATH", std::nullopt}}});
  ASSERT_TRUE(waitUntil([&] { return moved.started().has_value(); }, kTimeout));
  center.post("killme", "com.brenwick.vantor");
  EXPECT_EQ(launcher.waitForExit(kTimeout), 0);
  kill(moved.started()->pid, SIGKILL);
}

}  // namespace
