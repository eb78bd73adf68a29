#include "testing/private_session_bus.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <stdexcept>

#include "testing/child_process.h"

namespace Vantor::Testing {

namespace {

// The standard session configuration would add the machine's service
// folders, through which D-Bus activation could start real services (a real
// desktop portal) on the test's bus. This one names none, so only what a test
// starts itself is ever on the bus.
constexpr const char* busConfiguration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=@FOLDER@</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

}  // namespace

PrivateSessionBus::PrivateSessionBus() {
  std::string configuration = busConfiguration;
  configuration.replace(configuration.find("@FOLDER@"), 8, dir_.path().string());
  const auto configurationFile = dir_.path() / "bus.conf";
  std::ofstream(configurationFile) << configuration;
  // dbus-daemon prints its address to a file we name; a FIFO lets us wait
  // for it with a time-out instead of polling the file.
  const auto fifo = dir_.path() / "address";
  if (mkfifo(fifo.c_str(), 0600) != 0) throw std::runtime_error("mkfifo failed");
  const int fd = open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("cannot open the address fifo");
  daemon_ = std::make_unique<ChildProcess>(
      ChildOptions{{"dbus-daemon", "--config-file=" + configurationFile.string(), "--nofork", "--nopidfile",
                    "--print-address=1"},
                   {},
                   fifo,
                   {}});
  std::string text;
  char buffer[512];
  pollfd p{fd, POLLIN, 0};
  while (text.find('\n') == std::string::npos && poll(&p, 1, 10000) > 0) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n > 0) {
      text.append(buffer, static_cast<std::size_t>(n));
    } else if (n == 0 && !processAlive(daemon_->pid())) {
      break;
    }
  }
  close(fd);
  const auto end = text.find('\n');
  if (end == std::string::npos) throw std::runtime_error("dbus-daemon printed no address");
  address_ = text.substr(0, end);
}

PrivateSessionBus::~PrivateSessionBus() { stop(); }

int PrivateSessionBus::pid() const { return daemon_->pid(); }

void PrivateSessionBus::stop() {
  daemon_->kill(SIGTERM);
  daemon_->waitForExit(std::chrono::seconds(10));
}

}  // namespace Vantor::Testing
