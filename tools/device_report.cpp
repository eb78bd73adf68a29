#include "tools/device_report.h"

#include <algorithm>
#include <array>

#include "Keel/core/utf8.h"

namespace Vantor::Tools {
namespace {

Keel::AnyValue::Dictionary modelFields(const Plinth::DeviceModel& model) {
  return {
      {"identifier", std::string(model.identifier)}, {"modelName", std::string(model.modelName)},
      {"shortName", std::string(model.shortName)},   {"kind", std::string(Plinth::kindName(model.kind))},
      {"iconFile", std::string(model.iconFile)},     {"desktopIconName", std::string(model.desktopIconName)},
  };
}

}  // namespace

Keel::AnyValue modelTree(const Plinth::DeviceModel& model, const std::optional<std::string>& desktopIconFile) {
  Keel::AnyValue::Dictionary fields = modelFields(model);
  // Data folders are paths, which need not be UTF-8; JSON must be.
  fields.insertOrAssign("desktopIconFile",
                        desktopIconFile ? Keel::AnyValue(Keel::replacingInvalidUtf8(*desktopIconFile)) : nullptr);
  return fields;
}

std::string modelText(const Plinth::DeviceModel& model, const std::optional<std::string>& desktopIconFile) {
  const std::array<std::pair<std::string_view, std::string_view>, 7> lines = {{
      {"identifier", model.identifier},
      {"modelName", model.modelName},
      {"shortName", model.shortName},
      {"kind", Plinth::kindName(model.kind)},
      {"iconFile", model.iconFile},
      {"desktopIconName", model.desktopIconName},
      {"desktopIconFile", desktopIconFile ? std::string_view(*desktopIconFile) : "-"},
  }};
  std::string out;
  for (const auto& [name, value] : lines) {
    out.append(name).append(std::string_view("desktopIconName").size() + 2 - name.size(), ' ');
    out.append(value).append("\n");
  }
  return out;
}

Keel::AnyValue attachedTree(const std::vector<AttachedDevice>& devices) {
  Keel::AnyValue::Array records;
  for (const AttachedDevice& device : devices) {
    const auto model = device.productType ? Plinth::DeviceCatalog::model(*device.productType) : std::nullopt;
    records.emplace_back(Keel::AnyValue::Dictionary{
        {"udid", device.udid},
        {"connection", device.overNetwork ? "network" : "usb"},
        {"productType", device.productType ? Keel::AnyValue(*device.productType) : nullptr},
        {"model", model ? Keel::AnyValue(modelFields(*model)) : nullptr},
    });
  }
  return records;
}

std::string attachedTable(const std::vector<AttachedDevice>& devices) {
  std::vector<std::array<std::string, 4>> rows{{"UDID", "CONNECTION", "IDENTIFIER", "MODEL"}};
  for (const AttachedDevice& device : devices) {
    const auto model = device.productType ? Plinth::DeviceCatalog::model(*device.productType) : std::nullopt;
    rows.push_back({device.udid, device.overNetwork ? "network" : "usb", device.productType.value_or("-"),
                    model ? std::string(model->modelName) : "-"});
  }
  std::array<std::size_t, 4> widths{};
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string out;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      out += row[i];
      if (i + 1 < row.size()) out.append(widths[i] - row[i].size() + 2, ' ');
    }
    out += "\n";
  }
  return out;
}

}  // namespace Vantor::Tools
