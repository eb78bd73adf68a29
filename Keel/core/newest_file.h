// Choosing the most recently modified file from a list.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace Keel {

// Reads a file's content-modification time; nothing when it cannot be read.
using ModificationTimeReader =
    std::function<std::optional<std::filesystem::file_time_type>(const std::filesystem::path&)>;

// The file system's content-modification time of `path` (following symbolic
// links, with the file system's full sub-second precision), or nothing when
// the file is missing or unreadable. Never throws.
[[nodiscard]] std::optional<std::filesystem::file_time_type> contentModificationTime(const std::filesystem::path& path);

// The entry of `paths` with the latest modification time as given by
// `readTime`; an entry whose time cannot be read counts as the earliest
// representable time. Among equal times the earliest entry in the list wins,
// so a list of which no file exists gives its first entry. Nothing only for an
// empty list. Never fails otherwise.
[[nodiscard]] std::optional<std::filesystem::path> newestFile(const std::vector<std::filesystem::path>& paths,
                                                              const ModificationTimeReader& readTime);

// The same, reading the times from the file system.
[[nodiscard]] std::optional<std::filesystem::path> newestFile(const std::vector<std::filesystem::path>& paths);

}  // namespace Keel
