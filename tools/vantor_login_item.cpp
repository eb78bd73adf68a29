// vantor-login-item: the launcher inside a main application's bundle as the
// user's login item (an XDG autostart entry).
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <span>

#include "Keel/core/bundle.h"
#include "VantorLauncher/login_item/login_item.h"
#include "tools/command_line.h"

namespace {

constexpr const char* toolName = "vantor-login-item";

constexpr const char* helpText =
    "Usage: vantor-login-item install [--launcher FILE] BUNDLE\n"
    "  or:  vantor-login-item enable|disable BUNDLE\n"
    "  or:  vantor-login-item status [--json] BUNDLE\n"
    "\n"
    "Makes the launcher inside the main application BUNDLE (a Name.app folder whose\n"
    "Contents/Info.plist has a CFBundleIdentifier),\n"
    "  BUNDLE/Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher,\n"
    "start at login, or not, through the user's XDG autostart entry\n"
    "$XDG_CONFIG_HOME/autostart/<identifier>.launcher.desktop (default ~/.config).\n"
    "\n"
    "Commands:\n"
    "  install   copies the launcher there (from the vantor-launcher package, or\n"
    "            FILE), then enables it. Run it again after the launcher is updated.\n"
    "  enable    writes the user's entry.\n"
    "  disable   removes the user's entry; when the system has an entry of the same\n"
    "            name ($XDG_CONFIG_DIRS/autostart, default /etc/xdg), writes a user\n"
    "            entry with Hidden=true instead, which overrides it.\n"
    "  status    prints whether the session will start the launcher, and which\n"
    "            entry decides: the user's overrides the system's; Hidden=true,\n"
    "            OnlyShowIn and NotShowIn (against $XDG_CURRENT_DESKTOP) and\n"
    "            TryExec apply.\n"
    "\n"
    "Options:\n"
    "  --launcher FILE  the launcher executable that install copies\n"
    "  --json           status: print one JSON object instead\n"
    "  -h, --help       show this help\n"
    "  --version        print the version\n"
    "\n"
    "Exit status: 0 done, or (status) enabled; 1 (status) not enabled, or not a\n"
    "bundle, no launcher in it, or a file could not be read or written, with one\n"
    "line on stderr; 2 usage error.\n";

// The launcher that install copies: the one the vantor-launcher package puts
// beside this program's folder.
std::filesystem::path packagedLauncher() {
  const auto self = Keel::Bundle::main();
  const std::filesystem::path folder = self ? self->bundlePath() : std::filesystem::path("/usr/bin");
  return (folder / VANTOR_LAUNCHER_FROM_BIN).lexically_normal();
}

int print(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  return std::fflush(stdout) == 0 ? Vantor::Tools::exitSuccess
                                  : Vantor::Tools::failure(toolName, "cannot write to standard output");
}

}  // namespace

int main(int argc, char** argv) {
  using namespace Vantor;
  using namespace Vantor::Tools;
  auto arguments = parseArguments(std::span<const char* const>(argv + 1, static_cast<std::size_t>(argc - 1)),
                                  {{"--launcher", true}, {"--json", false}});
  if (!arguments) return usageError(toolName, arguments.error());
  const ParsedArguments& parsed = arguments.value();
  if (parsed.version) return printVersion(toolName);
  if (parsed.help) return print(helpText);
  if (parsed.positional.empty()) return usageError(toolName, "expected install, enable, disable or status");
  const std::string& command = parsed.positional[0];
  if (command != "install" && command != "enable" && command != "disable" && command != "status") {
    return usageError(toolName, "unknown command '" + command + "'");
  }
  if (parsed.positional.size() != 2) return usageError(toolName, command + " takes one BUNDLE");
  if (parsed.values.contains("--launcher") && command != "install") {
    return usageError(toolName, "--launcher is for install");
  }
  const bool json = parsed.flags.contains("--json");
  if (json && command != "status") return usageError(toolName, "--json is for status");
  const std::string& bundle = parsed.positional[1];

  auto environment = LoginItemEnvironment::fromVariables([](const std::string& name) -> std::optional<std::string> {
    const char* value = std::getenv(name.c_str());
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
  });
  if (!environment) return failure(toolName, environment.error());
  auto item = LoginItem::forBundle(bundle);
  if (!item) return failure(toolName, bundle + ": " + item.error());

  if (command == "status") {
    // Like `systemctl is-enabled`: scripts ask with the exit status.
    auto status = loginItemStatus(item.value(), environment.value());
    if (!status) return failure(toolName, status.error());
    const LoginItemStatus& found = status.value();
    const int printed = print(json ? found.json(item.value()) : found.report(item.value()));
    if (printed != exitSuccess) return printed;
    return found.state.enabled ? exitSuccess : exitFailure;
  }
  const auto launcher =
      parsed.values.contains("--launcher") ? std::filesystem::path(parsed.values.at("--launcher")) : packagedLauncher();
  auto report = command == "install"
                    ? installLoginItem(item.value(), launcher, environment.value(), &writeFileAtomically)
                : command == "enable" ? enableLoginItem(item.value(), environment.value(), &writeFileAtomically)
                                      : disableLoginItem(item.value(), environment.value(), &writeFileAtomically);
  if (!report) return failure(toolName, report.error());
  return print(report.value());
}
