// The one failure of a Result: reading the side it does not hold.
#include "Keel/core/result.h"

#include "Keel/core/fatal_error.h"

namespace Keel::detail {

void badResultAccess(bool wantedValue) {
  fatalError(wantedValue ? "Result: value read from a failed result" : "Result: error read from a successful result");
}

}  // namespace Keel::detail
