// Runs the launcher end to end on a sample main application and tells, step by
// step and with timings, what happened. Used by `make demo`.
#include <signal.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>

#include "Keel/core/message_bus_linux.h"
#include "Plinth/inventory/apps.h"
#include "Plinth/inventory/distributed_notifications_linux.h"
#include "Plinth/inventory/workspace_linux.h"
#include "testing/child_process.h"
#include "testing/launcher_tree.h"
#include "testing/loop_thread.h"
#include "testing/private_session_bus.h"
#include "testing/temp_dir.h"

namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::LauncherTree;
using Vantor::Testing::monotonicNowNs;
using Vantor::Testing::waitUntil;

constexpr const char* mainIdentifier = "com.brenwick.vantor";

class Clock {
 public:
  void restart() { start_ = monotonicNowNs(); }
  double msSince(long long ns) const { return static_cast<double>(ns - start_) / 1e6; }
  void step(const std::string& what) const { at(monotonicNowNs(), what); }
  void at(long long ns, const std::string& what) const { std::printf("  [%8.1f ms] %s\n", msSince(ns), what.c_str()); }

 private:
  long long start_ = monotonicNowNs();
};

std::string yesNo(bool b) { return b ? "yes" : "no"; }

// Hears "killme" on the bus, as any observer would, to show when it is posted.
class KillmeWitness {
 public:
  explicit KillmeWitness(const std::string& address) : center_(address) {
    loop_.onLoop([this] {
      Plinth::DistributedNotifications::addObserver(center_, this, &KillmeWitness::heard, "killme");
      return 0;
    });
  }
  ~KillmeWitness() {
    loop_.onLoop([this] {
      Plinth::DistributedNotifications::removeObserver(center_, this, "killme");
      return 0;
    });
  }
  [[nodiscard]] long long heardAt() const { return heardAt_.load(); }
  [[nodiscard]] std::string object() const { return object_; }

 private:
  void heard(const Plinth::DistributedNotification& n) {
    object_ = n.object.value_or("(none)");
    heardAt_.store(monotonicNowNs());
  }
  Plinth::BusNotificationCenter center_;
  Vantor::Testing::LoopThread loop_;
  std::string object_;
  std::atomic<long long> heardAt_{0};
};

int notRunningScenario(const std::filesystem::path& root, const std::string& bus) {
  std::printf("\nScenario 1: the main application is not running\n");
  LauncherTree tree(
      root / "one",
      {.launcherBinary = VANTOR_LAUNCHER_BINARY, .sampleBinary = VANTOR_SAMPLE_BINARY, .killmeDelayMs = 500});
  std::printf("  main application: %s\n  launcher:         %s\n", tree.mainBundle().c_str(),
              tree.launcherExecutable().c_str());
  KillmeWitness witness(bus);
  Clock clock;
  clock.step("main application \"" + std::string(mainIdentifier) + "\" running? " +
             yesNo(Plinth::Apps::isRunning(mainIdentifier)));
  clock.restart();
  ChildProcess launcher(
      {.argv = {tree.launcherExecutable().string()}, .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus}}});
  clock.step("launcher started (pid " + std::to_string(launcher.pid()) + ")");
  if (!waitUntil([&] { return tree.started().has_value(); }, 20s)) {
    std::printf("  the main application did not start\n");
    return 1;
  }
  const auto started = *tree.started();
  clock.at(started.monotonicNs, "launcher observing \"killme\" with object \"" + std::string(mainIdentifier) +
                                    "\", and it opened the main application");
  clock.at(started.monotonicNs, "main application started (pid " + std::to_string(started.pid) + ")");
  const auto status = launcher.waitForExit(20s);
  if (witness.heardAt() != 0) {
    clock.at(witness.heardAt(), "main application posts \"killme\" (object \"" + witness.object() + "\")");
  }
  if (!status) {
    std::printf("  the launcher did not exit\n");
    return 1;
  }
  clock.step("launcher exited with status " + std::to_string(*status));
  const bool mainAlive = Vantor::Testing::processAlive(started.pid);
  std::printf("  main application still running after the launcher quit: %s\n", yesNo(mainAlive).c_str());
  kill(started.pid, SIGTERM);
  return *status == 0 && mainAlive ? 0 : 1;
}

int alreadyRunningScenario(const std::filesystem::path& root, const std::string& bus) {
  std::printf("\nScenario 2: the main application is already running\n");
  LauncherTree tree(root / "two", {.launcherBinary = VANTOR_LAUNCHER_BINARY, .sampleBinary = VANTOR_SAMPLE_BINARY});
  Clock clock;
  ChildProcess main({.argv = {tree.mainExecutable().string()}, .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus}}});
  waitUntil([&] { return tree.started().has_value(); }, 20s);
  std::filesystem::remove(tree.startedFile());
  clock.step("main application started by hand (pid " + std::to_string(main.pid()) + "); running? " +
             yesNo(Plinth::Apps::isRunning(mainIdentifier)));
  clock.restart();
  ChildProcess launcher(
      {.argv = {tree.launcherExecutable().string()}, .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus}}});
  clock.step("launcher started (pid " + std::to_string(launcher.pid()) + ")");
  const auto status = launcher.waitForExit(20s);
  if (!status) {
    std::printf("  the launcher did not exit\n");
    return 1;
  }
  clock.step("launcher exited at once with status " + std::to_string(*status));
  const auto copies = Vantor::Testing::processesRunning(tree.mainExecutable()).size();
  std::printf("  copies of the main application running: %zu (no second copy started)\n", copies);
  return *status == 0 && copies == 1 ? 0 : 1;
}

}  // namespace

int main() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::printf("VantorLauncher demo\n");
  std::unique_ptr<Vantor::Testing::PrivateSessionBus> privateBus;
  std::string bus;
  const auto session = Keel::detail::busAddress(Keel::detail::BusType::session);
  if (!session || !Plinth::BusNotificationCenter(session).availability()) {
    privateBus = std::make_unique<Vantor::Testing::PrivateSessionBus>();
    bus = privateBus->address();
    std::printf("  no session bus reachable: started a private dbus-daemon at %s\n", bus.c_str());
  } else {
    bus = *session;
    std::printf("  using the session bus at %s\n", bus.c_str());
  }
  Vantor::Testing::TempDir root;
  const int first = notRunningScenario(root.path(), bus);
  const int second = alreadyRunningScenario(root.path(), bus);
  std::printf("\n%s\n", first == 0 && second == 0 ? "demo finished: both scenarios behaved as expected"
                                                  : "demo finished: something went wrong (see above)");
  return first == 0 && second == 0 ? 0 : 1;
}
