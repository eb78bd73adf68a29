// The desktop's icons on Linux: GIO's content types and their themed icon
// names, resolved to files through the freedesktop icon themes.
#pragma once

#include "Plinth/inventory/workspace_icons.h"

namespace Plinth {

class ThemeWorkspaceIcons final : public WorkspaceIcons {
 public:
  explicit ThemeWorkspaceIcons(IconThemeFolders folders) : folders_(std::move(folders)) {}

  // A bundle folder (a name ending in ".app") gives the icon file its
  // Info.plist names under CFBundleIconFile, in Contents/Resources (".icns"
  // added when the name has no extension). Anything else, and a bundle
  // without one, gives the theme's icon for the item's content type: sniffed
  // by GIO for an existing item, guessed from the name for a missing one
  // (a missing ".app" gets the generic executable icon).
  [[nodiscard]] std::optional<Image> iconForFile(const std::string& path) const override;
  [[nodiscard]] std::optional<Image> iconForExtension(const std::string& extension) const override;

  // The theme icon for a content type's icon names, then its generic name.
  [[nodiscard]] std::optional<Image> iconForContentType(const std::string& contentType) const;

 private:
  IconThemeFolders folders_;
};

}  // namespace Plinth
