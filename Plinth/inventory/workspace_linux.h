// The workspace on Linux: running applications from /proc, applications
// opened as detached processes.
#pragma once

#include <filesystem>
#include <optional>

#include "Plinth/inventory/workspace.h"

namespace Plinth {

class LinuxWorkspace final : public Workspace {
 public:
  // `procRoot` is the process table's folder (/proc on a real machine).
  explicit LinuxWorkspace(std::filesystem::path procRoot = "/proc") : procRoot_(std::move(procRoot)) {}

  // Every process whose executable could be read, in ascending pid order. A
  // process belongs to the bundle whose Name.app/Contents/MacOS/<file> is its
  // executable or, when the executable lies in no bundle (an interpreter
  // running a script: /bin/sh, python3), to the bundle of the first argument
  // of its command line at such a path (relative paths from the process's
  // current folder). So a program merely named such a file, such as an
  // editor opened on the script, counts as well. The process has the bundle's
  // identifier when its Info.plist names one.
  std::vector<RunningApplication> runningApplications() const override;

  void openApplication(const std::filesystem::path& url) override;

  // The pid is the started executable's. The child runs in a
  // session of its own with its standard streams on /dev/null and no other
  // descriptors; it is reaped when it ends, so it never lingers as a zombie.
  std::optional<int> launchApplication(const std::filesystem::path& url) override;

 private:
  std::filesystem::path procRoot_;
};

}  // namespace Plinth
