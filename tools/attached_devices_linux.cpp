// The attached devices through libusbmuxd and libimobiledevice. Neither
// bounds every wait (a wedged usbmuxd costs two 5-second time-outs, a device
// that stops answering lockdown more), so the questions run in a child
// process that reports line by line and is killed at the deadline.
#include "tools/attached_devices.h"

#include "Keel/core/descriptor_linux.h"

#include <fcntl.h>
#include <libimobiledevice/libimobiledevice.h>
#include <libimobiledevice/lockdown.h>
#include <plist/plist.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <usbmuxd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace Vantor::Tools {
namespace {

using Clock = std::chrono::steady_clock;

// The child's report, one line each:
//   "N"                    usbmuxd could not be reached; nothing follows
//   "U\t<udid>\t<u|n>"     a device on USB or the network, in usbmuxd's order
//   "L"                    the end of the list
//   "P\t<product type>"    one per listed device, in order ("P" alone: not told)
void writeLine(int fd, const std::string& line) { (void)Keel::writeAll(fd, line + "\n"); }

std::string productType(const char* udid, bool overNetwork) {
  std::string type;
  idevice_t device = nullptr;
  if (idevice_new_with_options(&device, udid, overNetwork ? IDEVICE_LOOKUP_NETWORK : IDEVICE_LOOKUP_USBMUX) !=
      IDEVICE_E_SUCCESS) {
    return type;
  }
  lockdownd_client_t client = nullptr;
  // Without pairing or a session: the device tells its ProductType to anyone.
  if (lockdownd_client_new(device, &client, "vantor-devices") == LOCKDOWN_E_SUCCESS) {
    plist_t value = nullptr;
    if (lockdownd_get_value(client, nullptr, "ProductType", &value) == LOCKDOWN_E_SUCCESS && value != nullptr &&
        plist_get_node_type(value) == PLIST_STRING) {
      char* text = nullptr;
      plist_get_string_val(value, &text);
      if (text != nullptr) type = text;
      std::free(text);
    }
    plist_free(value);
    lockdownd_client_free(client);
  }
  idevice_free(device);
  // A device's text goes on a line of our own report and into the catalog's
  // look-up: nothing but what a model identifier can be made of.
  const bool usable =
      type.size() <= 64 && std::all_of(type.begin(), type.end(), [](char c) { return c > ' ' && c <= '~'; });
  return usable ? type : std::string();
}

[[noreturn]] void askInChild(int fd) {
  // Gone with the tool, whatever happens to it.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  usbmuxd_device_info_t* list = nullptr;
  const int count = usbmuxd_get_device_list(&list);
  if (count < 0) {
    writeLine(fd, "N");
    _exit(0);
  }
  for (int i = 0; i < count; ++i) {
    // usbmuxd's text on a line of the report: nothing that could break it.
    std::string udid(list[i].udid, strnlen(list[i].udid, sizeof list[i].udid));
    std::replace_if(
        udid.begin(), udid.end(), [](char c) { return c <= ' ' || c > '~'; }, '?');
    writeLine(fd, "U\t" + udid + "\t" + (list[i].conn_type == CONNECTION_TYPE_NETWORK ? "n" : "u"));
  }
  writeLine(fd, "L");
  for (int i = 0; i < count; ++i) {
    const std::string type = productType(list[i].udid, list[i].conn_type == CONNECTION_TYPE_NETWORK);
    writeLine(fd, type.empty() ? "P" : "P\t" + type);
  }
  usbmuxd_device_list_free(&list);
  _exit(0);
}

// The child and the reading end of its pipe; killed and reaped when done with.
class Child {
 public:
  Child(pid_t pid, Keel::Descriptor fd) : pid_(pid), fd_(std::move(fd)) {}
  ~Child() {
    ::kill(pid_, SIGKILL);
    (void)Keel::retryOnInterrupt([&] { return ::waitpid(pid_, nullptr, 0); });
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  enum class Read { line, end, late };
  // The next line into `line`, unless the child ends first or `deadline` passes.
  Read nextLine(std::string& line, Clock::time_point deadline) {
    for (;;) {
      if (const std::size_t newline = buffer_.find('\n'); newline != std::string::npos) {
        line = buffer_.substr(0, newline);
        buffer_.erase(0, newline + 1);
        return Read::line;
      }
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) return Read::late;
      pollfd ready{fd_.get(), POLLIN, 0};
      const int polled = Keel::retryOnInterrupt(
          [&] { return ::poll(&ready, 1, static_cast<int>(std::min<long long>(left, 60'000))); });
      if (polled < 0) return Read::end;
      if (polled == 0) continue;  // the deadline is checked again
      char chunk[4096];
      const ssize_t n = Keel::readSome(fd_.get(), chunk, sizeof chunk);
      if (n <= 0) return Read::end;
      buffer_.append(chunk, static_cast<std::size_t>(n));
    }
  }

 private:
  pid_t pid_;
  Keel::Descriptor fd_;
  std::string buffer_;
};

std::string secondsText(std::chrono::milliseconds time) {
  const auto count = time.count();
  return count % 1000 == 0 ? std::to_string(count / 1000) + " s" : std::to_string(count) + " ms";
}

}  // namespace

Keel::Result<AttachedDevices> attachedDevices(std::chrono::milliseconds listDeadline,
                                              std::chrono::milliseconds deviceDeadline) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) {
    return Keel::failure(std::string("cannot make a pipe: ") + std::strerror(errno));
  }
  Keel::Descriptor reading(fds[0]);
  Keel::Descriptor writing(fds[1]);
  const pid_t pid = ::fork();
  if (pid < 0) {
    return Keel::failure(std::string("cannot start a process: ") + std::strerror(errno));
  }
  if (pid == 0) {
    reading.reset();
    askInChild(writing.get());
  }
  writing.reset();
  Child child(pid, std::move(reading));

  AttachedDevices result;
  bool listed = false;
  std::size_t answered = 0;
  Clock::time_point deadline = Clock::now() + listDeadline;
  std::string line;
  for (;;) {
    if (listed && answered == result.devices.size()) return result;
    switch (child.nextLine(line, deadline)) {
      case Child::Read::late:
        if (!listed) return Keel::failure("usbmuxd did not answer within " + secondsText(listDeadline));
        return Keel::failure("the device " + result.devices[answered].udid + " did not answer within " +
                             secondsText(deviceDeadline));
      case Child::Read::end:
        return Keel::failure("the query of usbmuxd ended without an answer");
      case Child::Read::line:
        break;
    }
    if (!listed && line == "N") return result;
    if (!listed && line.starts_with("U\t") && line.size() > 4 && line[line.size() - 2] == '\t') {
      result.devices.push_back({line.substr(2, line.size() - 4), line.back() == 'n', std::nullopt});
    } else if (!listed && line == "L") {
      listed = true;
      result.reachedUsbmuxd = true;
      deadline = Clock::now() + deviceDeadline;
    } else if (listed && (line == "P" || line.starts_with("P\t"))) {
      if (line.size() > 2) result.devices[answered].productType = line.substr(2);
      ++answered;
      deadline = Clock::now() + deviceDeadline;
    } else {
      return Keel::failure("the query of usbmuxd ended without an answer");
    }
  }
}

}  // namespace Vantor::Tools
