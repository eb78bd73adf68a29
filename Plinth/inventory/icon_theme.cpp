#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "Plinth/inventory/workspace_icons.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 3> iconExtensions = {".svg", ".png", ".xpm"};

// The size folders of a theme, best first: scalable, then by size, largest
// first (a folder "48x48" or "48x48@2" sorts by its 48).
std::vector<fs::path> sizeFolders(const fs::path& theme) {
  std::vector<std::pair<long, fs::path>> found;
  std::error_code error;
  for (fs::directory_iterator it(theme, error), end; !error && it != end; it.increment(error)) {
    if (!it->is_directory(error)) continue;
    const std::string name = it->path().filename().string();
    long rank = 0;
    if (name == "scalable") {
      rank = 1L << 30;
    } else {
      rank = std::strtol(name.c_str(), nullptr, 10);
      if (rank <= 0) continue;
    }
    found.emplace_back(rank, it->path());
  }
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return a.first != b.first ? a.first > b.first : a.second < b.second; });
  std::vector<fs::path> folders;
  for (auto& entry : found) folders.push_back(std::move(entry.second));
  return folders;
}

// The folders of a theme that hold icon files, best first.
void appendThemeFolders(const fs::path& theme, std::vector<std::string>& folders) {
  std::error_code error;
  for (const fs::path& size : sizeFolders(theme)) {
    std::vector<fs::path> contexts;
    for (fs::directory_iterator it(size, error), end; !error && it != end; it.increment(error)) {
      if (it->is_directory(error)) contexts.push_back(it->path());
    }
    std::sort(contexts.begin(), contexts.end());
    for (const fs::path& context : contexts) folders.push_back(context.string());
  }
}

}  // namespace

struct IconThemeFolders::Layout {
  std::once_flag once;
  std::unordered_map<std::string, std::string> files;  // icon name -> best file
};

IconThemeFolders::IconThemeFolders(std::vector<std::string> dataFolders, std::string themeName)
    : dataFolders_(std::move(dataFolders)), themeName_(std::move(themeName)), layout_(std::make_shared<Layout>()) {}

const std::unordered_map<std::string, std::string>& IconThemeFolders::index() const {
  std::call_once(layout_->once, [this] {
    std::vector<std::string> folders;
    for (const std::string& theme : {themeName_, std::string("hicolor")}) {
      for (const std::string& data : dataFolders_) appendThemeFolders(fs::path(data) / "icons" / theme, folders);
    }
    for (const std::string& data : dataFolders_) folders.push_back((fs::path(data) / "pixmaps").string());
    // The first folder that has a name wins; within a folder, the first
    // extension of iconExtensions.
    for (const std::string& folder : folders) {
      std::vector<fs::path> files;
      std::error_code error;
      for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        files.push_back(it->path());
      }
      for (const std::string_view extension : iconExtensions) {
        for (const fs::path& file : files) {
          if (file.extension() != extension) continue;
          if (!fs::is_regular_file(file, error)) continue;
          layout_->files.try_emplace(file.stem().string(), file.string());
        }
      }
    }
  });
  return layout_->files;
}

IconThemeFolders IconThemeFolders::forCurrentUser() {
  std::vector<std::string> folders;
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  const char* home = std::getenv("HOME");
  if (dataHome != nullptr && *dataHome != '\0') {
    folders.emplace_back(dataHome);
  } else if (home != nullptr && *home != '\0') {
    folders.push_back(std::string(home) + "/.local/share");
  }
  const char* dataDirs = std::getenv("XDG_DATA_DIRS");
  const std::string_view dirs = dataDirs != nullptr && *dataDirs != '\0' ? dataDirs : "/usr/local/share:/usr/share";
  std::size_t start = 0;
  while (start <= dirs.size()) {
    std::size_t end = dirs.find(':', start);
    if (end == std::string_view::npos) end = dirs.size();
    if (end > start) folders.emplace_back(dirs.substr(start, end - start));
    start = end + 1;
  }
  return {std::move(folders), "Adwaita"};
}

std::optional<std::string> IconThemeFolders::iconFile(const std::vector<std::string>& names) const {
  for (const std::string& name : names) {
    if (name.empty() || name.find('/') != std::string::npos) continue;
    const auto& files = index();
    if (const auto it = files.find(name); it != files.end()) return it->second;
  }
  return std::nullopt;
}

}  // namespace Plinth
