// Showing items in the file viewer: the seam to the desktop's file manager.
#pragma once

#include <string>
#include <vector>

#include "Keel/core/url.h"

namespace Plinth {

struct RevealResult {
  bool shown = false;
  std::string error;  // why not, when not shown
};

class FileRevealer {
 public:
  virtual ~FileRevealer() = default;
  // Opens the parent folder of each item with the item selected.
  [[nodiscard]] virtual RevealResult showItems(const std::vector<Keel::URL>& items) const = 0;

  // The session's file manager (BusFileRevealer on Linux).
  [[nodiscard]] static const FileRevealer& shared();
};

}  // namespace Plinth
