// Fuzzes property-list decoding (XML and binary) into untyped values: whatever
// decodes must encode again as XML and decode to an equal value. The one
// refusal allowed is a text with control characters XML cannot hold.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "Keel/coding/any_codable.h"
#include "Keel/coding/property_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto decoded = Keel::PropertyListDecoder().decode<Keel::AnyDecodable>(std::span(data, size));
  if (!decoded.ok()) return 0;
  auto encoded = Keel::PropertyListEncoder().encode(Keel::AnyEncodable(decoded->value));
  if (!encoded.ok()) {
    if (encoded.error().description == "Text holds a control character that XML cannot hold.") return 0;
    std::fprintf(stderr, "re-encoding failed: %s\n", encoded.error().text().c_str());
    std::abort();
  }
  auto again = Keel::PropertyListDecoder().decode<Keel::AnyDecodable>(std::string_view(encoded.value()));
  if (!again.ok() || !(again->value == decoded->value)) {
    std::fprintf(stderr, "round trip changed the value:\n%s\n", encoded.value().c_str());
    std::abort();
  }
  return 0;
}
