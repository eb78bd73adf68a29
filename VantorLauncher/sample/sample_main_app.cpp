// A stand-in for the main application, used by the demo, the end-to-end tests
// and the benchmarks. It lives in a bundle and reads what to do from its
// Info.plist:
//   VantorSampleStartedFile   write "<pid> <CLOCK_MONOTONIC ns>" here at start
//   VantorSampleKillmeDelayMs post "killme" with its own identifier after this delay;
//                             0 posts it first thing in main(), as early as
//                             any main application could
//   VantorSampleLifetimeMs    quit after this long (default 120000), so that
//                             nothing outlives a test run
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Keel/core/bundle.h"
#include "Keel/core/run_loop.h"
#include "Plinth/desktop/application.h"
#include "Plinth/inventory/distributed_notifications.h"

namespace {

long long monotonicNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

std::optional<long> number(const std::optional<Keel::Bundle>& bundle, const char* key) {
  if (!bundle) return std::nullopt;
  const auto text = bundle->infoString(key);
  if (!text) return std::nullopt;
  try {
    return std::stol(*text);
  } catch (...) {
    return std::nullopt;
  }
}

// Fires `work` on the main loop after `delayMs`.
void after(long delayMs, std::function<void()> work) {
  std::thread([delayMs, work = std::move(work)]() mutable {
    std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
    Keel::RunLoop::main().perform(std::move(work));
  }).detach();
}

class SampleDelegate final : public Plinth::ApplicationDelegate {
 public:
  explicit SampleDelegate(Plinth::Application& app) : app_(app) {}

  void applicationDidFinishLaunching() override {
    const auto bundle = Keel::Bundle::main();
    const std::string identifier = bundle ? bundle->bundleIdentifier().value_or("") : "";
    if (const auto delay = number(bundle, "VantorSampleKillmeDelayMs"); delay && *delay > 0) {
      after(*delay, [identifier] { Plinth::DistributedNotifications::post("killme", identifier); });
    }
    after(number(bundle, "VantorSampleLifetimeMs").value_or(120000), [this] { app_.terminate(0); });
  }

 private:
  Plinth::Application& app_;
};

}  // namespace

int main(int argc, char** argv) {
  const long long started = monotonicNanoseconds();
  if (const auto bundle = Keel::Bundle::main()) {
    if (number(bundle, "VantorSampleKillmeDelayMs") == 0) {
      Plinth::DistributedNotifications::post("killme", bundle->bundleIdentifier().value_or(""));
    }
    if (const auto file = bundle->infoString("VantorSampleStartedFile")) {
      const std::filesystem::path target(*file);
      const std::filesystem::path partial = target.string() + ".partial";
      std::ofstream(partial) << getpid() << ' ' << started << '\n';
      std::filesystem::rename(partial, target);
    }
  }
  return Plinth::applicationMain(argc, argv,
                                 [](Plinth::Application& app) { return std::make_unique<SampleDelegate>(app); });
}
