#include "Plinth/desktop/application.h"

#include <atomic>
#include <csignal>

#include "Keel/core/run_loop.h"

namespace Plinth {
namespace {

class MainApplication final : public Application {
 public:
  void terminate(int exitStatus) override {
    int expected = stillRunning;
    // The first request decides the status; later ones only repeat the stop.
    exitStatus_.compare_exchange_strong(expected, exitStatus);
    Keel::RunLoop::main().stop();
  }
  int exitStatus() const {
    const int status = exitStatus_.load();
    return status == stillRunning ? 0 : status;
  }

 private:
  static constexpr int stillRunning = -1000;
  std::atomic<int> exitStatus_{stillRunning};
};

}  // namespace

int applicationMain(int /*argc*/, char** /*argv*/, const ApplicationDelegateFactory& makeDelegate) {
  // Writes to a closed pipe or socket should fail, not kill the process.
  std::signal(SIGPIPE, SIG_IGN);
  MainApplication application;
  std::unique_ptr<ApplicationDelegate> delegate = makeDelegate(application);
  Keel::RunLoop& loop = Keel::RunLoop::main();
  loop.setTerminationHandler([&application] { application.terminate(0); });
  loop.perform([&delegate] { delegate->applicationDidFinishLaunching(); });
  loop.run();
  return application.exitStatus();
}

}  // namespace Plinth
