#include "Keel/core/utf8.h"

#include <cstdint>

namespace Keel {
namespace {

// The length of the well-formed sequence at the start of `text`, or 0.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text.front());
  const std::size_t length = byte < 0x80                   ? 1
                             : byte >= 0xC2 && byte < 0xE0 ? 2
                             : byte >= 0xE0 && byte < 0xF0 ? 3
                             : byte >= 0xF0 && byte < 0xF5 ? 4
                                                           : 0;
  if (length == 0 || length > text.size()) return 0;
  std::uint32_t code = length == 1 ? byte : byte & (0x7Fu >> length);
  for (std::size_t k = 1; k < length; ++k) {
    const auto next = static_cast<unsigned char>(text[k]);
    if ((next & 0xC0) != 0x80) return 0;
    code = (code << 6) | (next & 0x3Fu);
  }
  static constexpr std::uint32_t smallestCodePoint[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < smallestCodePoint[length] || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF) return 0;
  return length;
}

}  // namespace

bool isValidUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string replacingInvalidUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      text.remove_prefix(1);
    } else {
      out += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return out;
}

}  // namespace Keel
