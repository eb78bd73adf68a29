// Command-line parsing shared by the tools: long options with or without a
// value, "--" to end options, "-" as an ordinary argument, --help and
// --version.
#pragma once

#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "Keel/core/result.h"

namespace Vantor::Tools {

// Exit statuses every tool uses.
inline constexpr int exitSuccess = 0;
inline constexpr int exitFailure = 1;
inline constexpr int exitUsage = 2;

struct KnownOption {
  std::string name;         // with its dashes, such as "--to"
  bool takesValue = false;  // "--to json" or "--to=json"
};

struct ParsedArguments {
  std::vector<std::string> positional;
  std::map<std::string, std::string> values;  // options that take a value; the last one given wins
  std::set<std::string> flags;                // options without a value
  bool help = false;                          // -h or --help anywhere before "--"
  bool version = false;                       // --version anywhere before "--"
};

// Parses the arguments after the program name. Fails, with a reason fit for
// a usage error, on an unknown option, a missing value, or a value given to
// a flag.
[[nodiscard]] Keel::Result<ParsedArguments> parseArguments(std::span<const char* const> arguments,
                                                           const std::vector<KnownOption>& options);

// Prints "<tool> (Vantor) <version>" on stdout, the first line help2man and
// scripts read, and returns the success status (the failure status when
// stdout cannot be written).
int printVersion(const char* tool);

// Prints "<tool>: <message> (see <tool> --help)" on stderr and returns the
// usage status.
int usageError(const char* tool, const std::string& message);

// Prints "<tool>: <message>" on stderr and returns the failure status.
int failure(const char* tool, const std::string& message);

}  // namespace Vantor::Tools
