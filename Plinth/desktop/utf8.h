// UTF-8 checks for texts that arrive as bytes (command output, firmware files).
#pragma once

#include <string_view>

namespace Plinth {

// True when `bytes` are well-formed UTF-8 (no overlong forms, surrogates or
// code points above U+10FFFF). NUL is a character like any other.
[[nodiscard]] bool isValidUtf8(std::string_view bytes);

}  // namespace Plinth
