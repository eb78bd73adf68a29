// Fuzzes property-list decoding (XML and binary) into untyped values: whatever
// decodes must encode again as XML and decode to an equal value. The refusals
// allowed are what binary lists hold and XML cannot: texts with control
// characters or U+FFFE/U+FFFF, and dates outside the years 1 to 9999.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "Keel/coding/any_codable.h"
#include "Keel/coding/property_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto decoded = Keel::PropertyListDecoder().decode<Keel::AnyDecodable>(std::span(data, size));
  if (!decoded.ok()) return 0;
  auto encoded = Keel::PropertyListEncoder().encode(Keel::AnyEncodable(decoded->value));
  if (!encoded.ok()) {
    const std::string& why = encoded.error().description;
    if (why == "Text holds a character that XML cannot hold." ||
        why == "Date is not finite or lies outside the years 1 to 9999 that XML property lists hold.") {
      return 0;
    }
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
