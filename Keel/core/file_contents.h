// Whole-file reads for the small files the libraries consult (property lists,
// /proc and /sys entries).
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Keel {

// The file's bytes, or nothing when it is missing, unreadable or not a regular
// readable file. Files that report a size of 0 (procfs, sysfs) are read to
// their end. Never throws.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path);

// The same, as text (bytes kept as they are).
[[nodiscard]] std::optional<std::string> readFileText(const std::filesystem::path& path);

}  // namespace Keel
