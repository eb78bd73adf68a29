// Sleep and wake on Linux: logind's PrepareForSleep signal on the system bus.
//   sender:     org.freedesktop.login1 (signals from anyone else are ignored)
//   path:       /org/freedesktop/login1
//   interface:  org.freedesktop.login1.Manager
//   member:     PrepareForSleep(b): true before sleeping, false after waking
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Plinth/desktop/sleep_wake_observer.h"

namespace Plinth {

class LogindSleepEvents final : public SleepEventSource {
 public:
  struct Options {
    // The bus to listen on; the system bus of the address policy
    // (Keel/core/message_bus_linux.h) when absent.
    std::optional<std::string> busAddress = std::nullopt;
    // Called once on the main run loop: true when the bus has confirmed the
    // subscription (so that no later signal can be missed), false when there
    // is no bus to listen on. Optional.
    std::function<void(bool listening)> onListening = {};
  };

  LogindSleepEvents();  // the system bus
  explicit LogindSleepEvents(Options options);
  // Unsubscribes and closes the connection; any thread.
  ~LogindSleepEvents() override;

  // Connects without blocking, on the main run loop, whose context then
  // serves the signals. A bus that is missing or goes away later only means
  // that the machine never seems to sleep; nothing is reported, and the
  // process is never ended for it.
  void start(Handler handler) override;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace Plinth
