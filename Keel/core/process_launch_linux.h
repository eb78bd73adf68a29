// Starting a program as a child process: one description of what the child
// gets, one call. Every program this library starts goes through it, so each
// starts from the same clean state whatever this process set up for itself.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "Keel/core/result.h"

namespace Keel {

// Where one of the child's standard descriptors (0, 1, 2) comes from.
class ChildStream {
 public:
  // This process's own descriptor of that number.
  [[nodiscard]] static ChildStream inherited() { return ChildStream(inheritedFd); }
  // /dev/null, opened for reading (0) or writing (1, 2).
  [[nodiscard]] static ChildStream null() { return ChildStream(nullDeviceFd); }
  // `fd` of this process, duplicated onto it. Any descriptor will do (close-
  // on-exec or not, and 0 to 2 too); it stays open here.
  [[nodiscard]] static ChildStream from(int fd) { return ChildStream(fd < 0 ? nullDeviceFd : fd); }

  [[nodiscard]] bool isInherited() const { return fd_ == inheritedFd; }
  [[nodiscard]] bool isNull() const { return fd_ == nullDeviceFd; }
  [[nodiscard]] int descriptor() const { return fd_; }  // for from()

 private:
  static constexpr int inheritedFd = -1;
  static constexpr int nullDeviceFd = -2;
  explicit ChildStream(int fd) : fd_(fd) {}
  int fd_;
};

struct LaunchOptions {
  std::string executable = {};              // a path; PATH is not searched
  std::vector<std::string> arguments = {};  // argv, argv[0] included; empty: {executable}
  // "NAME=value" entries; absent: this process's environment.
  std::optional<std::vector<std::string>> environment = std::nullopt;
  // The child's current folder; absent: this process's.
  std::optional<std::string> workingFolder = std::nullopt;
  // A session (and process group) of its own, without a controlling
  // terminal, so that this process's terminal and group ending leave it be.
  bool newSession = false;
  ChildStream standardInput = ChildStream::inherited();
  ChildStream standardOutput = ChildStream::inherited();
  ChildStream standardError = ChildStream::inherited();
};

// A started child's pid, or the error number that kept it from starting.
using LaunchResult = Result<pid_t, int>;

// Starts `options.executable` and returns without waiting for it; the caller
// reaps it (waitpid). Whatever this process did with its signals, the child
// starts with every signal at its default disposition (glibc's reserved 32 and
// 33 included) and none blocked, and it gets descriptors 0 to 2 as asked and
// no other descriptor of this process, even those opened without close-on-
// exec. A missing or non-executable program, an argument list over the
// kernel's limits, a working folder that cannot be entered or a text holding
// a NUL is an error (ENOENT, EACCES, E2BIG, EINVAL, ...), never a child that
// fails later. Safe on any
// thread; never throws.
[[nodiscard]] LaunchResult launchProcess(const LaunchOptions& options) noexcept;

}  // namespace Keel
