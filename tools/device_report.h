// What vantor-devices prints: catalog models and attached devices as text
// for people or as JSON trees.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Keel/core/any_value.h"
#include "Plinth/devices/device_catalog.h"
#include "tools/attached_devices.h"

namespace Vantor::Tools {

// Every field of the model under its own name (identifier, modelName,
// shortName, kind, iconFile, desktopIconName) and desktopIconFile, the
// theme's file for it or null.
[[nodiscard]] Keel::AnyValue modelTree(const Plinth::DeviceModel& model,
                                       const std::optional<std::string>& desktopIconFile);

// The same fields as "name  value" lines, values aligned; "-" for no file.
[[nodiscard]] std::string modelText(const Plinth::DeviceModel& model,
                                    const std::optional<std::string>& desktopIconFile);

// Each device as udid, connection ("usb" or "network"), productType (null
// when not told) and model (the catalog's record without desktopIconFile,
// null when the catalog has none).
[[nodiscard]] Keel::AnyValue attachedTree(const std::vector<AttachedDevice>& devices);

// One row per device: UDID, CONNECTION, IDENTIFIER, MODEL, aligned; "-" for
// what is absent.
[[nodiscard]] std::string attachedTable(const std::vector<AttachedDevice>& devices);

}  // namespace Vantor::Tools
