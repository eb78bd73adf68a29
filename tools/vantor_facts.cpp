// vantor-facts: the machine facts of Keel::System as aligned text or JSON.
#include <cstdio>
#include <span>

#include "Keel/coding/json.h"
#include "tools/command_line.h"
#include "tools/facts_report.h"

namespace {

constexpr const char* toolName = "vantor-facts";

constexpr const char* helpText =
    "Usage: vantor-facts [--json]\n"
    "\n"
    "Prints this machine's facts: model, processor, processor count, memory,\n"
    "thermal state, uptime, architecture, operating-system version, the\n"
    "distribution's own name and version, and the processor and memory totals. Unknown texts print as \"(unknown)\", "
    "unknown\n"
    "numbers as 0.\n"
    "\n"
    "Options:\n"
    "  --json       print one JSON object instead (unknown texts are \"\")\n"
    "  -h, --help   show this help\n"
    "  --version    print the version\n"
    "\n"
    "Exit status: 0 printed, 1 could not print, 2 usage error.\n";

}  // namespace

int main(int argc, char** argv) {
  using namespace Vantor::Tools;
  auto arguments =
      parseArguments(std::span<const char* const>(argv + 1, static_cast<std::size_t>(argc - 1)), {{"--json", false}});
  if (!arguments) return usageError(toolName, arguments.error());
  if (arguments.value().version) return printVersion(toolName);
  if (arguments.value().help) {
    std::fputs(helpText, stdout);
    return exitSuccess;
  }
  if (!arguments.value().positional.empty()) {
    return usageError(toolName, "unexpected argument '" + arguments.value().positional.front() + "'");
  }
  const Keel::AnyValue tree = factsTree(Keel::System::facts(), currentDistribution());
  std::string output;
  if (arguments.value().flags.contains("--json")) {
    auto json = Keel::JSON::write(tree);
    if (!json) return failure(toolName, "cannot write the facts as JSON: " + json.error().text());
    output = json.value() + "\n";
  } else {
    output = factsText(tree);
  }
  if (std::fwrite(output.data(), 1, output.size(), stdout) != output.size() || std::fflush(stdout) != 0) {
    return failure(toolName, "cannot write to standard output");
  }
  return exitSuccess;
}
