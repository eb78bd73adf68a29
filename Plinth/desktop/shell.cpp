// The shell command line and the child's environment; the process handling is
// the launcher's (shell_linux.cpp on Linux).
#include "Plinth/desktop/shell.h"

#include <utility>

namespace Plinth {
namespace {

constexpr const char* kShell = "/bin/bash";
constexpr std::string_view kLocaleName = "LC_ALL=";
constexpr const char* kLocaleEntry = "LC_ALL=en_US.UTF-8";

}  // namespace

std::vector<std::string> Shell::childEnvironment(std::vector<std::string> environment) {
  bool replaced = false;
  std::vector<std::string> result;
  result.reserve(environment.size() + 1);
  for (auto& entry : environment) {
    if (std::string_view(entry).starts_with(kLocaleName)) {
      if (!replaced) result.emplace_back(kLocaleEntry);
      replaced = true;
    } else {
      result.push_back(std::move(entry));
    }
  }
  if (!replaced) result.emplace_back(kLocaleEntry);
  return result;
}

std::optional<std::vector<std::uint8_t>> Shell::run(ChildProcessLauncher& launcher,
                                                    const std::vector<std::string>& arguments) {
  std::vector<std::string> argv{kShell, "-c"};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  auto outcome = launcher.run(kShell, argv, childEnvironment(launcher.currentEnvironment()));
  if (!outcome || !outcome->exitedWithZero) return std::nullopt;
  return std::move(outcome->standardOutput);
}

std::optional<std::string> Shell::runString(ChildProcessLauncher& launcher, const std::vector<std::string>& arguments) {
  auto bytes = run(launcher, arguments);
  if (!bytes) return std::nullopt;
  std::string text(bytes->begin(), bytes->end());
  if (!isValidUtf8(text)) return std::nullopt;
  return text;
}

std::optional<std::vector<std::uint8_t>> Shell::run(const std::vector<std::string>& arguments) {
  return run(ChildProcessLauncher::system(), arguments);
}

std::optional<std::string> Shell::runString(const std::vector<std::string>& arguments) {
  return runString(ChildProcessLauncher::system(), arguments);
}

bool isValidUtf8(std::string_view bytes) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const auto* end = p + bytes.size();
  while (p < end) {
    const unsigned lead = *p;
    if (lead < 0x80) {
      ++p;
      continue;
    }
    std::size_t length = 0;
    unsigned low = 0x80;   // the range of the second byte, narrowed where the
    unsigned high = 0xBF;  // lead alone would allow overlongs or surrogates
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      return false;
    }
    if (static_cast<std::size_t>(end - p) < length) return false;
    if (p[1] < low || p[1] > high) return false;
    for (std::size_t i = 2; i < length; ++i) {
      if ((p[i] & 0xC0U) != 0x80U) return false;
    }
    p += length;
  }
  return true;
}

}  // namespace Plinth
