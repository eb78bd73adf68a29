// Whole-file reads for the small files the libraries consult (property lists,
// /proc and /sys entries).
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Keel {

// The bytes of the regular file at `path` (readRegularFile below) when it
// holds at most maximumSystemFileBytes, which no file the libraries consult
// this way comes near; nothing when it is missing, unreadable, larger or not
// a regular file. Files that report a size of 0 (procfs, sysfs) are read to
// their end. Never throws, never waits on a FIFO or a device.
inline constexpr std::size_t maximumSystemFileBytes = std::size_t{4} << 20;
[[nodiscard]] std::optional<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path);

// The same, as text (bytes kept as they are).
[[nodiscard]] std::optional<std::string> readFileText(const std::filesystem::path& path);

// The bytes of the regular file at `path` when it holds at most `maxBytes`
// (less than SIZE_MAX); nothing when it is missing, unreadable, larger, or not
// a regular file. For files that other people control, such as the Info.plist
// of any bundle whose program runs on the machine:
// - Symbolic links are followed, but only a regular file at their end is ever
//   opened for reading. A FIFO, a device (/dev/zero, a terminal, a tape) or a
//   socket is refused without being opened, so the call never waits for a
//   writer and never triggers what opening a device does.
// - A file whose size is over the limit is refused without being read; one
//   that reports no size (procfs) or grows while read is read no further than
//   `maxBytes` + 1 bytes. Memory use is bounded the same way.
// So the call takes what reading at most `maxBytes` + 1 bytes of a local file
// takes; only a file system that itself stalls (a dead network mount) can
// hold it longer. Never throws.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> readRegularFile(const std::filesystem::path& path,
                                                                       std::size_t maxBytes);

}  // namespace Keel
