// Memory for large byte buffers (the codecs' results and engine buffers, the
// JSON writer's text): hints for buffers about to be filled, and blocks of
// pages that grow without copying and are kept for the next large buffer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Keel::detail {

// Maps the whole pages inside [begin, begin + length) for writing now, in one
// request, instead of taking one page fault per page when each is first
// written. The contents do not change. Only a hint: where the system cannot
// do it, nothing happens.
void prefaultForWrite(void* begin, std::size_t length) noexcept;

// A block of whole pages. A large buffer that lives in one grows in place or
// is moved by the system, never copied byte by byte; a block given back is
// kept (up to two, of up to 128 MiB each), so that the next large buffer,
// often of the same size, reuses its pages instead of faulting in fresh
// zeroed ones.
struct LargeBlock {
  std::uint8_t* data = nullptr;
  std::size_t bytes = 0;
  std::size_t resident = 0;  // a prefix known to have its pages mapped
};

// At least `bytes` bytes (a kept block when one is large enough, with its
// resident prefix); contents unspecified. Null data when the system refuses.
[[nodiscard]] LargeBlock takeLargeBlock(std::size_t bytes) noexcept;
// `block` with room for at least `bytes`, the contents kept; null data (and
// `block` untouched) when the system refuses.
[[nodiscard]] LargeBlock growLargeBlock(LargeBlock block, std::size_t bytes) noexcept;
// Gives the block back, with the prefix its user mapped: kept for reuse, or
// unmapped.
void giveBackLargeBlock(LargeBlock block) noexcept;

}  // namespace Keel::detail
