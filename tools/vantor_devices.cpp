// vantor-devices: models of the device catalog by identifier, and the Apple
// devices attached to this computer, as text or JSON.
#include <cstdio>
#include <span>
#include <string>

#include "Keel/coding/json.h"
#include "Keel/core/utf8.h"
#include "Plinth/devices/device_catalog.h"
#include "tools/attached_devices.h"
#include "tools/command_line.h"
#include "tools/device_report.h"
#include "tools/tree_printer.h"

namespace {

constexpr const char* toolName = "vantor-devices";

// usbmuxd is a local daemon that answers at once; a device may be slower,
// over Wi-Fi most of all.
constexpr std::chrono::seconds usbmuxdDeadline{3};
constexpr std::chrono::seconds deviceDeadline{5};

constexpr const char* helpText =
    "Usage: vantor-devices [--json] IDENTIFIER...\n"
    "  or:  vantor-devices [--json] --all\n"
    "  or:  vantor-devices [--json] --connected\n"
    "\n"
    "Prints the catalog's record of each Apple device model identifier (such\n"
    "as iPhone5,2): model name, short name, kind, icon file in the mobile-\n"
    "devices icon bundle, desktop icon name and the icon theme's file for it.\n"
    "Identifiers are matched exactly, case included.\n"
    "\n"
    "Options:\n"
    "  --all         print every model of the catalog\n"
    "  --connected   list the Apple devices attached to this computer (through\n"
    "                usbmuxd) with the model each reports; none when usbmuxd is\n"
    "                not running\n"
    "  --json        print a JSON array of records instead\n"
    "  -h, --help    show this help\n"
    "  --version     print the version\n"
    "\n"
    "Exit status: 0 printed, 1 an identifier the catalog does not hold (the\n"
    "others are printed) or no answer from usbmuxd or a device, 2 usage error.\n";

int print(const std::string& output) {
  if (std::fwrite(output.data(), 1, output.size(), stdout) != output.size() || std::fflush(stdout) != 0) {
    return Vantor::Tools::failure(toolName, "cannot write to standard output");
  }
  return Vantor::Tools::exitSuccess;
}

int printJSON(const Keel::AnyValue& tree) {
  auto json = Keel::JSON::write(tree);
  if (!json) return Vantor::Tools::failure(toolName, "cannot write JSON: " + json.error().text());
  return print(json.value() + "\n");
}

// An argument as it can stand in an error line: valid UTF-8, escaped, and
// not longer than a line should be.
std::string shown(std::string text) {
  constexpr std::size_t longestShown = 64;
  const bool cut = text.size() > longestShown;
  if (cut) text.resize(longestShown);
  return Vantor::Tools::quotedText(Keel::replacingInvalidUtf8(text)) + (cut ? "..." : "");
}

int printConnected(bool json) {
  using namespace Vantor::Tools;
  auto attached = attachedDevices(usbmuxdDeadline, deviceDeadline);
  if (!attached) return failure(toolName, attached.error());
  const auto& devices = attached.value().devices;
  if (!attached.value().reachedUsbmuxd) {
    std::fprintf(stderr, "%s: cannot reach usbmuxd, so no Apple device is listed\n", toolName);
  } else if (devices.empty()) {
    std::fprintf(stderr, "%s: no Apple device is attached\n", toolName);
  }
  if (json) return printJSON(attachedTree(devices));
  return devices.empty() ? exitSuccess : print(attachedTable(devices));
}

}  // namespace

int main(int argc, char** argv) {
  using namespace Vantor::Tools;
  auto arguments = parseArguments(std::span<const char* const>(argv + 1, static_cast<std::size_t>(argc - 1)),
                                  {{"--json", false}, {"--all", false}, {"--connected", false}});
  if (!arguments) return usageError(toolName, arguments.error());
  const ParsedArguments& parsed = arguments.value();
  if (parsed.version) return Vantor::Tools::printVersion(toolName);
  if (parsed.help) return print(helpText);
  const bool json = parsed.flags.contains("--json");
  const bool all = parsed.flags.contains("--all");
  const bool connected = parsed.flags.contains("--connected");
  if (all && connected) return usageError(toolName, "--all and --connected do not go together");
  if ((all || connected) && !parsed.positional.empty()) {
    return usageError(toolName, "unexpected argument '" + parsed.positional.front() + "'");
  }
  if (!all && !connected && parsed.positional.empty()) return usageError(toolName, "expected an IDENTIFIER");
  if (connected) return printConnected(json);

  std::vector<Plinth::DeviceModel> models;
  int status = exitSuccess;
  if (all) {
    models.assign(Plinth::DeviceCatalog::models().begin(), Plinth::DeviceCatalog::models().end());
  }
  for (const std::string& identifier : parsed.positional) {
    if (const auto model = Plinth::DeviceCatalog::model(identifier)) {
      models.push_back(*model);
    } else {
      std::fprintf(stderr, "%s: the catalog has no model %s\n", toolName, shown(identifier).c_str());
      status = exitFailure;
    }
  }
  Keel::AnyValue::Array trees;
  std::string text;
  for (const Plinth::DeviceModel& model : models) {
    const auto iconFile = Plinth::DeviceCatalog::desktopIconFile(model);
    if (json) {
      trees.push_back(modelTree(model, iconFile));
    } else {
      text += (text.empty() ? "" : "\n") + modelText(model, iconFile);
    }
  }
  const int printed = json ? printJSON(trees) : print(text);
  return printed != exitSuccess ? printed : status;
}
