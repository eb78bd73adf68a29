// UTF-8 checks for texts that leave the process in formats requiring it
// (JSON, desktop entries).
#pragma once

#include <string>
#include <string_view>

namespace Vantor::Tools {

// True when `text` is well-formed UTF-8 (no overlong forms, surrogates or
// code points past U+10FFFF).
[[nodiscard]] bool isValidUtf8(std::string_view text);

// `text` with each byte that starts no well-formed sequence replaced by
// U+FFFD, so that a stray byte from firmware cannot spoil a whole document.
[[nodiscard]] std::string replacingInvalidUtf8(std::string_view text);

}  // namespace Vantor::Tools
