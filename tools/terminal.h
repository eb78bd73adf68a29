// Whether a standard stream is a terminal, for output meant only for people
// watching (progress lines).
#pragma once

namespace Vantor::Tools {

[[nodiscard]] bool isTerminal(int fd);

}  // namespace Vantor::Tools
