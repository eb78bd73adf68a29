// Feeds arbitrary bytes to every machine-fact parser: none may crash or hang,
// and their results must keep their stated shapes.
#include "Keel/coding/system_parsing.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Keel::SystemParsing;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)firmwareText(text);
  (void)processorName(text);
  (void)memTotalBytes(text);
  (void)osRelease(text);
  (void)sysfsInteger(text);
  if (const auto seconds = uptimeSeconds(text); seconds && (*seconds < 0 || !(*seconds == *seconds))) std::abort();
  if (const auto cpus = cpuList(text)) {
    if (cpus->size() > 65536 || !std::is_sorted(cpus->begin(), cpus->end()) ||
        std::adjacent_find(cpus->begin(), cpus->end()) != cpus->end()) {
      std::abort();
    }
  }
  const std::string decoded = decodeUnameField(std::span<const unsigned char>(data, size));
  if (decoded.size() > 2 * size) std::abort();
  const std::string replaced = replacingAll(text, "Version", "macOS");
  (void)replaced;
  return 0;
}
