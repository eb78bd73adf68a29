// Fuzzes JSON decoding into untyped values: whatever decodes must encode
// again and decode to an equal value.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "Keel/coding/any_codable.h"
#include "Keel/coding/json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  auto decoded = Keel::JSONDecoder().decode<Keel::AnyDecodable>(input);
  if (!decoded.ok()) return 0;
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
