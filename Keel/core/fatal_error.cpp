#include "Keel/core/fatal_error.h"

#include <cstdio>
#include <cstdlib>

namespace Keel {

void fatalError(std::string_view message) noexcept {
  std::fwrite(message.data(), 1, message.size(), stderr);
  std::fputc('\n', stderr);
  std::fflush(stderr);
  std::abort();
}

}  // namespace Keel
