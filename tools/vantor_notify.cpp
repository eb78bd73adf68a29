// vantor-notify: posts a distributed notification, or prints those heard.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <optional>
#include <span>
#include <string>

#include "Keel/core/run_loop.h"
#include "Keel/core/utf8.h"
#include "Plinth/inventory/distributed_notifications.h"
#include "tools/command_line.h"

namespace {

constexpr const char* toolName = "vantor-notify";

constexpr const char* helpText =
    "Usage: vantor-notify post NAME [OBJECT]\n"
    "  or:  vantor-notify observe NAME [OBJECT]\n"
    "\n"
    "Posts or observes distributed notifications, which travel on the D-Bus\n"
    "session bus: $DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus; no bus\n"
    "is ever started.\n"
    "\n"
    "Commands:\n"
    "  post      sends the distributed notification NAME, with OBJECT when given,\n"
    "            to every process of this session, and returns once it is sent.\n"
    "  observe   prints one line per notification NAME heard, until interrupted\n"
    "            (SIGINT or SIGTERM): the name, then a tab and the object when the\n"
    "            notification has one. With OBJECT, only notifications with that\n"
    "            object are heard; without, all of that name. A line on standard\n"
    "            error says when it has begun to listen.\n"
    "\n"
    "Options:\n"
    "  -h, --help   show this help\n"
    "  --version    print the version\n"
    "\n"
    "Exit status: 0 posted, or interrupted while observing; 1 no session bus,\n"
    "or the bus went away; 2 usage error.\n";

// Prints what it hears; stops the loop when standard output goes away.
class Printer {
 public:
  void heard(const Plinth::DistributedNotification& notification) {
    std::string line = notification.name;
    if (notification.object) line += "\t" + *notification.object;
    line += "\n";
    if (std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fflush(stdout) == 0) return;
    // A reader that went away (a closed pipe) is an ordinary end; anything
    // else is worth a line.
    if (errno != EPIPE) {
      Vantor::Tools::failure(toolName, "cannot write to standard output");
      status = Vantor::Tools::exitFailure;
    }
    Keel::RunLoop::main().stop();
  }
  int status = Vantor::Tools::exitSuccess;
};

int observe(Plinth::DistributedNotificationCenter& center, const std::string& name,
            const std::optional<std::string>& object) {
  Keel::RunLoop& loop = Keel::RunLoop::main();
  loop.setTerminationHandler([&loop] { loop.stop(); });
  Printer printer;
  center.setConnectionLostHandler([&printer, &loop](const std::string& reason) {
    printer.status = Vantor::Tools::failure(toolName, "the D-Bus session bus went away: " + reason);
    loop.stop();
  });
  Plinth::DistributedNotifications::addObserver(center, &printer, &Printer::heard, name, object);
  std::fprintf(stderr, "%s: observing \"%s\"%s%s%s; interrupt to stop\n", toolName, name.c_str(),
               object ? " with object \"" : "", object ? object->c_str() : "", object ? "\"" : "");
  loop.run();
  center.removeObserver(&printer, name);
  return printer.status;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace Vantor::Tools;
  // A closed pipe on standard output shows up as a failed write instead.
  std::signal(SIGPIPE, SIG_IGN);
  auto arguments = parseArguments(std::span<const char* const>(argv + 1, static_cast<std::size_t>(argc - 1)), {});
  if (!arguments) return usageError(toolName, arguments.error());
  const ParsedArguments& parsed = arguments.value();
  if (parsed.version) return printVersion(toolName);
  if (parsed.help) {
    std::fputs(helpText, stdout);
    return exitSuccess;
  }
  if (parsed.positional.empty()) return usageError(toolName, "expected post or observe");
  const std::string& command = parsed.positional[0];
  if (command != "post" && command != "observe") return usageError(toolName, "unknown command '" + command + "'");
  if (parsed.positional.size() < 2 || parsed.positional.size() > 3) {
    return usageError(toolName, command + " takes NAME and an optional OBJECT");
  }
  const std::string& name = parsed.positional[1];
  const std::optional<std::string> object =
      parsed.positional.size() == 3 ? std::optional<std::string>(parsed.positional[2]) : std::nullopt;

  // D-Bus carries only UTF-8 texts; anything else would vanish unsent.
  if (!Keel::isValidUtf8(name) || (object && !Keel::isValidUtf8(*object))) {
    return failure(toolName, "NAME and OBJECT must be UTF-8 texts");
  }
  Plinth::DistributedNotificationCenter& center = Plinth::DistributedNotificationCenter::defaultCenter();
  if (const auto available = center.availability(); !available) return failure(toolName, available.error());
  if (command == "observe") return observe(center, name, object);
  // The centre sends before post returns, so exiting next loses nothing.
  Plinth::DistributedNotifications::post(center, name, object);
  return exitSuccess;
}
