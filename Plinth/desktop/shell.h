// Shell commands: runs a command line through /bin/bash and hands back what it
// printed on standard output.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Plinth {

// How a child process ended, as far as Shell cares.
struct ChildOutcome {
  std::vector<std::uint8_t> standardOutput;  // every byte it wrote, in order
  bool exitedWithZero = false;               // false for any other status or a signal
};

// Starts a child process and collects its standard output. The Linux one
// (system()) starts a process with pipes; tests give fakes.
class ChildProcessLauncher {
 public:
  virtual ~ChildProcessLauncher() = default;

  // Runs `executable` with `arguments` (argv[0] included) and `environment`
  // ("NAME=value" entries), reads its standard output to the end, drains and
  // discards its standard error meanwhile, and waits for it to exit. Absent
  // when it could not be started. Blocks the calling thread until then.
  [[nodiscard]] virtual std::optional<ChildOutcome> run(const std::string& executable,
                                                        const std::vector<std::string>& arguments,
                                                        const std::vector<std::string>& environment) = 0;

  // This process's environment, as "NAME=value" entries.
  [[nodiscard]] virtual std::vector<std::string> currentEnvironment() const = 0;

  // The platform's launcher. Safe to use from any thread.
  [[nodiscard]] static ChildProcessLauncher& system();
};

class Shell {
 public:
  Shell() = delete;

  // Runs "/bin/bash" "-c" followed by `arguments`: the first is the command
  // text, any further ones become $0, $1, ... The child gets this process's
  // environment with LC_ALL set to "en_US.UTF-8" (replacing any value), this
  // process's standard input, and no other descriptor of ours. Returns the
  // bytes the command wrote to standard output when it exits with status 0;
  // absent when it cannot be started (bash missing, a command text over the
  // kernel's 128 KiB limit for one argument), exits with another status or is
  // killed by a signal. Standard error is read and thrown away, so a command
  // that writes much of it never stalls. Blocks until the child has exited,
  // and until every process holding its standard output has closed it. The
  // child starts with every signal at its default and none blocked. In a
  // host that ignores SIGCHLD the kernel reaps the child before its status
  // can be read, so every run is absent there.
  [[nodiscard]] static std::optional<std::vector<std::uint8_t>> run(const std::vector<std::string>& arguments);

  // run(), decoded as UTF-8: absent when run() is, or when the bytes are not
  // valid UTF-8.
  [[nodiscard]] static std::optional<std::string> runString(const std::vector<std::string>& arguments);

  // The same through a launcher of the caller's choice.
  [[nodiscard]] static std::optional<std::vector<std::uint8_t>> run(ChildProcessLauncher& launcher,
                                                                    const std::vector<std::string>& arguments);
  [[nodiscard]] static std::optional<std::string> runString(ChildProcessLauncher& launcher,
                                                            const std::vector<std::string>& arguments);

  // `environment` with every LC_ALL entry removed and "LC_ALL=en_US.UTF-8"
  // in place of the first one (at the end when there was none).
  [[nodiscard]] static std::vector<std::string> childEnvironment(std::vector<std::string> environment);
};

}  // namespace Plinth
