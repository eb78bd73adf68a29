#include "testing/child_process.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace Vantor::Testing {

ChildProcess::ChildProcess(const ChildOptions& options) {
  std::map<std::string, std::string> env;
  for (char** e = environ; *e != nullptr; ++e) {
    const char* eq = std::strchr(*e, '=');
    if (eq != nullptr) env[std::string(const_cast<const char*>(*e), eq)] = eq + 1;
  }
  for (const auto& [key, value] : options.environment) {
    if (value) {
      env[key] = *value;
    } else {
      env.erase(key);
    }
  }
  std::vector<std::string> envStrings;
  for (const auto& [key, value] : env) envStrings.push_back(key + "=" + value);
  std::vector<char*> envp;
  for (auto& s : envStrings) envp.push_back(s.data());
  envp.push_back(nullptr);
  std::vector<std::string> args = options.argv;
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  const std::string out = options.stdoutFile.empty() ? "/dev/null" : options.stdoutFile.string();
  const std::string err = options.stderrFile.empty() ? "/dev/null" : options.stderrFile.string();
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  if (options.newProcessGroup) {
    flags |= POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setpgroup(&attributes, 0);
  }
  posix_spawnattr_setflags(&attributes, flags);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  const int error = posix_spawnp(&pid_, argv[0], &actions, &attributes, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) throw std::runtime_error("cannot start " + args[0] + ": " + std::strerror(error));
  pidfd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
}

ChildProcess::~ChildProcess() {
  if (!status_) {
    kill(SIGKILL);
    waitForExit(std::chrono::seconds(10));
  }
  if (pidfd_ >= 0) close(pidfd_);
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds timeout) {
  if (status_) return status_;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    int status = 0;
    const pid_t r = waitpid(pid_, &status, WNOHANG);
    if (r == pid_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      return status_;
    }
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return std::nullopt;
    if (pidfd_ >= 0) {
      pollfd p{pidfd_, POLLIN, 0};
      poll(&p, 1, static_cast<int>(left.count()));
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
}

void ChildProcess::kill(int signal) {
  if (!status_) ::kill(pid_, signal);
}

void ChildProcess::killGroup(int signal) { ::kill(-pid_, signal); }

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  auto pause = std::chrono::microseconds(200);
  for (;;) {
    if (condition()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return condition();
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(10000));
  }
}

bool processAlive(int pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(stat, line)) return false;
  const auto close = line.rfind(')');
  return close != std::string::npos && close + 2 < line.size() && line[close + 2] != 'Z' && line[close + 2] != 'X';
}

std::vector<int> processesRunning(const std::filesystem::path& executable) {
  std::vector<int> pids;
  DIR* dir = opendir("/proc");
  if (dir == nullptr) return pids;
  while (const dirent* entry = readdir(dir)) {
    const int pid = std::atoi(entry->d_name);
    if (pid <= 0) continue;
    std::error_code error;
    auto target = std::filesystem::read_symlink("/proc/" + std::string(entry->d_name) + "/exe", error);
    if (!error && target == executable && processAlive(pid)) pids.push_back(pid);
  }
  closedir(dir);
  return pids;
}

}  // namespace Vantor::Testing
