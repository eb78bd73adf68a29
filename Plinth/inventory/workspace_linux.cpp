// Running applications from /proc; opening applications as detached
// processes.
#include "Plinth/inventory/workspace_linux.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string_view>
#include <thread>
#include <utility>

#include "Keel/core/bundle.h"
#include "Keel/core/descriptor_linux.h"
#include "Keel/core/process_launch_linux.h"

namespace Plinth {
namespace {

bool isPid(const char* name) {
  if (*name == '\0') return false;
  for (const char* c = name; *c != '\0'; ++c) {
    if (*c < '0' || *c > '9') return false;
  }
  return true;
}

// The target of the link `name` under the process folder `pid` (exe, cwd),
// without the " (deleted)" the kernel appends when the file was replaced;
// nothing for kernel threads, processes that have ended, and processes we may
// not inspect.
std::optional<std::string> linkOf(int procFd, const char* pid, const char* name) {
  char link[64];
  std::snprintf(link, sizeof link, "%s/%s", pid, name);
  char buffer[4096];
  const ssize_t n = readlinkat(procFd, link, buffer, sizeof buffer);
  if (n <= 0 || static_cast<std::size_t>(n) >= sizeof buffer) return std::nullopt;
  std::string path(buffer, static_cast<std::size_t>(n));
  constexpr std::string_view deleted = " (deleted)";
  if (path.size() > deleted.size() && path.ends_with(deleted)) path.resize(path.size() - deleted.size());
  return path;
}

// The bundle of the script a process runs, for processes whose executable is
// an interpreter: the first argument after the program name that lies at
// X.app/Contents/MacOS/<file>. Only arguments holding a "/" and not starting
// with "-" are considered; relative ones are taken from the process's current
// folder. Only the first page of the command line is read, and an argument it
// cuts off is ignored.
std::optional<std::filesystem::path> scriptBundleOf(int procFd, const char* pid) {
  char name[64];
  std::snprintf(name, sizeof name, "%s/cmdline", pid);
  const Keel::Descriptor fd(openat(procFd, name, O_RDONLY | O_CLOEXEC));
  if (!fd.valid()) return std::nullopt;
  char buffer[4096];
  const ssize_t n = Keel::readSome(fd.get(), buffer, sizeof buffer);
  if (n <= 0) return std::nullopt;
  std::string_view rest(buffer, static_cast<std::size_t>(n));
  rest.remove_prefix(std::min(rest.size(), rest.find('\0')));  // the program name
  std::optional<std::string> folder;                           // read once, when a relative argument needs it
  bool folderRead = false;
  constexpr std::string_view macos = "MacOS";
  while (rest.size() > 1) {
    rest.remove_prefix(1);
    const std::size_t end = rest.find('\0');
    if (end == std::string_view::npos) break;
    const std::string_view argument = rest.substr(0, end);
    rest.remove_prefix(end);
    // Most arguments are no script path at all: skip them before any path work.
    if (argument.empty() || argument.front() == '-' || argument.find('/') == std::string_view::npos) continue;
    std::filesystem::path script;
    if (argument.front() == '/') {
      if (argument.find(macos) == std::string_view::npos) continue;
      script = argument;
    } else {
      if (!std::exchange(folderRead, true)) folder = linkOf(procFd, pid, "cwd");
      if (!folder || (argument.find(macos) == std::string_view::npos && folder->find(macos) == std::string::npos)) {
        continue;
      }
      script = std::filesystem::path(*folder) / argument;
    }
    if (auto bundle = Keel::Bundle::bundlePathForExecutable(script.lexically_normal())) return bundle;
  }
  return std::nullopt;
}

}  // namespace

std::vector<RunningApplication> LinuxWorkspace::runningApplications() const {
  std::vector<RunningApplication> apps;
  const Keel::Listing dir(opendir(procRoot_.c_str()));
  if (!dir) return apps;
  const int procFd = dirfd(dir.get());
  // Many processes share one bundle: read each Info.plist once per listing.
  std::map<std::filesystem::path, std::optional<std::string>> identifiers;
  while (const dirent* entry = readdir(dir.get())) {
    if (!isPid(entry->d_name)) continue;
    const auto executable = linkOf(procFd, entry->d_name, "exe");
    if (!executable) continue;
    RunningApplication app;
    app.processIdentifier = std::atoi(entry->d_name);
    // The kernel's path is canonical: without this part it lies in no bundle.
    auto bundle = executable->find("/Contents/MacOS/") != std::string::npos
                      ? Keel::Bundle::bundlePathForExecutable(*executable)
                      : std::nullopt;
    if (!bundle) bundle = scriptBundleOf(procFd, entry->d_name);
    if (bundle) {
      auto [it, inserted] = identifiers.try_emplace(*bundle);
      if (inserted) it->second = Keel::Bundle(*bundle).bundleIdentifier();
      app.bundleIdentifier = it->second;
      app.bundlePath = std::move(*bundle);
    }
    apps.push_back(std::move(app));
  }
  std::sort(apps.begin(), apps.end(), [](const RunningApplication& a, const RunningApplication& b) {
    return a.processIdentifier < b.processIdentifier;
  });
  return apps;
}

void LinuxWorkspace::openApplication(const std::filesystem::path& url) { (void)launchApplication(url); }

std::optional<int> LinuxWorkspace::launchApplication(const std::filesystem::path& url) {
  if (url.empty()) return std::nullopt;
  const auto executablePath = Keel::Bundle(url).executablePath();
  if (!executablePath) return std::nullopt;
  const std::string executable = executablePath->string();

  // A session of its own, so that the launcher's terminal and process group
  // going away do not take it along.
  const Keel::LaunchResult launched = Keel::launchProcess({.executable = executable,
                                                           .workingFolder = "/",
                                                           .newSession = true,
                                                           .standardInput = Keel::ChildStream::null(),
                                                           .standardOutput = Keel::ChildStream::null(),
                                                           .standardError = Keel::ChildStream::null()});
  if (!launched) return std::nullopt;
  const pid_t pid = *launched;

  // The child outlives us if it must; while we live, we reap it as soon as
  // it ends so that it never stays a zombie.
  std::thread([pid] {
    int status = 0;
    (void)Keel::retryOnInterrupt([&] { return waitpid(pid, &status, 0); });
  }).detach();
  return pid;
}

Workspace& Workspace::shared() {
  static auto* const workspace = new LinuxWorkspace();
  return *workspace;
}

}  // namespace Plinth
