#include "Plinth/devices/device_catalog.h"

#include <algorithm>

#include "Plinth/inventory/workspace_icons.h"

namespace Plinth {

std::string_view kindName(DeviceKind kind) {
  switch (kind) {
    case DeviceKind::phone:
      return "phone";
    case DeviceKind::tablet:
      return "tablet";
    case DeviceKind::mediaPlayer:
      return "mediaPlayer";
    case DeviceKind::watch:
      return "watch";
    case DeviceKind::audio:
      return "audio";
    case DeviceKind::tv:
      return "tv";
  }
  return "";
}

std::optional<DeviceModel> DeviceCatalog::model(std::string_view identifier) {
  // Two hundred short comparisons, most ending at the length: cheaper than
  // building and keeping an index for the few look-ups a program makes.
  const auto all = models();
  const auto found =
      std::find_if(all.begin(), all.end(), [identifier](const DeviceModel& m) { return m.identifier == identifier; });
  if (found == all.end()) return std::nullopt;
  return *found;
}

std::vector<std::string> DeviceCatalog::desktopIconNames(const DeviceModel& model) {
  std::vector<std::string> names;
  std::string_view name = model.desktopIconName;
  while (!name.empty()) {
    names.emplace_back(name);
    names.push_back(std::string(name) + "-symbolic");
    const std::size_t dash = name.rfind('-');
    name = dash == std::string_view::npos ? std::string_view() : name.substr(0, dash);
  }
  return names;
}

std::optional<std::string> DeviceCatalog::desktopIconFile(const DeviceModel& model, const IconThemeFolders& theme) {
  return theme.iconFile(desktopIconNames(model));
}

}  // namespace Plinth
