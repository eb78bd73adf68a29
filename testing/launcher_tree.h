// A main application bundle with the launcher inside it, laid out as at
// install time, for the end-to-end tests, the demo and the benchmarks:
//   <root>/Vantor.app/Contents/MacOS/VantorSample
//   <root>/Vantor.app/Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace Vantor::Testing {

struct LauncherTreeOptions {
  std::filesystem::path launcherBinary = {};
  std::filesystem::path sampleBinary = {};
  std::string mainIdentifier = "com.brenwick.vantor";
  std::optional<long> killmeDelayMs = {};  // the sample posts "killme" after this long
  long lifetimeMs = 60000;                 // the sample quits after this long
};

class LauncherTree {
 public:
  LauncherTree(const std::filesystem::path& root, const LauncherTreeOptions& options);

  [[nodiscard]] const std::filesystem::path& mainBundle() const { return mainBundle_; }
  [[nodiscard]] const std::filesystem::path& mainExecutable() const { return mainExecutable_; }
  [[nodiscard]] const std::filesystem::path& launcherExecutable() const { return launcherExecutable_; }

  // The sample writes "<pid> <CLOCK_MONOTONIC ns>" here when it starts.
  [[nodiscard]] const std::filesystem::path& startedFile() const { return startedFile_; }
  struct Started {
    int pid;
    long long monotonicNs;
  };
  // What the sample wrote, once it has started.
  [[nodiscard]] std::optional<Started> started() const;

 private:
  std::filesystem::path mainBundle_;
  std::filesystem::path mainExecutable_;
  std::filesystem::path launcherExecutable_;
  std::filesystem::path startedFile_;
};

// CLOCK_MONOTONIC in nanoseconds, comparable with what the sample writes.
long long monotonicNowNs();

}  // namespace Vantor::Testing
