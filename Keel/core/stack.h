// A plain holder of an array of elements, used as a stack by its callers.
#pragma once

#include <utility>
#include <vector>

namespace Keel {

// Holds `array` and nothing else; callers push and pop on it themselves.
// Not synchronised: confine it to one thread or wrap it in a ThreadedObject.
template <typename Element>
class Stack {
 public:
  Stack() = default;
  explicit Stack(std::vector<Element> elements) : array(std::move(elements)) {}

  std::vector<Element> array;
};

}  // namespace Keel
