// Child processes on Linux: posix_spawn with close-on-exec pipes, one poll()
// loop that reads standard output and drains standard error, then waitpid.
#include "Plinth/desktop/shell.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Plinth/inventory/every_signal_linux.h"

extern char** environ;

namespace Plinth {
namespace {

constexpr std::size_t kReadChunk = 64 * 1024;  // a whole pipe's worth
constexpr std::size_t kDiscardChunk = 16 * 1024;

// A descriptor closed when it goes out of scope (or by hand, which marks it).
class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() { reset(); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  [[nodiscard]] int get() const { return fd_; }
  [[nodiscard]] bool open() const { return fd_ >= 0; }
  void reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

// Both ends close-on-exec, and above the standard streams: dup2 of a
// descriptor onto itself would keep its close-on-exec flag, and a host that
// runs with a standard stream closed hands out 0, 1 or 2 to pipe2.
bool makePipe(Fd& readEnd, Fd& writeEnd) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  for (int& end : ends) {
    if (end > 2) continue;
    const int moved = fcntl(end, F_DUPFD_CLOEXEC, 3);
    ::close(end);
    end = moved;
  }
  readEnd.reset(ends[0]);
  writeEnd.reset(ends[1]);
  return readEnd.open() && writeEnd.open();
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const auto& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// Starts the child with `out` and `err` as its standard output and error.
// The error number of posix_spawn (0 on success).
int spawn(pid_t& pid, const std::string& executable, const std::vector<std::string>& arguments,
          const std::vector<std::string>& environment, int out, int err) {
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  const sigset_t all = everySignal();
  // Whatever this process did with its signals (SIGPIPE ignored by the run
  // loop, signals blocked by threads) is no business of the command's.
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out, 1);
  posix_spawn_file_actions_adddup2(&actions, err, 2);
  // Standard input stays this process's; nothing else of ours goes along,
  // even descriptors that other code opened without close-on-exec.
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);

  auto argv = pointersTo(arguments);
  auto envp = pointersTo(environment);
  const int error = posix_spawn(&pid, executable.c_str(), &actions, &attributes, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  return error;
}

enum class ReadResult { data, end, again };

// One read of `fd`, appended to `into` when given, thrown away otherwise.
ReadResult readOnce(int fd, std::vector<std::uint8_t>* into) {
  std::uint8_t scratch[kDiscardChunk];
  std::uint8_t* target = scratch;
  std::size_t size = sizeof scratch;
  std::size_t old = 0;
  if (into != nullptr) {
    old = into->size();
    into->resize(old + kReadChunk);
    target = into->data() + old;
    size = kReadChunk;
  }
  const ssize_t n = ::read(fd, target, size);
  if (into != nullptr) into->resize(old + static_cast<std::size_t>(n > 0 ? n : 0));
  if (n > 0) return ReadResult::data;
  if (n < 0 && (errno == EINTR || errno == EAGAIN)) return ReadResult::again;
  return ReadResult::end;  // end of file, or an error that ends the stream alike
}

// Reads `out` to its end while draining `err`. False when poll itself fails.
bool readOutput(Fd& out, Fd& err, std::vector<std::uint8_t>& output) {
  while (out.open()) {
    pollfd fds[2] = {{out.get(), POLLIN, 0}, {err.get(), POLLIN, 0}};
    const nfds_t count = err.open() ? 2 : 1;
    if (poll(fds, count, -1) < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (fds[0].revents != 0 && readOnce(out.get(), &output) == ReadResult::end) out.reset();
    if (count == 2 && fds[1].revents != 0 && readOnce(err.get(), nullptr) == ReadResult::end) err.reset();
  }
  return true;
}

// After standard output has ended, the child may still write to standard
// error (or have handed it to a process that outlives it): drain it until
// the child exits. Without pidfds (kernels before 5.3), until it ends.
void drainUntilExit(Fd& err, pid_t pid) {
  Fd exited(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  while (err.open()) {
    pollfd fds[2] = {{err.get(), POLLIN, 0}, {exited.get(), POLLIN, 0}};
    if (poll(fds, exited.open() ? 2 : 1, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (exited.open() && fds[1].revents != 0) return;
    if (fds[0].revents != 0 && readOnce(err.get(), nullptr) == ReadResult::end) err.reset();
  }
}

class PosixChildProcessLauncher final : public ChildProcessLauncher {
 public:
  std::optional<ChildOutcome> run(const std::string& executable, const std::vector<std::string>& arguments,
                                  const std::vector<std::string>& environment) override {
    Fd outRead, outWrite, errRead, errWrite;
    if (!makePipe(outRead, outWrite) || !makePipe(errRead, errWrite)) return std::nullopt;
    pid_t pid = 0;
    if (spawn(pid, executable, arguments, environment, outWrite.get(), errWrite.get()) != 0) return std::nullopt;
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
    pid_t waited = 0;
    do {
      waited = waitpid(pid, &status, 0);
    } while (waited < 0 && errno == EINTR);
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
