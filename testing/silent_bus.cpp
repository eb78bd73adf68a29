#include "testing/silent_bus.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace Vantor::Testing {

SilentBus::SilentBus(const std::filesystem::path& socketPath) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::strncpy(name.sun_path, socketPath.c_str(), sizeof name.sun_path - 1);
  if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr*>(&name), sizeof name) != 0 || listen(fd_, 16) != 0) {
    if (fd_ >= 0) close(fd_);
    throw std::runtime_error("cannot listen on " + socketPath.string());
  }
  address_ = "unix:path=" + socketPath.string();
}

SilentBus::~SilentBus() {
  for (int client : clients_) close(client);
  close(fd_);
}

bool SilentBus::waitForClient(std::chrono::milliseconds timeout) {
  pollfd p{fd_, POLLIN, 0};
  if (poll(&p, 1, static_cast<int>(timeout.count())) != 1) return false;
  const int client = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
  if (client < 0) return false;
  clients_.push_back(client);
  return true;
}

}  // namespace Vantor::Testing
