// The one way the libraries stop the process on a programming error or an
// impossible state.
#pragma once

#include <string_view>

namespace Keel {

// Writes `message` and a newline to standard error, then aborts. Never returns.
// Use only for states that no caller can recover from (the library's documented
// fatal conditions); everything else reports an absent result.
[[noreturn]] void fatalError(std::string_view message) noexcept;

}  // namespace Keel
