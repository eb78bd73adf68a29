#include "testing/bundle_builder.h"

#include <fstream>
#include <stdexcept>

#include "testing/plist_bytes.h"

namespace Vantor::Testing {

std::string infoPlist(const std::map<std::string, std::string>& entries, bool binary) {
  plist_t dict = plist_new_dict();
  for (const auto& [key, value] : entries) plist_dict_set_item(dict, key.c_str(), plist_new_string(value.c_str()));
  return plistBytes(dict, binary);
}

std::filesystem::path makeBundle(const BundleDescription& bundle) {
  namespace fs = std::filesystem;
  const fs::path macos = bundle.path / "Contents" / "MacOS";
  fs::create_directories(macos);
  const fs::path executable = macos / bundle.executable.filename();
  fs::copy_file(bundle.executable, executable, fs::copy_options::overwrite_existing);
  fs::permissions(executable, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                  fs::perms::others_read | fs::perms::others_exec);
  std::map<std::string, std::string> entries = bundle.extraInfo;
  entries["CFBundleIdentifier"] = bundle.identifier;
  entries["CFBundleExecutable"] = bundle.executable.filename().string();
  std::ofstream info(bundle.path / "Contents" / "Info.plist", std::ios::binary);
  info << infoPlist(entries, bundle.binaryPlist);
  if (!info) throw std::runtime_error("cannot write Info.plist in " + bundle.path.string());
  return executable;
}

}  // namespace Vantor::Testing
