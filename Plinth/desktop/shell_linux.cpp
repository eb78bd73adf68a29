// Child processes on Linux: the shared process launch with close-on-exec
// pipes, one poll() loop that reads standard output and drains standard
// error, then waitpid.
#include "Plinth/desktop/shell.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "Keel/core/descriptor_linux.h"
#include "Keel/core/process_launch_linux.h"

extern char** environ;

namespace Plinth {
namespace {

using Keel::Descriptor;
using Keel::retryOnInterrupt;

constexpr std::size_t readChunk = std::size_t{64} * 1024;  // a whole pipe's worth
constexpr std::size_t discardChunk = std::size_t{16} * 1024;

bool makePipe(Descriptor& readEnd, Descriptor& writeEnd) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  readEnd.reset(ends[0]);
  writeEnd.reset(ends[1]);
  return true;
}

enum class ReadResult { data, end, again };

// One read of `fd`, appended to `into` when given, thrown away otherwise.
ReadResult readOnce(int fd, std::vector<std::uint8_t>* into) {
  std::uint8_t scratch[discardChunk];
  std::uint8_t* target = scratch;
  std::size_t size = sizeof scratch;
  std::size_t old = 0;
  if (into != nullptr) {
    old = into->size();
    into->resize(old + readChunk);
    target = into->data() + old;
    size = readChunk;
  }
  const ssize_t n = Keel::readSome(fd, target, size);
  if (into != nullptr) into->resize(old + static_cast<std::size_t>(n > 0 ? n : 0));
  if (n > 0) return ReadResult::data;
  if (n < 0 && errno == EAGAIN) return ReadResult::again;
  return ReadResult::end;  // end of file, or an error that ends the stream alike
}

// Reads `out` to its end while draining `err`. False when poll itself fails.
bool readOutput(Descriptor& out, Descriptor& err, std::vector<std::uint8_t>& output) {
  while (out.valid()) {
    pollfd fds[2] = {{out.get(), POLLIN, 0}, {err.get(), POLLIN, 0}};
    const nfds_t count = err.valid() ? 2 : 1;
    if (retryOnInterrupt([&] { return poll(fds, count, -1); }) < 0) return false;
    if (fds[0].revents != 0 && readOnce(out.get(), &output) == ReadResult::end) out.reset();
    if (count == 2 && fds[1].revents != 0 && readOnce(err.get(), nullptr) == ReadResult::end) err.reset();
  }
  return true;
}

// After standard output has ended, the child may still write to standard
// error (or have handed it to a process that outlives it): drain it until
// the child exits. Without pidfds (kernels before 5.3), until it ends.
void drainUntilExit(Descriptor& err, pid_t pid) {
  const Descriptor exited(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  while (err.valid()) {
    pollfd fds[2] = {{err.get(), POLLIN, 0}, {exited.get(), POLLIN, 0}};
    const nfds_t count = exited.valid() ? 2 : 1;
    if (retryOnInterrupt([&] { return poll(fds, count, -1); }) < 0) return;
    if (exited.valid() && fds[1].revents != 0) return;
    if (fds[0].revents != 0 && readOnce(err.get(), nullptr) == ReadResult::end) err.reset();
  }
}

class PosixChildProcessLauncher final : public ChildProcessLauncher {
 public:
  std::optional<ChildOutcome> run(const std::string& executable, const std::vector<std::string>& arguments,
                                  const std::vector<std::string>& environment) override {
    Descriptor outRead, outWrite, errRead, errWrite;
    if (!makePipe(outRead, outWrite) || !makePipe(errRead, errWrite)) return std::nullopt;
    // Standard input stays this process's; whatever this process did with
    // its signals (SIGPIPE ignored by the run loop, signals blocked by
    // threads) is no business of the command's.
    const Keel::LaunchResult launched = Keel::launchProcess({.executable = executable,
                                                             .arguments = arguments,
                                                             .environment = environment,
                                                             .standardOutput = Keel::ChildStream::from(outWrite.get()),
                                                             .standardError = Keel::ChildStream::from(errWrite.get())});
    if (!launched) return std::nullopt;
    const pid_t pid = *launched;
    // Only the child may hold the writing ends, or the reads never end.
    outWrite.reset();
    errWrite.reset();

    ChildOutcome outcome;
    const bool read = readOutput(outRead, errRead, outcome.standardOutput);
    if (read) drainUntilExit(errRead, pid);
    // Whatever still writes to these (a process the command left behind, or
    // any child after a failed poll) gets SIGPIPE rather than waiting for us.
    outRead.reset();
    errRead.reset();

    int status = 0;
    const pid_t waited = retryOnInterrupt([&] { return waitpid(pid, &status, 0); });
    // A host that ignores SIGCHLD has its children reaped by the kernel:
    // waitpid then fails and the status is unknown, which counts as failure.
    outcome.exitedWithZero = read && waited == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return outcome;
  }

  std::vector<std::string> currentEnvironment() const override {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) entries.emplace_back(*entry);
    return entries;
  }
};

}  // namespace

ChildProcessLauncher& ChildProcessLauncher::system() {
  static PosixChildProcessLauncher launcher;
  return launcher;
}

}  // namespace Plinth
