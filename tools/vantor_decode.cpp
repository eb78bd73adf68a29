// vantor-decode: a JSON or property-list document as an indented value tree,
// or converted to the other format.
#include <cstdio>
#include <span>

#include "tools/command_line.h"
#include "tools/document.h"
#include "tools/tree_printer.h"

namespace {

constexpr const char* toolName = "vantor-decode";

constexpr const char* helpText =
    "Usage: vantor-decode [--to json|plist] FILE\n"
    "\n"
    "Decodes FILE (standard input when FILE is \"-\"), a JSON document or an XML or\n"
    "binary property list told apart by its first bytes, and prints its value tree\n"
    "with each value's kind, one value per line. Documents larger than 256 MiB are\n"
    "refused.\n"
    "\n"
    "Options:\n"
    "  --to json    print the document as compact JSON instead\n"
    "  --to plist   print the document as an XML property list instead\n"
    "  -h, --help   show this help\n"
    "  --version    print the version\n"
    "\n"
    "Exit status: 0 decoded, 1 unreadable or invalid input or no form in the\n"
    "target format, 2 usage error.\n";

bool writeOut(const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace Vantor::Tools;
  auto arguments =
      parseArguments(std::span<const char* const>(argv + 1, static_cast<std::size_t>(argc - 1)), {{"--to", true}});
  if (!arguments) return usageError(toolName, arguments.error());
  const ParsedArguments& parsed = arguments.value();
  if (parsed.version) return printVersion(toolName);
  if (parsed.help) {
    std::fputs(helpText, stdout);
    return exitSuccess;
  }
  if (parsed.positional.size() != 1) return usageError(toolName, "expected one FILE");
  std::optional<DocumentFormat> target;
  if (const auto to = parsed.values.find("--to"); to != parsed.values.end()) {
    if (to->second == "json") {
      target = DocumentFormat::json;
    } else if (to->second == "plist") {
      target = DocumentFormat::propertyList;
    } else {
      return usageError(toolName, "--to takes json or plist, not '" + to->second + "'");
    }
  }

  const std::string& file = parsed.positional.front();
  const auto fail = [&file](const std::string& reason) { return failure(toolName, file + ": " + reason); };
  auto bytes = file == "-" ? readDocumentStream(stdin) : readDocumentFile(file);
  if (!bytes) return fail(bytes.error());
  auto tree = parseDocument(bytes.value());
  if (!tree) return fail(tree.error());
  std::string output;
  if (target) {
    auto converted = convertTree(tree.value(), *target);
    if (!converted) return fail(converted.error());
    output = std::move(converted.value());
  } else {
    output = printTree(tree.value());
  }
  if (!writeOut(output)) return failure(toolName, "cannot write to standard output");
  return exitSuccess;
}
