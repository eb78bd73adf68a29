#include "Plinth/desktop/utf8.h"

#include <cstddef>

namespace Plinth {

bool isValidUtf8(std::string_view bytes) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const auto* end = p + bytes.size();
  while (p < end) {
    const unsigned lead = *p;
    if (lead < 0x80) {
      ++p;
      continue;
    }
    std::size_t length = 0;
    unsigned low = 0x80;   // the range of the second byte, narrowed where the
    unsigned high = 0xBF;  // lead alone would allow overlongs or surrogates
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      return false;
    }
    if (static_cast<std::size_t>(end - p) < length) return false;
    if (p[1] < low || p[1] > high) return false;
    for (std::size_t i = 2; i < length; ++i) {
      if ((p[i] & 0xC0U) != 0x80U) return false;
    }
    p += length;
  }
  return true;
}

}  // namespace Plinth
