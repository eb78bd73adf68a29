// UTF-8 checks for texts that arrive as bytes (command output, firmware
// files) or leave the process in formats requiring it (JSON, desktop entries).
#pragma once

#include <string>
#include <string_view>

namespace Keel {

// True when `text` is well-formed UTF-8 (no overlong forms, surrogates or
// code points past U+10FFFF). NUL is a character like any other.
[[nodiscard]] bool isValidUtf8(std::string_view text);

// `text` with each byte that starts no well-formed sequence replaced by
// U+FFFD, so that a stray byte from firmware cannot spoil a whole document.
[[nodiscard]] std::string replacingInvalidUtf8(std::string_view text);

}  // namespace Keel
