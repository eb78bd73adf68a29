// Where the desktop's icons for files come from: the seam between the icon
// searches and the platform's content types and icon themes.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Plinth/desktop/image.h"

namespace Plinth {

class WorkspaceIcons {
 public:
  virtual ~WorkspaceIcons() = default;
  // The desktop's icon for the item at `path` (which need not exist).
  [[nodiscard]] virtual std::optional<Image> iconForFile(const std::string& path) const = 0;
  // The icon of the content type of files with this extension ("" for none).
  [[nodiscard]] virtual std::optional<Image> iconForExtension(const std::string& extension) const = 0;

  // The process's desktop icons (themeIcons() on Linux), made on first use.
  [[nodiscard]] static const WorkspaceIcons& shared();
};

// Icon files of a freedesktop icon theme, searched by icon name. Each data
// folder's icons/<theme> is searched for the theme, then for "hicolor", then
// each data folder's "pixmaps"; within a theme the scalable icons come first,
// then the largest sizes. The themes are read once, on the first search, into
// an index by name: themes are installed, not changed, while a program runs.
class IconThemeFolders {
 public:
  IconThemeFolders(std::vector<std::string> dataFolders, std::string themeName);
  // The data folders of the process: $XDG_DATA_HOME (or ~/.local/share), then
  // $XDG_DATA_DIRS (or /usr/local/share:/usr/share); theme "Adwaita".
  [[nodiscard]] static IconThemeFolders forCurrentUser();

  // The first file (.svg, .png or .xpm) for the first of `names` that has one.
  [[nodiscard]] std::optional<std::string> iconFile(const std::vector<std::string>& names) const;

 private:
  [[nodiscard]] const std::unordered_map<std::string, std::string>& index() const;

  std::vector<std::string> dataFolders_;
  std::string themeName_;
  struct Layout;
  std::shared_ptr<Layout> layout_;
};

}  // namespace Plinth
