// The serial number on Linux: the firmware's own files, under replaceable
// roots so that tests read fake trees.
#pragma once

#include <cstddef>
#include <filesystem>

#include "Plinth/desktop/mac_system.h"

namespace Plinth {

// Reads the first of these that exists, which counts as the service that
// carries serial numbers:
//   <sysRoot>/class/dmi/id/product_serial            (PCs and Macs: SMBIOS)
//   <procRoot>/device-tree/serial-number             (device-tree machines)
//   <sysRoot>/firmware/devicetree/base/serial-number (the same, where /proc
//                                                      has no link to it)
// None exists: noService. It exists but cannot be read, is not a regular
// file, is larger than maxFileBytes, or holds a placeholder or no UTF-8 text
// (see firmwareSerialNumber): unusable, which gives an absent serial number.
// The kernel makes product_serial readable by root only, so on most PCs the
// serial number is absent for every other user. A file that exists always
// has contents, so this source never reports noProperty, and the process is
// never stopped for a firmware file.
class FirmwareSerialNumberSource final : public SerialNumberSource {
 public:
  struct Roots {
    std::filesystem::path sysRoot = "/sys";
    std::filesystem::path procRoot = "/proc";
  };
  // sysfs reports a page (4 or 64 KiB) as the size of every attribute.
  static constexpr std::size_t maxFileBytes = std::size_t{64} * 1024;

  FirmwareSerialNumberSource();  // the real roots
  explicit FirmwareSerialNumberSource(Roots roots) : roots_(std::move(roots)) {}
  [[nodiscard]] SerialNumberLookup lookUp() const override;

 private:
  Roots roots_;
};

}  // namespace Plinth
