// The current user's icon theme: the freedesktop themes of the XDG data
// folders, as the desktop's file icons use them.
#include "Plinth/devices/device_catalog.h"

#include "Plinth/inventory/workspace_icons.h"

namespace Plinth {

std::optional<std::string> DeviceCatalog::desktopIconFile(const DeviceModel& model) {
  // Themes are installed, not changed, while a program runs: one index.
  static const IconThemeFolders theme = IconThemeFolders::forCurrentUser();
  return desktopIconFile(model, theme);
}

}  // namespace Plinth
