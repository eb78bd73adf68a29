// Fuzzes JSON decoding into untyped values: whatever decodes must encode
// again and decode to an equal value, and must read the same when padded
// with whitespace to the size from which trees are built in an arena.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Keel/coding/any_codable.h"
#include "Keel/coding/json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  auto decoded = Keel::JSONDecoder().decode<Keel::AnyDecodable>(input);
  if (!decoded.ok()) return 0;
  std::string padded(input);
  padded.resize(std::max(padded.size(), std::size_t{64} << 10), ' ');
  auto large = Keel::JSONDecoder().decode<Keel::AnyDecodable>(padded);
  if (!large.ok() || !(large->value == decoded->value)) {
    std::fprintf(stderr, "the arena-built tree differs\n");
    std::abort();
  }
  auto encoded = Keel::JSONEncoder().encode(Keel::AnyEncodable(decoded->value));
  if (!encoded.ok()) {
    std::fprintf(stderr, "re-encoding failed: %s\n", encoded.error().text().c_str());
    std::abort();
  }
  auto again = Keel::JSONDecoder().decode<Keel::AnyDecodable>(encoded.value());
  if (!again.ok() || !(again->value == decoded->value)) {
    std::fprintf(stderr, "round trip changed the value: %s\n", encoded.value().c_str());
    std::abort();
  }
  return 0;
}
