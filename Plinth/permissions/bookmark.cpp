// The folder-bookmark format: see bookmark.h.
#include "Plinth/permissions/bookmark.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Plinth {
namespace {

constexpr std::array<std::uint8_t, 4> magic = {0x56, 0x46, 0x42, 0x4D};

bool keepablePath(std::string_view path) {
  return !path.empty() && path.size() <= bookmarkMaxPathLength && path.front() == '/' &&
         path.find('\0') == std::string_view::npos;
}

void appendLittleEndian(Keel::Data& out, std::uint64_t value, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

std::uint64_t readLittleEndian(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value |= static_cast<std::uint64_t>(bytes[offset + i]) << (8 * i);
  return value;
}

}  // namespace

std::optional<Keel::Data> encodeBookmark(const BookmarkRecord& record) {
  if (!keepablePath(record.path)) return std::nullopt;
  Keel::Data out(magic.begin(), magic.end());
  out.reserve(bookmarkHeaderSize + record.path.size());
  appendLittleEndian(out, bookmarkFormatVersion, 2);
  appendLittleEndian(out, record.device, 8);
  appendLittleEndian(out, record.inode, 8);
  appendLittleEndian(out, record.path.size(), 4);
  out.insert(out.end(), record.path.begin(), record.path.end());
  return out;
}

Keel::Result<BookmarkRecord> decodeBookmark(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < bookmarkHeaderSize || !std::equal(magic.begin(), magic.end(), bytes.begin())) {
    return Keel::failure("it does not start like a folder bookmark");
  }
  const auto version = readLittleEndian(bytes, 4, 2);
  if (version != bookmarkFormatVersion)
    return Keel::failure("its format version " + std::to_string(version) + " is unknown");
  const auto length = readLittleEndian(bytes, 22, 4);
  if (length != bytes.size() - bookmarkHeaderSize) return Keel::failure("its path length does not match its size");
  BookmarkRecord record{readLittleEndian(bytes, 6, 8), readLittleEndian(bytes, 14, 8),
                        std::string(bytes.begin() + bookmarkHeaderSize, bytes.end())};
  if (!keepablePath(record.path)) return Keel::failure("its path is not an absolute path");
  return record;
}

}  // namespace Plinth
