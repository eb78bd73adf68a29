// Application bundles on disk for tests and the demo.
#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace Vantor::Testing {

struct BundleDescription {
  std::filesystem::path path = {};                    // the Name.app folder to create
  std::string identifier = {};                        // CFBundleIdentifier
  std::filesystem::path executable = {};              // copied (not linked) into Contents/MacOS
  std::map<std::string, std::string> extraInfo = {};  // further text keys of Info.plist
  bool binaryPlist = false;                           // write Info.plist in the binary format
};

// Creates the bundle: Contents/Info.plist (CFBundleIdentifier,
// CFBundleExecutable and the extra keys) and the executable under
// Contents/MacOS with the executable's own file name. Returns the path of the
// copied executable. Throws on I/O failure.
std::filesystem::path makeBundle(const BundleDescription& bundle);

// The Info.plist bytes for `entries` (all text values).
std::string infoPlist(const std::map<std::string, std::string>& entries, bool binary);

}  // namespace Vantor::Testing
