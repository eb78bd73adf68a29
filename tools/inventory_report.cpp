#include "tools/inventory_report.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "Keel/core/utf8.h"

namespace Vantor::Tools {
namespace {

std::string isoText(const Keel::Date& date) {
  const double seconds = std::floor(date.timeIntervalSince1970());
  if (!std::isfinite(seconds) || std::fabs(seconds) > 1e15) return {};
  const auto time = static_cast<std::time_t>(seconds);
  std::tm fields{};
  if (gmtime_r(&time, &fields) == nullptr) return {};
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &fields);
  return {text.data(), length};
}

Keel::AnyValue optionalText(const std::optional<std::string>& text) {
  return text ? Keel::AnyValue(Keel::replacingInvalidUtf8(*text)) : Keel::AnyValue(nullptr);
}

Keel::AnyValue optionalDate(const std::optional<Keel::Date>& date) {
  return date ? Keel::AnyValue(isoText(*date)) : Keel::AnyValue(nullptr);
}

Keel::AnyValue entryTree(const std::shared_ptr<Plinth::FileURL>& entry) {
  if (!entry) return nullptr;
  return Keel::TextDictionary{{"url", Keel::replacingInvalidUtf8(entry->url.absoluteString)},
                              {"size", entry->size},
                              {"name", Keel::replacingInvalidUtf8(entry->name)},
                              {"isSelected", entry->isSelected}};
}

std::size_t width(std::string_view text) {
  std::size_t count = 0;
  for (const char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80U) ++count;
  }
  return count;
}

}  // namespace

std::string humanSize(std::uint64_t bytes) {
  if (bytes == 1) return "1 byte";
  if (bytes < 1000) return std::to_string(bytes) + " bytes";
  static constexpr std::array<const char*, 6> unitNames = {"KB", "MB", "GB", "TB", "PB", "EB"};
  auto value = static_cast<double>(bytes) / 1000.0;
  std::size_t unit = 0;
  while (value >= 999.95 && unit + 1 < unitNames.size()) {
    value /= 1000.0;
    ++unit;
  }
  std::array<char, 32> text{};
  const int length = std::snprintf(text.data(), text.size(), "%.1f %s", value, unitNames[unit]);
  return {text.data(), static_cast<std::size_t>(length)};
}

Keel::AnyValue appTree(const Plinth::App& app) {
  Keel::AnyValue::Array caches;
  for (const auto& entry : app.caches) caches.push_back(entryTree(entry));
  Keel::AnyValue::Array contained;
  for (const auto& inner : app.containedApps) {
    if (inner) contained.push_back(appTree(*inner));
  }
  Keel::AnyValue icon = nullptr;
  if (app.icon) {
    icon = Keel::TextDictionary{{"bytes", static_cast<std::uint64_t>(app.icon->data().size())},
                                {"source", Keel::replacingInvalidUtf8(app.icon->sourcePath())}};
  }
  return Keel::TextDictionary{
      {"name", Keel::replacingInvalidUtf8(app.name)},
      {"identifier", Keel::replacingInvalidUtf8(app.identifier)},
      {"version", optionalText(app.version)},
      {"copyright", optionalText(app.copyright)},
      {"installed", optionalDate(app.installed)},
      {"lastOpened", optionalDate(app.lastOpened)},
      {"selected", app.selected},
      {"baseUrl", app.baseUrl ? Keel::AnyValue(Keel::replacingInvalidUtf8(app.baseUrl->absoluteString)) : nullptr},
      {"icon", std::move(icon)},
      {"binaryFile", entryTree(app.binaryFile)},
      {"container", entryTree(app.container)},
      {"preferences", entryTree(app.preferences)},
      {"savedState", entryTree(app.savedState)},
      {"caches", std::move(caches)},
      {"containedApps", std::move(contained)},
      {"selectedSize", app.selectedSize()},
      {"cachesSize", app.cachesSize()},
  };
}

std::string applicationsTable(const Plinth::AppList& apps) {
  std::vector<std::array<std::string, 5>> rows;
  rows.push_back({"NAME", "IDENTIFIER", "VERSION", "SIZE", "CONTAINED"});
  for (const auto& app : apps) {
    if (!app) continue;
    std::string contained;
    for (const auto& inner : app->containedApps) {
      if (!inner) continue;
      if (!contained.empty()) contained += ", ";
      contained += inner->name;
    }
    rows.push_back({Keel::replacingInvalidUtf8(app->name), Keel::replacingInvalidUtf8(app->identifier),
                    app->version ? Keel::replacingInvalidUtf8(*app->version) : "-", humanSize(app->binaryFileSize()),
                    contained.empty() ? "-" : Keel::replacingInvalidUtf8(contained)});
  }
  std::array<std::size_t, 5> widths{};
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  }
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += row[i];
      if (i + 1 < row.size()) text.append(widths[i] - width(row[i]) + 2, ' ');
    }
    text += '\n';
  }
  return text;
}

std::string sizesTable(const std::vector<std::pair<std::string, std::uint64_t>>& sizes) {
  std::size_t sizeWidth = 0;
  std::size_t bytesWidth = 0;
  for (const auto& [path, size] : sizes) {
    sizeWidth = std::max(sizeWidth, humanSize(size).size());
    bytesWidth = std::max(bytesWidth, std::to_string(size).size());
  }
  std::string text;
  for (const auto& [path, size] : sizes) {
    const std::string human = humanSize(size);
    const std::string bytes = std::to_string(size);
    text += std::string(sizeWidth - human.size(), ' ') + human + "  " + std::string(bytesWidth - bytes.size(), ' ') +
            bytes + " bytes  " + Keel::replacingInvalidUtf8(path) + "\n";
  }
  return text;
}

}  // namespace Vantor::Tools
