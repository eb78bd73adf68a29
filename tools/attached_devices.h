// The Apple devices attached to this computer, as usbmuxd lists them, each
// with the model identifier it reports (lockdown's ProductType).
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "Keel/core/result.h"

namespace Vantor::Tools {

struct AttachedDevice {
  std::string udid;
  bool overNetwork = false;                // attached over Wi-Fi rather than USB
  std::optional<std::string> productType;  // absent when the device did not tell it
};

struct AttachedDevices {
  bool reachedUsbmuxd = false;  // false: no usbmuxd answered (none running), so no list
  std::vector<AttachedDevice> devices;
};

// Asks usbmuxd (its socket, or $USBMUXD_SOCKET_ADDRESS) for the attached
// devices and each device for its ProductType. usbmuxd must answer within
// `listDeadline`, each device within `deviceDeadline`; otherwise the outcome
// fails naming what did not answer. A ProductType that is not printable ASCII
// of at most 64 bytes counts as not told.
[[nodiscard]] Keel::Result<AttachedDevices> attachedDevices(std::chrono::milliseconds listDeadline,
                                                            std::chrono::milliseconds deviceDeadline);

}  // namespace Vantor::Tools
