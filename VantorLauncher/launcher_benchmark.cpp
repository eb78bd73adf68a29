// How fast the launcher gets the main application going, and how fast the
// running check is on a busy process table, each beside a peer measured in
// the same run.
#include <benchmark/benchmark.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include "Plinth/inventory/apps.h"
#include "Plinth/inventory/workspace_linux.h"
#include "testing/child_process.h"
#include "testing/launcher_tree.h"
#include "testing/private_session_bus.h"
#include "testing/temp_dir.h"

namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::monotonicNowNs;

constexpr int repetitions = 25;

// The binaries under test; the environment may name others (for example an
// older build kept aside) so that two builds can be compared in one session.
std::string binary(const char* variable, const char* built) {
  const char* chosen = std::getenv(variable);
  return chosen != nullptr && *chosen != '\0' ? chosen : built;
}

// Wall time from starting the launcher until the main application's process
// has entered main() (it writes its CLOCK_MONOTONIC start time), so that the
// time taken to notice it does not count.
void BM_LauncherToMainApplicationStarted(benchmark::State& state) {
  static Vantor::Testing::PrivateSessionBus bus;
  Vantor::Testing::TempDir dir;
  Vantor::Testing::LauncherTree tree(dir.path(),
                                     {.launcherBinary = binary("VANTOR_LAUNCHER_BINARY", VANTOR_LAUNCHER_BINARY),
                                      .sampleBinary = binary("VANTOR_SAMPLE_BINARY", VANTOR_SAMPLE_BINARY)});
  for (auto _ : state) {
    std::filesystem::remove(tree.startedFile());
    const long long before = monotonicNowNs();
    ChildProcess launcher(
        {.argv = {tree.launcherExecutable().string()}, .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
    if (!Vantor::Testing::waitUntil([&] { return tree.started().has_value(); }, 20s)) {
      state.SkipWithError("the main application did not start");
      break;
    }
    const auto started = *tree.started();
    state.SetIterationTime(static_cast<double>(started.monotonicNs - before) / 1e9);
    kill(started.pid, SIGKILL);
    launcher.kill(SIGTERM);
    launcher.waitForExit(10s);
    Vantor::Testing::waitUntil([&] { return !Vantor::Testing::processAlive(started.pid); }, 10s);
  }
}
BENCHMARK(BM_LauncherToMainApplicationStarted)
    ->Iterations(1)
    ->Repetitions(repetitions)
    ->UseManualTime()
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);

// The floor the main application sets itself: the same sample started
// directly, until its main(). What the launcher adds is the difference.
void BM_MainApplicationStartedDirectly(benchmark::State& state) {
  Vantor::Testing::TempDir dir;
  Vantor::Testing::LauncherTree tree(dir.path(),
                                     {.launcherBinary = binary("VANTOR_LAUNCHER_BINARY", VANTOR_LAUNCHER_BINARY),
                                      .sampleBinary = binary("VANTOR_SAMPLE_BINARY", VANTOR_SAMPLE_BINARY)});
  for (auto _ : state) {
    std::filesystem::remove(tree.startedFile());
    const long long before = monotonicNowNs();
    ChildProcess main({.argv = {tree.mainExecutable().string()}});
    if (!Vantor::Testing::waitUntil([&] { return tree.started().has_value(); }, 20s)) {
      state.SkipWithError("the main application did not start");
      break;
    }
    state.SetIterationTime(static_cast<double>(tree.started()->monotonicNs - before) / 1e9);
  }
}
BENCHMARK(BM_MainApplicationStartedDirectly)
    ->Iterations(1)
    ->Repetitions(repetitions)
    ->UseManualTime()
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);

// The peer: starting /bin/true and waiting for it to end.
void BM_SpawnBinTrue(benchmark::State& state) {
  for (auto _ : state) {
    const long long before = monotonicNowNs();
    ChildProcess child({.argv = {"/bin/true"}});
    child.waitForExit(10s);
    state.SetIterationTime(static_cast<double>(monotonicNowNs() - before) / 1e9);
  }
}
BENCHMARK(BM_SpawnBinTrue)
    ->Iterations(1)
    ->Repetitions(repetitions)
    ->UseManualTime()
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);

// 2,000 extra processes (sleep, outside any bundle) alive for the running-check
// benchmarks; started once, ended when the benchmark binary exits.
class BusyProcessTable {
 public:
  static constexpr int extraCount = 2000;
  BusyProcessTable()
      : group_({.argv = {"/bin/sh", "-c",
                         "i=0; while [ $i -lt " + std::to_string(extraCount) +
                             " ]; do sleep 600 & i=$((i+1)); done; wait"},
                .newProcessGroup = true}) {
    Vantor::Testing::waitUntil([] { return Vantor::Testing::processesRunning("/usr/bin/sleep").size() >= extraCount; },
                               60s);
  }
  ~BusyProcessTable() {
    group_.killGroup(SIGKILL);
    group_.waitForExit(10s);
  }

 private:
  ChildProcess group_;
};

BusyProcessTable& busyTable() {
  static BusyProcessTable table;
  return table;
}

void BM_AppsIsRunning(benchmark::State& state) {
  busyTable();
  Plinth::LinuxWorkspace workspace;
  for (auto _ : state) benchmark::DoNotOptimize(Plinth::Apps::isRunning("com.brenwick.vantor", workspace));
  state.counters["processes"] = static_cast<double>(workspace.runningApplications().size());
}
BENCHMARK(BM_AppsIsRunning)->Unit(benchmark::kMillisecond)->MinTime(1.0);

// The peer: pgrep -f over the same process table (a process start included,
// as that is how a script would ask).
void BM_PgrepF(benchmark::State& state) {
  busyTable();
  for (auto _ : state) {
    ChildProcess pgrep({.argv = {"pgrep", "-f", "com.brenwick.vantor"}});
    benchmark::DoNotOptimize(pgrep.waitForExit(10s));
  }
}
BENCHMARK(BM_PgrepF)->Unit(benchmark::kMillisecond)->MinTime(1.0);

}  // namespace
