// The machine facts of a Linux machine: its files under replaceable roots,
// uname and the affinity mask. The parsing lives in system_parsing.cpp.
#include "Keel/coding/system_linux.h"

#include <sched.h>
#include <sys/utsname.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "Keel/coding/system_parsing.h"
#include "Keel/core/file_contents.h"

namespace Keel {
namespace {

namespace fs = std::filesystem;
using namespace SystemParsing;

std::span<const unsigned char> bytesOf(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

int clampCount(std::size_t count) {
  return count > static_cast<std::size_t>(INT32_MAX) ? INT32_MAX : static_cast<int>(count);
}

std::optional<std::vector<unsigned>> readCpuList(const fs::path& path) {
  const auto text = readFileText(path);
  if (!text) return std::nullopt;
  return cpuList(*text);
}

// Distinct (package, core) pairs among `cpus`; processors whose topology
// cannot be read are left out.
std::size_t countCores(const fs::path& cpuRoot, const std::vector<unsigned>& cpus) {
  std::set<std::pair<std::int64_t, std::int64_t>> cores;
  for (const unsigned cpu : cpus) {
    const fs::path topology = cpuRoot / ("cpu" + std::to_string(cpu)) / "topology";
    const auto package = readFileText(topology / "physical_package_id");
    const auto core = readFileText(topology / "core_id");
    if (!package || !core) continue;
    const auto packageId = sysfsInteger(*package);
    const auto coreId = sysfsInteger(*core);
    if (packageId && coreId) cores.emplace(*packageId, *coreId);
  }
  return cores.size();
}

ThermalZone readThermalZone(const fs::path& folder) {
  ThermalZone zone;
  if (const auto mode = readFileText(folder / "mode")) zone.enabled = mode->rfind("disabled", 0) != 0;
  if (const auto temp = readFileText(folder / "temp")) zone.milliCelsius = sysfsInteger(*temp);
  // Trip points are numbered from 0 without gaps.
  for (int n = 0;; ++n) {
    const std::string prefix = "trip_point_" + std::to_string(n);
    const auto type = readFileText(folder / (prefix + "_type"));
    if (!type) break;
    const auto temp = readFileText(folder / (prefix + "_temp"));
    const auto milliCelsius = temp ? sysfsInteger(*temp) : std::nullopt;
    if (!milliCelsius) continue;
    std::string kind = *type;
    while (!kind.empty() && (kind.back() == '\n' || kind.back() == ' ')) kind.pop_back();
    zone.trips.push_back({std::move(kind), *milliCelsius});
  }
  return zone;
}

KernelIdentity realKernelIdentity() {
  // Zero-filled so that a failed call reads as empty fields.
  struct utsname name;
  std::memset(&name, 0, sizeof name);
  (void)uname(&name);
  return {std::string(name.machine, sizeof name.machine), std::string(name.release, sizeof name.release)};
}

std::optional<int> realSchedulableProcessorCount() {
  // The mask must cover every processor number the kernel knows; start at
  // the usual size and grow while the kernel says it is too small.
  for (std::size_t slots = 1024; slots <= (std::size_t{1} << 20); slots *= 2) {
    cpu_set_t* set = CPU_ALLOC(slots);
    if (set == nullptr) return std::nullopt;
    const std::size_t size = CPU_ALLOC_SIZE(slots);
    CPU_ZERO_S(size, set);
    const bool ok = sched_getaffinity(0, size, set) == 0;
    const int count = ok ? CPU_COUNT_S(size, set) : 0;
    const bool tooSmall = !ok && errno == EINVAL;
    CPU_FREE(set);
    if (ok) return count;
    if (!tooSmall) return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

LinuxSystemFacts::Sources LinuxSystemFacts::Sources::real() {
  Sources sources;
  sources.kernelIdentity = realKernelIdentity;
  sources.schedulableProcessorCount = realSchedulableProcessorCount;
  return sources;
}

std::string LinuxSystemFacts::model() const {
  if (const auto dmi = readFileText(sources_.sysRoot / "class" / "dmi" / "id" / "product_name")) {
    if (auto name = firmwareText(*dmi)) return std::move(*name);
  }
  if (const auto tree = readFileText(sources_.procRoot / "device-tree" / "model")) {
    if (auto name = firmwareText(*tree)) return std::move(*name);
  }
  return {};
}

std::string LinuxSystemFacts::processorName() const {
  const auto cpuinfo = readFileText(sources_.procRoot / "cpuinfo");
  return cpuinfo ? SystemParsing::processorName(*cpuinfo) : std::string();
}

int LinuxSystemFacts::processorCount() const {
  if (sources_.schedulableProcessorCount) {
    if (const auto count = sources_.schedulableProcessorCount(); count && *count > 0) return *count;
  }
  if (const auto online = readCpuList(sources_.sysRoot / "devices" / "system" / "cpu" / "online")) {
    return clampCount(online->size());
  }
  return 0;
}

std::uint64_t LinuxSystemFacts::physicalMemory() const {
  const auto meminfo = readFileText(sources_.procRoot / "meminfo");
  return meminfo ? memTotalBytes(*meminfo).value_or(0) : 0;
}

int LinuxSystemFacts::thermalState() const {
  std::vector<ThermalZone> zones;
  std::error_code error;
  for (fs::directory_iterator it(sources_.sysRoot / "class" / "thermal", error), end; !error && it != end;
       it.increment(error)) {
    if (it->path().filename().string().rfind("thermal_zone", 0) != 0) continue;
    zones.push_back(readThermalZone(it->path()));
  }
  return SystemParsing::thermalState(zones);
}

std::string LinuxSystemFacts::uptime() const {
  const auto text = readFileText(sources_.procRoot / "uptime");
  const auto seconds = text ? uptimeSeconds(*text) : std::nullopt;
  return seconds ? uptimeText(*seconds) : std::string();
}

HostBasicInfo LinuxSystemFacts::hostBasicInfo() const {
  HostBasicInfo info;
  const fs::path cpuRoot = sources_.sysRoot / "devices" / "system" / "cpu";
  if (const auto present = readCpuList(cpuRoot / "present")) {
    info.maxCpus = info.logicalCpuMax = clampCount(present->size());
    info.physicalCpuMax = clampCount(countCores(cpuRoot, *present));
  }
  if (const auto online = readCpuList(cpuRoot / "online")) {
    info.availCpus = info.logicalCpu = clampCount(online->size());
    info.physicalCpu = clampCount(countCores(cpuRoot, *online));
  }
  info.memorySize = info.maxMem = physicalMemory();
  const ProcessorTypeCodes codes = processorTypeCodes(architecture());
  info.cpuType = codes.type;
  info.cpuSubtype = codes.subtype;
  constexpr std::int32_t x86CpuType = 7;
  const bool x86 = (codes.type & 0xFF) == x86CpuType;
  if (x86 && info.logicalCpu > info.physicalCpu && info.physicalCpu > 0) info.cpuThreadType = 1;
  return info;
}

std::string LinuxSystemFacts::architecture() const {
  if (!sources_.kernelIdentity) return {};
  return decodeUnameField(bytesOf(sources_.kernelIdentity().machine));
}

std::string LinuxSystemFacts::operatingSystemVersionText() const {
  auto release = readFileText(sources_.etcRoot / "os-release");
  if (!release) release = readFileText(sources_.usrLibRoot / "os-release");
  std::string distribution;
  if (release) {
    auto values = osRelease(*release);
    if (const auto found = values.find("VERSION_ID"); found != values.end()) distribution = std::move(found->second);
  }
  const std::string kernel =
      sources_.kernelIdentity ? decodeUnameField(bytesOf(sources_.kernelIdentity().release)) : std::string();
  return SystemParsing::operatingSystemVersionText(distribution, kernel);
}

const SystemFacts& System::facts() {
  static const LinuxSystemFacts real(LinuxSystemFacts::Sources::real());
  return real;
}

}  // namespace Keel
