// The system side of large tree arenas: reserving address space whose pages
// are only backed once written, and keeping one released block for the next
// large tree.
#pragma once

#include <cstddef>

namespace Keel::detail {

// At least `capacity` writable bytes; `mapped` receives the length to give
// back to releaseArenaPages. Null when the system refuses.
char* mapArenaPages(std::size_t capacity, std::size_t& mapped) noexcept;
// Gives back a block of which the first `touched` bytes were written.
void releaseArenaPages(char* begin, std::size_t mapped, std::size_t touched) noexcept;

}  // namespace Keel::detail
