#include "Keel/core/process_launch_linux.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "Keel/core/descriptor_linux.h"

extern char** environ;

namespace Keel {
namespace {

// Every signal for POSIX_SPAWN_SETSIGDEF. sigfillset and sigaddset leave out
// the two that glibc keeps for itself (32 and 33: thread cancellation and
// set*id), and glibc's posix_spawn starts a child with any signal it is not
// told to reset to the default as this process has it, so those two would stay
// ignored in the child. glibc's sigset_t is the kernel's mask (signal n is
// bit n - 1): that is checked on a signal sigaddset does accept before the two
// are set the same way.
sigset_t everySignal() {
  sigset_t all;
  sigfillset(&all);
  const auto setBit = [](sigset_t& set, int signal) {
    constexpr std::size_t bits = 8 * sizeof(unsigned long);
    const auto index = static_cast<std::size_t>(signal - 1);
    auto* word = reinterpret_cast<unsigned char*>(&set) + index / bits * sizeof(unsigned long);
    unsigned long value = 0;
    std::memcpy(&value, word, sizeof value);
    value |= 1UL << (index % bits);
    std::memcpy(word, &value, sizeof value);
  };
  sigset_t probe;
  sigemptyset(&probe);
  setBit(probe, SIGRTMAX);
  if (sigismember(&probe, SIGRTMAX) != 1) return all;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) setBit(all, signal);
  return all;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const auto& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// posix_spawn's attributes and file actions, destroyed on every way out.
struct SpawnSetup {
  posix_spawnattr_t attributes{};
  posix_spawn_file_actions_t actions{};
  SpawnSetup() {
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;
};

bool holdsNul(const std::string& text) { return text.find('\0') != std::string::npos; }

bool anyHoldsNul(const std::vector<std::string>& texts) { return std::any_of(texts.begin(), texts.end(), holdsNul); }

LaunchResult launch(const LaunchOptions& options) {
  // The kernel would read such a text only up to its NUL: another program,
  // argument or folder than the one given.
  if (holdsNul(options.executable) || anyHoldsNul(options.arguments) ||
      (options.environment && anyHoldsNul(*options.environment)) ||
      (options.workingFolder && holdsNul(*options.workingFolder))) {
    return Failure<int>{EINVAL};
  }
  SpawnSetup setup;
  sigset_t none;
  sigemptyset(&none);
  const sigset_t all = everySignal();
  short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  if (options.newSession) flags |= POSIX_SPAWN_SETSID;
  int error = posix_spawnattr_setflags(&setup.attributes, flags);
  if (error == 0) error = posix_spawnattr_setsigmask(&setup.attributes, &none);
  if (error == 0) error = posix_spawnattr_setsigdefault(&setup.attributes, &all);

  // A source among 0 to 2 could be overwritten by an earlier dup2 (standard
  // output and error swapped), so every source is first copied above them.
  // The copies are close-on-exec and closed here once the child has started.
  // dup2 onto a different number clears close-on-exec in the child.
  const std::array<const ChildStream*, 3> streams = {&options.standardInput, &options.standardOutput,
                                                     &options.standardError};
  std::array<Descriptor, 3> sources;
  for (int target = 0; target < 3 && error == 0; ++target) {
    const ChildStream& stream = *streams[static_cast<std::size_t>(target)];
    if (stream.isInherited()) continue;
    if (stream.isNull()) {
      error =
          posix_spawn_file_actions_addopen(&setup.actions, target, "/dev/null", target == 0 ? O_RDONLY : O_WRONLY, 0);
      continue;
    }
    Descriptor& source = sources[static_cast<std::size_t>(target)];
    source.reset(::fcntl(stream.descriptor(), F_DUPFD_CLOEXEC, 3));
    error = source.valid() ? posix_spawn_file_actions_adddup2(&setup.actions, source.get(), target) : errno;
  }
  // Nothing else of ours goes along, even descriptors that other code opened
  // without close-on-exec.
  if (error == 0) error = posix_spawn_file_actions_addclosefrom_np(&setup.actions, 3);
  if (error == 0 && options.workingFolder) {
    error = posix_spawn_file_actions_addchdir_np(&setup.actions, options.workingFolder->c_str());
  }
  if (error != 0) return Failure<int>{error};

  const std::vector<std::string> defaultArguments = {options.executable};
  auto argv = pointersTo(options.arguments.empty() ? defaultArguments : options.arguments);
  std::vector<char*> envp = options.environment ? pointersTo(*options.environment) : std::vector<char*>();
  pid_t pid = -1;
  error = posix_spawn(&pid, options.executable.c_str(), &setup.actions, &setup.attributes, argv.data(),
                      options.environment ? envp.data() : environ);
  if (error != 0) return Failure<int>{error};
  return pid;
}

}  // namespace

LaunchResult launchProcess(const LaunchOptions& options) noexcept {
  try {
    return launch(options);
  } catch (...) {
    return Failure<int>{ENOMEM};  // the argument and environment arrays
  }
}

}  // namespace Keel
