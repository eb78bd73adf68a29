// Choosing the most recently modified file from a list.
#include "Keel/core/newest_file.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace Keel {

std::optional<std::filesystem::file_time_type> contentModificationTime(const std::filesystem::path& path) {
  std::error_code error;
  const auto time = std::filesystem::last_write_time(path, error);
  if (error) return std::nullopt;
  return time;
}

std::optional<std::filesystem::path> newestFile(const std::vector<std::filesystem::path>& paths,
                                                const ModificationTimeReader& readTime) {
  using Time = std::filesystem::file_time_type;
  std::vector<std::pair<const std::filesystem::path*, Time>> dated;
  dated.reserve(paths.size());
  for (const auto& path : paths) dated.emplace_back(&path, readTime(path).value_or(Time::min()));
  // Stable, so that equal times keep the list's order and the earlier entry
  // wins a tie.
  std::stable_sort(dated.begin(), dated.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
  if (dated.empty()) return std::nullopt;
  return *dated.front().first;
}

std::optional<std::filesystem::path> newestFile(const std::vector<std::filesystem::path>& paths) {
  return newestFile(paths, contentModificationTime);
}

}  // namespace Keel
