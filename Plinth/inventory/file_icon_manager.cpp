#include "Plinth/inventory/file_icon_manager.h"

#include <string_view>
#include <utility>

#include "Plinth/inventory/file_walk.h"
#include "Plinth/inventory/workspace_icons.h"

namespace Plinth {
namespace {

class SystemIconPlatform final : public IconPlatform {
 public:
  [[nodiscard]] std::optional<Image> workspaceIcon(const std::string& path) const override {
    return WorkspaceIcons::shared().iconForFile(path);
  }
  [[nodiscard]] std::optional<std::vector<std::string>> enumerate(const std::string& folder) const override {
    std::vector<std::string> paths;
    const bool listed = walkFolder(folder, WalkOptions{}, [&](const WalkEntry& entry) {
      paths.push_back(entry.path);
      return WalkStep::proceed;
    });
    if (!listed) return std::nullopt;
    return paths;
  }
  [[nodiscard]] std::optional<Image> imageFromFile(const std::string& path) const override {
    return Image::fromFile(path);
  }
};

std::string lastComponent(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  const std::size_t slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

}  // namespace

std::string removingAppExtensions(std::string name) {
  for (std::size_t at = name.find(".app"); at != std::string::npos; at = name.find(".app", at)) name.erase(at, 4);
  return name;
}

const IconPlatform& systemIconPlatform() {
  static const SystemIconPlatform platform;
  return platform;
}

FileIconManager::FileIconManager(const IconPlatform& platform, std::string systemApplicationsRoot,
                                 std::string applicationsRoot)
    : platform_(platform),
      systemApplicationsRoot_(std::move(systemApplicationsRoot)),
      applicationsRoot_(std::move(applicationsRoot)) {}

FileIconManager& FileIconManager::shared() {
  static FileIconManager manager(systemIconPlatform());
  return manager;
}

std::optional<Image> FileIconManager::icon(const Keel::URL& url) {
  const std::string path = url.path();
  if (url.lastPathComponent().ends_with(".app")) return platform_.workspaceIcon(path);
  std::size_t start = 0;
  while (start < path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    const std::string_view component(path.data() + start, end - start);
    if (component.ends_with(".app")) return icon(removingAppExtensions(std::string(component)));
    start = end + 1;
  }
  return std::nullopt;
}

std::optional<Image> FileIconManager::icon(const std::string& applicationName) {
  if (auto cached = cachedIcon(applicationName)) return cached;
  std::optional<Image> found;
  if (auto file = iconFileIn(systemApplicationsRoot_ + "/" + applicationName + ".app/Contents/Resources")) {
    found = platform_.imageFromFile(*file);
  } else if (auto literal = iconFileIn(applicationsRoot_ + "/%@.app/Contents/Resources/")) {
    found = platform_.workspaceIcon(*literal);
  } else {
    found = platform_.workspaceIcon(applicationsRoot_ + "/" + applicationName + ".app");
  }
  if (found) setCachedIcon(applicationName, *found);
  return found;
}

std::optional<std::string> FileIconManager::iconFileIn(const std::string& folder) const {
  auto items = platform_.enumerate(folder);
  if (!items) return std::nullopt;
  for (const std::string& item : *items) {
    if (lastComponent(item).ends_with(".icns")) return item;
  }
  return std::nullopt;
}

std::optional<Image> FileIconManager::cachedIcon(const std::string& applicationName) const {
  const std::lock_guard lock(mutex_);
  const auto it = cache_.find(applicationName);
  if (it == cache_.end()) return std::nullopt;
  return it->second;
}

void FileIconManager::setCachedIcon(const std::string& applicationName, Image image) {
  const std::lock_guard lock(mutex_);
  cache_.insert_or_assign(applicationName, std::move(image));
}

}  // namespace Plinth
