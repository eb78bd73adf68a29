// A second process for the folder-permission tests: grants or checks a folder
// through the standard user defaults of this program, as an application does
// across two launches.
//   folder_grant store PATH   grant PATH; exit 0 when access started
//   folder_grant check PATH   restore; print the restored paths one a line;
//                             exit 0 when PATH's folder is among them
#include <cstdio>
#include <string>

#include "Keel/services/user_defaults.h"
#include "Plinth/permissions/folder_permissions.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::string mode = argv[1];
  const auto url = Keel::URL::fileURL(argv[2], true);
  Plinth::FolderPermissions permissions(Keel::UserDefaults::standard());
  if (mode == "store") permissions.store(url);
  for (const auto& path : permissions.keys()) std::printf("%s\n", path.c_str());
  Keel::UserDefaults::standard().synchronize();
  return permissions.hasAccess(url) ? 0 : 1;
}
