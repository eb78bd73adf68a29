// Icons of applications and of files inside application bundles, preferring
// an application's own icon file over the generic icon the desktop gives.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Keel/core/url.h"
#include "Plinth/desktop/image.h"

namespace Plinth {

// What the icon searches need of the platform.
class IconPlatform {
 public:
  virtual ~IconPlatform() = default;
  // The desktop's icon for the item at `path`.
  [[nodiscard]] virtual std::optional<Image> workspaceIcon(const std::string& path) const = 0;
  // Everything below `folder`, recursively, as paths in the order the
  // enumeration yields them; absent when the folder cannot be enumerated.
  [[nodiscard]] virtual std::optional<std::vector<std::string>> enumerate(const std::string& folder) const = 0;
  // An image of the file's contents.
  [[nodiscard]] virtual std::optional<Image> imageFromFile(const std::string& path) const = 0;
};

// The real platform: WorkspaceIcons::shared(), the file walk, Image::fromFile.
[[nodiscard]] const IconPlatform& systemIconPlatform();

class FileIconManager {
 public:
  // The roots default to "/System/Applications" and "/Applications".
  explicit FileIconManager(const IconPlatform& platform, std::string systemApplicationsRoot = "/System/Applications",
                           std::string applicationsRoot = "/Applications");

  // The process's manager on the real platform and roots, made on first use.
  [[nodiscard]] static FileIconManager& shared();

  // An ".app" URL: the desktop's icon for its path. Otherwise the icon of
  // the application whose bundle the URL lies in (its first path component
  // ending in ".app", with every ".app" removed); absent outside any bundle.
  [[nodiscard]] std::optional<Image> icon(const Keel::URL& url);

  // In order: the cached icon; the first ".icns" file that the enumeration of
  // <system root>/<name>.app/Contents/Resources yields; one found under the
  // text "<root>/%@.app/Contents/Resources/" taken as it stands, placeholder
  // and all (this finds nothing unless a folder really has that name, and is
  // kept as the step callers have always had); the desktop's icon for
  // <root>/<name>.app. A found icon is cached under the name.
  [[nodiscard]] std::optional<Image> icon(const std::string& applicationName);

  // The cache: name -> icon. Safe from any thread.
  [[nodiscard]] std::optional<Image> cachedIcon(const std::string& applicationName) const;
  void setCachedIcon(const std::string& applicationName, Image image);

 private:
  [[nodiscard]] std::optional<std::string> iconFileIn(const std::string& folder) const;

  const IconPlatform& platform_;
  std::string systemApplicationsRoot_;
  std::string applicationsRoot_;
  mutable std::mutex mutex_;
  std::map<std::string, Image> cache_;
};

// Every occurrence of ".app" removed (case-sensitive).
[[nodiscard]] std::string removingAppExtensions(std::string name);

}  // namespace Plinth
