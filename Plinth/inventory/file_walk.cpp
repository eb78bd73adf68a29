#include "Plinth/inventory/file_walk.h"

#include <array>
#include <string_view>

namespace Plinth {

namespace {

// The folder extensions that bundles use. A listing shows such a folder as one
// item, as a file viewer does, and never enters it.
constexpr std::array<std::string_view, 12> packageExtensions = {".app",        ".appex",    ".bundle", ".framework",
                                                                ".plugin",     ".xpc",      ".kext",   ".qlgenerator",
                                                                ".mdimporter", ".prefPane", ".saver",  ".component"};

}  // namespace

bool isPackageName(std::string_view name) {
  for (const std::string_view extension : packageExtensions) {
    if (name.size() > extension.size() && name.ends_with(extension)) return true;
  }
  return false;
}

}  // namespace Plinth
