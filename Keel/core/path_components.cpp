#include "Keel/core/path_components.h"

namespace Keel {

std::vector<std::string> pathComponents(std::string_view path) {
  std::vector<std::string> components;
  if (!path.empty() && path.front() == '/') components.emplace_back("/");
  std::size_t start = 0;
  while (start < path.size()) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    if (end > start) components.emplace_back(path.substr(start, end - start));
    start = end + 1;
  }
  return components;
}

std::string pathWithComponents(const std::vector<std::string>& components) {
  std::string path;
  for (const std::string& component : components) {
    if (component == "/") {
      if (path.empty()) path = "/";
      continue;
    }
    if (!path.empty() && path.back() != '/') path += '/';
    path += component;
  }
  return path;
}

}  // namespace Keel
