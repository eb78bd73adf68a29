// The window that sheets (alerts, folder panels) attach to.
#pragma once

namespace Plinth {

// A window a sheet is attached to. Toolkit libraries derive their own
// (wrapping their window object); the portable logic only passes it on.
class Window {
 public:
  virtual ~Window() = default;
};

}  // namespace Plinth
