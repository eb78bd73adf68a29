// A D-Bus session bus of one's own: a dbus-daemon started for a test (or the
// demo) and stopped with it. It activates no services: nothing is on it but
// what the test puts there.
#pragma once

#include <memory>
#include <string>

#include "testing/temp_dir.h"

namespace Vantor::Testing {

class ChildProcess;

class PrivateSessionBus {
 public:
  PrivateSessionBus();  // throws std::runtime_error when dbus-daemon cannot start
  ~PrivateSessionBus();
  PrivateSessionBus(const PrivateSessionBus&) = delete;
  PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

  [[nodiscard]] const std::string& address() const { return address_; }
  [[nodiscard]] int pid() const;
  // Kills the daemon now, as if the bus went away.
  void stop();

 private:
  TempDir dir_;  // its configuration and socket
  std::unique_ptr<ChildProcess> daemon_;
  std::string address_;
};

}  // namespace Vantor::Testing
