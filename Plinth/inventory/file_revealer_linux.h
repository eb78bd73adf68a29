// Revealing items through the session's file manager:
//   bus:          the session bus of the address policy
//                 (Keel/core/message_bus_linux.h), or the address given
//   destination:  org.freedesktop.FileManager1
//   path:         /org/freedesktop/FileManager1
//   call:         org.freedesktop.FileManager1.ShowItems(as uris, s startup id)
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "Plinth/inventory/file_revealer.h"

namespace Plinth {

class BusFileRevealer final : public FileRevealer {
 public:
  // Connecting and the call together take at most `timeout`; a session
  // without a bus, or a bus without a file manager, is an error result.
  explicit BusFileRevealer(std::optional<std::string> address = std::nullopt,
                           std::chrono::milliseconds timeout = std::chrono::milliseconds(3000))
      : address_(std::move(address)), timeout_(timeout) {}

  [[nodiscard]] Keel::Result<void> showItems(const std::vector<Keel::URL>& items) const override;

 private:
  std::optional<std::string> address_;
  std::chrono::milliseconds timeout_;
};

}  // namespace Plinth
