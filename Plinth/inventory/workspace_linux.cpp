// Running applications from /proc; opening applications with posix_spawn.
#include "Plinth/inventory/workspace_linux.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <map>
#include <thread>

#include "Keel/core/bundle.h"

extern char** environ;

namespace Plinth {
namespace {

bool isPid(const char* name) {
  if (*name == '\0') return false;
  for (const char* c = name; *c != '\0'; ++c) {
    if (*c < '0' || *c > '9') return false;
  }
  return true;
}

// The target of /proc/PID/exe, without the " (deleted)" the kernel appends
// when the file was replaced; nothing for kernel threads, processes that have
// ended, and processes we may not inspect.
std::optional<std::string> executableOf(int procFd, const char* pid) {
  std::string link = std::string(pid) + "/exe";
  char buffer[4096];
  const ssize_t n = readlinkat(procFd, link.c_str(), buffer, sizeof buffer);
  if (n <= 0 || static_cast<std::size_t>(n) >= sizeof buffer) return std::nullopt;
  std::string path(buffer, static_cast<std::size_t>(n));
  constexpr std::string_view deleted = " (deleted)";
  if (path.size() > deleted.size() && path.ends_with(deleted)) path.resize(path.size() - deleted.size());
  return path;
}

}  // namespace

std::vector<RunningApplication> LinuxWorkspace::runningApplications() const {
  std::vector<RunningApplication> apps;
  DIR* dir = opendir(procRoot_.c_str());
  if (dir == nullptr) return apps;
  const int procFd = dirfd(dir);
  // Many processes share one bundle: read each Info.plist once per listing.
  std::map<std::filesystem::path, std::optional<std::string>> identifiers;
  while (const dirent* entry = readdir(dir)) {
    if (!isPid(entry->d_name)) continue;
    const auto executable = executableOf(procFd, entry->d_name);
    if (!executable) continue;
    RunningApplication app;
    app.processIdentifier = std::atoi(entry->d_name);
    if (auto bundle = Keel::Bundle::bundlePathForExecutable(*executable)) {
      auto [it, inserted] = identifiers.try_emplace(*bundle);
      if (inserted) it->second = Keel::Bundle(*bundle).bundleIdentifier();
      app.bundleIdentifier = it->second;
      app.bundlePath = std::move(*bundle);
    }
    apps.push_back(std::move(app));
  }
  closedir(dir);
  std::sort(apps.begin(), apps.end(),
            [](const RunningApplication& a, const RunningApplication& b) { return a.processIdentifier < b.processIdentifier; });
  return apps;
}

void LinuxWorkspace::openApplication(const std::filesystem::path& url) { (void)launchApplication(url); }

std::optional<int> LinuxWorkspace::launchApplication(const std::filesystem::path& url) {
  if (url.empty()) return std::nullopt;
  const auto executablePath = Keel::Bundle(url).executablePath();
  if (!executablePath) return std::nullopt;
  const std::string executable = executablePath->string();

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  // A session of its own, so that the launcher's terminal and process group
  // going away do not take it along; default signal handling and an empty
  // mask, whatever this process set up for itself.
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  posix_spawn_file_actions_addchdir_np(&actions, "/");

  char* argv[] = {const_cast<char*>(executable.c_str()), nullptr};
  pid_t pid = 0;
  const int error = posix_spawn(&pid, executable.c_str(), &actions, &attributes, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) return std::nullopt;

  // The child outlives us if it must; while we live, we reap it as soon as
  // it ends so that it never stays a zombie.
  std::thread([pid] {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
  }).detach();
  return pid;
}

Workspace& Workspace::shared() {
  static LinuxWorkspace* const workspace = new LinuxWorkspace();
  return *workspace;
}

}  // namespace Plinth
