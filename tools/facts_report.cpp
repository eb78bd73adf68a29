#include "tools/facts_report.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Keel/coding/system_parsing.h"
#include "Keel/core/file_contents.h"
#include "Keel/core/utf8.h"

namespace Vantor::Tools {
namespace {

void flatten(const Keel::AnyValue::Dictionary& dictionary, const std::string& prefix,
             std::vector<std::pair<std::string, std::string>>& lines) {
  for (const auto& [key, value] : dictionary) {
    if (const auto* nested = value.getIf<Keel::AnyValue::Dictionary>()) {
      flatten(*nested, prefix + key.str() + ".", lines);
      continue;
    }
    std::string text = Keel::describe(value);
    if (text.empty()) text = "(unknown)";
    lines.emplace_back(prefix + key.str(), std::move(text));
  }
}

}  // namespace

Distribution distributionOf(std::string_view osReleaseText) {
  const auto values = Keel::SystemParsing::osRelease(osReleaseText);
  const auto value = [&values](const char* key) {
    const auto found = values.find(key);
    return found == values.end() ? std::string() : found->second;
  };
  Distribution distribution{value("NAME"), value("VERSION")};
  if (distribution.version.empty()) distribution.version = value("VERSION_ID");
  return distribution;
}

Distribution currentDistribution() {
  auto text = Keel::readFileText("/etc/os-release");
  if (!text) text = Keel::readFileText("/usr/lib/os-release");
  return text ? distributionOf(*text) : Distribution{};
}

Keel::AnyValue factsTree(const Keel::SystemFacts& facts, const Distribution& distribution) {
  const Keel::HostBasicInfo host = facts.hostBasicInfo();
  // Firmware and /proc texts are not promised to be UTF-8; JSON must be.
  const auto text = [](const std::string& fact) { return Keel::replacingInvalidUtf8(fact); };
  return Keel::AnyValue::Dictionary{
      {"model", text(facts.model())},
      {"processorName", text(facts.processorName())},
      {"processorCount", facts.processorCount()},
      {"physicalMemory", facts.physicalMemory()},
      {"thermalState", facts.thermalState()},
      {"uptime", text(facts.uptime())},
      {"architecture", text(facts.architecture())},
      {"isAppleSilicon", facts.isAppleSilicon()},
      {"operatingSystemVersionText", text(facts.operatingSystemVersionText())},
      {"operatingSystemVersionNumber", text(facts.operatingSystemVersionNumber())},
      {"operatingSystemName", text(facts.operatingSystemName())},
      {"distributionName", text(distribution.name)},
      {"distributionVersion", text(distribution.version)},
      {"hostBasicInfo",
       Keel::AnyValue::Dictionary{
           {"maxCpus", host.maxCpus},
           {"availCpus", host.availCpus},
           {"memorySize", host.memorySize},
           {"cpuType", host.cpuType},
           {"cpuSubtype", host.cpuSubtype},
           {"cpuThreadType", host.cpuThreadType},
           {"physicalCpu", host.physicalCpu},
           {"physicalCpuMax", host.physicalCpuMax},
           {"logicalCpu", host.logicalCpu},
           {"logicalCpuMax", host.logicalCpuMax},
           {"maxMem", host.maxMem},
       }},
  };
}

std::string factsText(const Keel::AnyValue& tree) {
  std::vector<std::pair<std::string, std::string>> lines;
  if (const auto* dictionary = tree.getIf<Keel::AnyValue::Dictionary>()) flatten(*dictionary, "", lines);
  std::size_t width = 0;
  for (const auto& line : lines) width = std::max(width, line.first.size());
  std::string out;
  for (const auto& [name, value] : lines) {
    out += name;
    out.append(width - name.size() + 2, ' ');
    out += value + "\n";
  }
  return out;
}

}  // namespace Vantor::Tools
