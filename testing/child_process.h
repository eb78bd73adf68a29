// Child processes for tests, benchmarks and the demo: started with a chosen
// environment, waited for with time-outs, never left behind.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Vantor::Testing {

struct ChildOptions {
  std::vector<std::string> argv = {};  // argv[0] is the program (searched in PATH)
  // Changes to this process's environment: a value sets, nothing unsets.
  std::map<std::string, std::optional<std::string>> environment = {};
  std::filesystem::path stdoutFile = {};  // empty: /dev/null
  std::filesystem::path stderrFile = {};  // empty: /dev/null
  bool newProcessGroup = false;           // lead a process group of its own (see killGroup)
};

class ChildProcess {
 public:
  explicit ChildProcess(const ChildOptions& options);  // throws std::runtime_error when it cannot start
  ~ChildProcess();                                     // kills and reaps it if it still runs
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  [[nodiscard]] int pid() const { return pid_; }

  // The exit status (128 + signal number when killed by a signal), or nothing
  // if it is still running after `timeout`.
  std::optional<int> waitForExit(std::chrono::milliseconds timeout);

  void kill(int signal);
  // Signals the whole process group it leads (newProcessGroup).
  void killGroup(int signal);

 private:
  int pid_ = -1;
  int pidfd_ = -1;
  std::optional<int> status_;
};

// Calls `condition` until it holds or `timeout` passes; true when it held.
bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout);

// True while `pid` names a live process (not a zombie).
bool processAlive(int pid);

// Pids of live processes whose executable is exactly `executable`.
std::vector<int> processesRunning(const std::filesystem::path& executable);

}  // namespace Vantor::Testing
