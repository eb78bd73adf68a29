// Folder bookmarks: data that names a folder so that it can be found again
// later, in another process, and checked to be the same folder.
//
// Format (version 1), every integer little-endian:
//
//   offset  size  field
//   0       4     magic "VFBM" (0x56 0x46 0x42 0x4D)
//   4       2     format version, 1
//   6       8     device number of the folder (st_dev)
//   14      8     inode number of the folder (st_ino)
//   22      4     length N of the path in bytes, 1 to 4095
//   26      N     the folder's absolute path: starts with "/", no NUL byte
//
// Nothing may follow the path. The device and inode tell a folder that was
// replaced by another of the same name (the bookmark is stale) from the folder
// itself. A reader refuses any other version rather than guessing at it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "Keel/core/any_value.h"
#include "Keel/core/result.h"

namespace Plinth {

struct BookmarkRecord {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::string path;
  friend bool operator==(const BookmarkRecord&, const BookmarkRecord&) = default;
};

inline constexpr std::uint16_t bookmarkFormatVersion = 1;
inline constexpr std::size_t bookmarkHeaderSize = 26;
inline constexpr std::size_t bookmarkMaxPathLength = 4095;

// The bookmark's bytes, or nothing when the path cannot be kept (empty,
// relative, holding NUL, or longer than bookmarkMaxPathLength bytes).
[[nodiscard]] std::optional<Keel::Data> encodeBookmark(const BookmarkRecord& record);

// The record some bytes hold, or why they are not a bookmark of this format.
// Reads bytes of any length and content; never reads outside them.
[[nodiscard]] Keel::Result<BookmarkRecord> decodeBookmark(std::span<const std::uint8_t> bytes);

}  // namespace Plinth
