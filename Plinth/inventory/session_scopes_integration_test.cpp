// Moving an opened application into a scope of its own, against a stand-in
// systemd user manager on a private bus.
#include <gtest/gtest.h>
#include <signal.h>

#include <stdexcept>

#include "Plinth/inventory/session_scopes_linux.h"
#include "Plinth/inventory/workspace_linux.h"
#include "testing/bundle_builder.h"
#include "testing/child_process.h"
#include "testing/dbus_mock.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// systemd's user manager as python3-dbusmock plays it: StartTransientUnit
// answers with a job, and every call is recorded.
struct FakeSystemdManager : Vantor::Testing::DBusMock {
  explicit FakeSystemdManager(const std::string& address)
      : DBusMock(address, "org.freedesktop.systemd1", "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager") {
    if (!addMethod("org.freedesktop.systemd1.Manager", "StartTransientUnit", "ssa(sv)a(sa(sv))", "o",
                   "ret = '/org/freedesktop/systemd1/job/1'")) {
      throw std::runtime_error("fake systemd manager: StartTransientUnit was not added");
    }
  }
  std::vector<std::string> calls() { return DBusMock::calls("StartTransientUnit"); }
};

class SessionScopesTest : public ::testing::Test {
 protected:
  Vantor::Testing::PrivateSessionBus bus;
};

TEST_F(SessionScopesTest, TheStartedApplicationIsAskedIntoAScopeNamedAfterItAndItsPid) {
  FakeSystemdManager manager(bus.address());
  Vantor::Testing::TempDir dir;
  const auto app = dir.path() / "Sample.app";
  const auto executable = Vantor::Testing::makeBundle({.path = app,
                                                       .identifier = "org.example.sample",
                                                       .executable = VANTOR_SAMPLE_BINARY,
                                                       .extraInfo = {{"VantorSampleLifetimeMs", "30000"}}});
  LinuxWorkspace workspace;
  const auto pid = workspace.launchApplication(app);
  ASSERT_TRUE(pid.has_value());

  SystemdSessionScopes scopes(bus.address());
  scopes.moveToScope(*pid, "org.example.sample");
  scopes.waitForPendingMoves();
  kill(*pid, SIGKILL);

  // Name, mode, only the PIDs property, and no auxiliary units.
  const std::string number = std::to_string(*pid);
  EXPECT_EQ(manager.calls(),
            std::vector<std::string>{"[<'app-org.example.sample-" + number +
                                     ".scope'>, <'fail'>, <[('PIDs', <[uint32 " + number + "]>)]>, <@a(sa(sv)) []>]"});
}

TEST_F(SessionScopesTest, WithoutAManagerNothingIsAskedOfAnyoneAndNothingWaits) {
  const auto started = Clock::now();
  {
    SystemdSessionScopes scopes(bus.address(), 5s);
    scopes.moveToScope(static_cast<int>(getpid()), "org.example.sample");
    scopes.waitForPendingMoves();
  }
  // The bus answers for the missing manager at once; the time-out is not
  // what ended the move.
  EXPECT_LT(Clock::now() - started, 3s);
  // A manager arriving later hears nothing of it.
  FakeSystemdManager manager(bus.address());
  EXPECT_TRUE(manager.calls().empty());
}

TEST(SessionScopesWithoutABus, AMissingOrSilentBusNeitherDelaysTheCallerNorOutlastsTheTimeOut) {
  Vantor::Testing::TempDir dir;
  Vantor::Testing::SilentBus silent(dir.path() / "silent");
  for (const std::string& address : {silent.address(), "unix:path=" + (dir.path() / "none").string()}) {
    SystemdSessionScopes scopes(address, 300ms);
    const auto started = Clock::now();
    scopes.moveToScope(static_cast<int>(getpid()), "org.example.sample");
    EXPECT_LT(Clock::now() - started, 100ms) << address;
    scopes.waitForPendingMoves();
    EXPECT_LT(Clock::now() - started, 3s) << address;
  }
  EXPECT_TRUE(silent.waitForClient(0ms));
}

}  // namespace
}  // namespace Plinth
