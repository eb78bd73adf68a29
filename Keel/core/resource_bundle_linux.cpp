// Where resource bundles are looked for: the program's and the library's
// files, found through /proc/self/exe and the dynamic loader.
#include "Keel/core/resource_bundle.h"

#include <dlfcn.h>

#include <string>
#include <system_error>

#include "Keel/core/bundle.h"

#ifndef VANTOR_RESOURCES_FROM_BIN
#define VANTOR_RESOURCES_FROM_BIN "../share/vantor"
#endif
#ifndef VANTOR_RESOURCES_FROM_LIB
#define VANTOR_RESOURCES_FROM_LIB "../share/vantor"
#endif

namespace Keel {

namespace {

namespace fs = std::filesystem;

fs::path normal(const fs::path& path) { return path.lexically_normal(); }

}  // namespace

std::vector<fs::path> ResourceBundle::searchFolders(const void* codeAddress) {
  std::error_code error;
  const fs::path executable = fs::read_symlink("/proc/self/exe", error);
  fs::path programResources;
  fs::path programFolder;
  if (!error && !executable.empty()) {
    if (auto app = Bundle::bundlePathForExecutable(executable)) {
      programResources = *app / "Contents" / "Resources";
      programFolder = *app;
    } else {
      programResources = normal(executable.parent_path() / VANTOR_RESOURCES_FROM_BIN);
      programFolder = executable.parent_path();
    }
  }

  // The library's own file: a shared library keeps its resources relative to
  // its folder; linked statically, its code is the program's.
  fs::path libraryResources = programResources;
  Dl_info info{};
  if (codeAddress != nullptr && dladdr(codeAddress, &info) != 0 && info.dli_fname != nullptr) {
    const fs::path codeFile = fs::weakly_canonical(fs::path(info.dli_fname), error);
    if (!error && codeFile.filename().string().find(".so") != std::string::npos) {
      if (auto app = Bundle::bundlePathForExecutable(codeFile)) {
        libraryResources = *app / "Contents" / "Resources";
      } else {
        libraryResources = normal(codeFile.parent_path() / VANTOR_RESOURCES_FROM_LIB);
      }
    }
  }
  return {programResources, libraryResources, programFolder};
}

}  // namespace Keel
