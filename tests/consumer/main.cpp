// Calls functions of each library, one of them through libdeflate (so that a
// static link without it fails); prints what they answer.
#include <array>
#include <cstdint>
#include <cstdio>

#include "Keel/coding/version.h"
#include "Keel/core/byte_coding.h"
#include "Plinth/inventory/apps.h"

int main() {
  const bool newer = Keel::Version("1.10") > Keel::Version("1.9");
  const std::array<std::uint8_t, 6> bytes = {'v', 'a', 'n', 't', 'o', 'r'};
  const auto packed = Keel::deflated(bytes);
  const auto unpacked = packed ? Keel::inflated(*packed) : std::nullopt;
  const bool roundTrip = unpacked && *unpacked == bytes;
  const bool running = Plinth::Apps::isRunning("org.example.none");
  std::printf("1.10 > 1.9: %s; deflate round trip: %s; org.example.none running: %s\n", newer ? "yes" : "no",
              roundTrip ? "yes" : "no", running ? "yes" : "no");
  return newer && roundTrip && !running ? 0 : 1;
}
