// Bookmark data comes from a user-defaults file that anything may have
// written: reading it must never crash or read outside the bytes, and what it
// accepts must write back to the same bytes.
#include "Plinth/permissions/bookmark.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  const auto decoded = Plinth::decodeBookmark(bytes);
  if (!decoded && decoded.error().empty()) std::abort();
  if (decoded) {
    const auto written = Plinth::encodeBookmark(*decoded);
    if (!written || !std::equal(written->begin(), written->end(), bytes.begin(), bytes.end())) std::abort();
  }
  return 0;
}
