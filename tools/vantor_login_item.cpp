// vantor-login-item: the launcher inside a main application's bundle as the
// user's login item (an XDG autostart entry).
#include <cstdio>
#include <cstdlib>
#include <span>

#include "tools/atomic_file.h"
#include "tools/command_line.h"
#include "tools/login_item.h"

namespace {

constexpr const char* kTool = "vantor-login-item";

constexpr const char* kHelp =
    "Usage: vantor-login-item enable|disable|status BUNDLE\n"
    "\n"
    "Makes the launcher inside the main application BUNDLE (a Name.app folder whose\n"
    "Contents/Info.plist has a CFBundleIdentifier) start at login, or not, through\n"
    "the user's XDG autostart entry\n"
    "  $XDG_CONFIG_HOME/autostart/<identifier>.launcher.desktop   (default ~/.config)\n"
    "which starts\n"
    "  BUNDLE/Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher\n"
    "\n"
    "enable   writes the user's entry.\n"
    "disable  removes the user's entry; when the system has an entry of the same\n"
    "         name ($XDG_CONFIG_DIRS/autostart, default /etc/xdg), writes a user\n"
    "         entry with Hidden=true instead, which overrides it.\n"
    "status   prints whether the session will start the launcher, and which entry\n"
    "         decides: the user's overrides the system's; Hidden=true, OnlyShowIn\n"
    "         and NotShowIn (against $XDG_CURRENT_DESKTOP) and TryExec apply.\n"
    "\n"
    "  -h, --help   show this help\n"
    "\n"
    "Exit status: 0 done (status: reported, whether enabled or not); 1 not a\n"
    "bundle, no launcher in it, or a file could not be read or written; 2 usage\n"
    "error.\n";

}  // namespace

int main(int argc, char** argv) {
  using namespace Vantor::Tools;
  auto arguments = parseArguments(std::span<const char* const>(argv + 1, static_cast<std::size_t>(argc - 1)), {});
  if (!arguments) return usageError(kTool, arguments.error());
  const ParsedArguments& parsed = arguments.value();
  if (parsed.help) {
    std::fputs(kHelp, stdout);
    return kExitSuccess;
  }
  if (parsed.positional.empty()) return usageError(kTool, "expected enable, disable or status");
  const std::string& command = parsed.positional[0];
  if (command != "enable" && command != "disable" && command != "status") {
    return usageError(kTool, "unknown command '" + command + "'");
  }
  if (parsed.positional.size() != 2) return usageError(kTool, command + " takes one BUNDLE");
  const std::string& bundle = parsed.positional[1];

  auto environment = LoginItemEnvironment::fromVariables([](const std::string& name) -> std::optional<std::string> {
    const char* value = std::getenv(name.c_str());
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
  });
  if (!environment) return failure(kTool, environment.error());
  auto item = LoginItem::forBundle(bundle);
  if (!item) return failure(kTool, bundle + ": " + item.error());

  auto report = command == "enable"    ? enableLoginItem(item.value(), environment.value(), &writeFileAtomically)
                : command == "disable" ? disableLoginItem(item.value(), environment.value(), &writeFileAtomically)
                                       : loginItemStatus(item.value(), environment.value());
  if (!report) return failure(kTool, report.error());
  std::fputs(report.value().c_str(), stdout);
  return std::fflush(stdout) == 0 ? kExitSuccess : failure(kTool, "cannot write to standard output");
}
