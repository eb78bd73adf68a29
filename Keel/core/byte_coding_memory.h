// A platform memory hint for large buffers about to be filled (the codecs'
// byte buffers, the JSON writer's text).
#pragma once

#include <cstddef>

namespace Keel::detail {

// Maps the whole pages inside [begin, begin + length) for writing now, in one
// request, instead of taking one page fault per page when each is first
// written. The contents do not change. Only a hint: where the system cannot
// do it, nothing happens.
void prefaultForWrite(void* begin, std::size_t length) noexcept;

}  // namespace Keel::detail
