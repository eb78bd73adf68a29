#include "tools/command_line.h"

#include <cstdio>

namespace Vantor::Tools {

Keel::Result<ParsedArguments> parseArguments(std::span<const char* const> arguments,
                                             const std::vector<KnownOption>& options) {
  ParsedArguments parsed;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string argument = arguments[i];
    if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
      parsed.positional.push_back(argument);
      continue;
    }
    if (argument == "--") {
      optionsEnded = true;
      continue;
    }
    if (argument == "-h" || argument == "--help") {
      parsed.help = true;
      continue;
    }
    if (argument == "--version") {
      parsed.version = true;
      continue;
    }
    const auto equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const KnownOption* known = nullptr;
    for (const auto& option : options) {
      if (option.name == name) known = &option;
    }
    if (known == nullptr) return Keel::failure("unknown option '" + name + "'");
    if (!known->takesValue) {
      if (equals != std::string::npos) return Keel::failure(name + " takes no value");
      parsed.flags.insert(name);
    } else if (equals != std::string::npos) {
      parsed.values[name] = argument.substr(equals + 1);
    } else if (i + 1 < arguments.size()) {
      parsed.values[name] = arguments[++i];
    } else {
      return Keel::failure(name + " needs a value");
    }
  }
  return parsed;
}

int printVersion(const char* tool) {
  if (std::printf("%s (Vantor) %s\n", tool, VANTOR_VERSION) < 0 || std::fflush(stdout) != 0) {
    return failure(tool, "cannot write to standard output");
  }
  return exitSuccess;
}

int usageError(const char* tool, const std::string& message) {
  std::fprintf(stderr, "%s: %s (see %s --help)\n", tool, message.c_str(), tool);
  return exitUsage;
}

int failure(const char* tool, const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", tool, message.c_str());
  return exitFailure;
}

}  // namespace Vantor::Tools
