// Showing items in the file viewer: the seam to the desktop's file manager.
#pragma once

#include <vector>

#include "Keel/core/result.h"
#include "Keel/core/url.h"

namespace Plinth {

class FileRevealer {
 public:
  virtual ~FileRevealer() = default;
  // Opens the parent folder of each item with the item selected, or says why not.
  [[nodiscard]] virtual Keel::Result<void> showItems(const std::vector<Keel::URL>& items) const = 0;

  // The session's file manager (BusFileRevealer on Linux).
  [[nodiscard]] static const FileRevealer& shared();
};

}  // namespace Plinth
