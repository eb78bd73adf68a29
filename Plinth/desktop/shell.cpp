// The shell command line and the child's environment; the process handling is
// the launcher's (shell_linux.cpp on Linux).
#include "Plinth/desktop/shell.h"

#include <utility>

#include "Keel/core/utf8.h"

namespace Plinth {
namespace {

constexpr const char* shellPath = "/bin/bash";
constexpr std::string_view localeName = "LC_ALL=";
constexpr const char* localeEntry = "LC_ALL=en_US.UTF-8";

}  // namespace

std::vector<std::string> Shell::childEnvironment(std::vector<std::string> environment) {
  bool replaced = false;
  std::vector<std::string> result;
  result.reserve(environment.size() + 1);
  for (auto& entry : environment) {
    if (std::string_view(entry).starts_with(localeName)) {
      if (!replaced) result.emplace_back(localeEntry);
      replaced = true;
    } else {
      result.push_back(std::move(entry));
    }
  }
  if (!replaced) result.emplace_back(localeEntry);
  return result;
}

std::optional<std::vector<std::uint8_t>> Shell::run(ChildProcessLauncher& launcher,
                                                    const std::vector<std::string>& arguments) {
  std::vector<std::string> argv{shellPath, "-c"};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  auto outcome = launcher.run(shellPath, argv, childEnvironment(launcher.currentEnvironment()));
  if (!outcome || !outcome->exitedWithZero) return std::nullopt;
  return std::move(outcome->standardOutput);
}

std::optional<std::string> Shell::runString(ChildProcessLauncher& launcher, const std::vector<std::string>& arguments) {
  auto bytes = run(launcher, arguments);
  if (!bytes) return std::nullopt;
  std::string text(bytes->begin(), bytes->end());
  if (!Keel::isValidUtf8(text)) return std::nullopt;
  return text;
}

std::optional<std::vector<std::uint8_t>> Shell::run(const std::vector<std::string>& arguments) {
  return run(ChildProcessLauncher::system(), arguments);
}

std::optional<std::string> Shell::runString(const std::vector<std::string>& arguments) {
  return runString(ChildProcessLauncher::system(), arguments);
}

}  // namespace Plinth
