#include "Plinth/inventory/workspace_icons_linux.h"

#include <gio/gio.h>
#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "Keel/core/bundle.h"

namespace Plinth {
namespace {

template <typename T>
struct GUnref {
  void operator()(T* object) const { g_object_unref(object); }
};
template <typename T>
using GRef = std::unique_ptr<T, GUnref<T>>;

struct GFreeString {
  void operator()(gchar* text) const { g_free(text); }
};
using GString = std::unique_ptr<gchar, GFreeString>;

std::vector<std::string> themedNames(GIcon* icon) {
  std::vector<std::string> names;
  if (icon != nullptr && G_IS_THEMED_ICON(icon)) {
    const gchar* const* list = g_themed_icon_get_names(G_THEMED_ICON(icon));
    for (; list != nullptr && *list != nullptr; ++list) names.emplace_back(*list);
  }
  return names;
}

std::optional<Image> bundleOwnIcon(const std::string& path) {
  auto iconName = Keel::Bundle(path).infoString("CFBundleIconFile");
  if (!iconName || iconName->empty() || iconName->find('/') != std::string::npos || *iconName == "..") {
    return std::nullopt;
  }
  std::string file = path + "/Contents/Resources/" + *iconName;
  if (iconName->find('.') == std::string::npos) file += ".icns";
  return Image::fromFile(file);
}

bool endsWith(const std::string& text, std::string_view suffix) { return text.ends_with(suffix); }

}  // namespace

const WorkspaceIcons& WorkspaceIcons::shared() {
  static const ThemeWorkspaceIcons icons(IconThemeFolders::forCurrentUser());
  return icons;
}

std::optional<Image> ThemeWorkspaceIcons::iconForContentType(const std::string& contentType) const {
  GRef<GIcon> icon(g_content_type_get_icon(contentType.c_str()));
  std::vector<std::string> names = themedNames(icon.get());
  if (GString genericName{g_content_type_get_generic_icon_name(contentType.c_str())}) {
    names.emplace_back(genericName.get());
  }
  auto file = folders_.iconFile(names);
  if (!file) return std::nullopt;
  return Image::fromFile(*file);
}

std::optional<Image> ThemeWorkspaceIcons::iconForFile(const std::string& path) const {
  struct stat status {};
  const bool exists = ::lstat(path.c_str(), &status) == 0;
  const bool isBundleName = endsWith(path, ".app") || endsWith(path, ".app/");
  if (exists && S_ISDIR(status.st_mode) && isBundleName) {
    if (auto own = bundleOwnIcon(path)) return own;
    return iconForContentType("application/x-executable");
  }
  if (!exists) {
    if (isBundleName) return iconForContentType("application/x-executable");
    gboolean uncertain = FALSE;
    GString type{g_content_type_guess(path.c_str(), nullptr, 0, &uncertain)};
    return type ? iconForContentType(type.get()) : std::nullopt;
  }
  GRef<GFile> file(g_file_new_for_path(path.c_str()));
  GRef<GFileInfo> info(g_file_query_info(file.get(), G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                         G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr, nullptr));
  if (!info) return std::nullopt;
  const char* type = g_file_info_get_content_type(info.get());
  return type != nullptr ? iconForContentType(type) : std::nullopt;
}

std::optional<Image> ThemeWorkspaceIcons::iconForExtension(const std::string& extension) const {
  // A name with the extension is all GIO needs to guess the type from.
  const std::string name = extension.empty() ? std::string("file") : "file." + extension;
  gboolean uncertain = FALSE;
  GString type{g_content_type_guess(name.c_str(), nullptr, 0, &uncertain)};
  if (!type) return std::nullopt;
  return iconForContentType(type.get());
}

}  // namespace Plinth
