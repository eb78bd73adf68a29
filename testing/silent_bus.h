// A Unix socket that takes connections and never says a word, as a wedged
// D-Bus daemon does.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace Vantor::Testing {

class SilentBus {
 public:
  explicit SilentBus(const std::filesystem::path& socketPath);  // throws std::runtime_error when it cannot listen
  ~SilentBus();
  SilentBus(const SilentBus&) = delete;
  SilentBus& operator=(const SilentBus&) = delete;

  // A D-Bus address naming the socket.
  [[nodiscard]] const std::string& address() const { return address_; }

  // True once a client has connected within `timeout`; it then stays
  // connected, unanswered, until this object goes.
  bool waitForClient(std::chrono::milliseconds timeout);

 private:
  int fd_;
  std::string address_;
  std::vector<int> clients_;
};

}  // namespace Vantor::Testing
