#include "tools/terminal.h"

#include <unistd.h>

namespace Vantor::Tools {

bool isTerminal(int fd) { return ::isatty(fd) == 1; }

}  // namespace Vantor::Tools
