// Fuzzes JSON decoding into untyped values: the reader accepts exactly what
// simdjson accepts and builds the tree that simdjson's element interface
// describes; whatever decodes must encode again and decode to an equal value,
// and must read the same when padded with whitespace to the size from which
// trees are built in an arena.
#include <simdjson.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Keel/coding/any_codable.h"
#include "Keel/coding/json.h"

namespace {

// The reader walks simdjson's tape itself; this builds the same tree through
// the library's public element interface instead.
Keel::AnyValue reference(simdjson::dom::element element) {
  using T = simdjson::dom::element_type;
  switch (element.type()) {
    case T::NULL_VALUE:
      return {};
    case T::BOOL:
      return element.get_bool().value_unsafe();
    case T::INT64:
      return element.get_int64().value_unsafe();
    case T::UINT64:
      return element.get_uint64().value_unsafe();
    case T::DOUBLE:
      return element.get_double().value_unsafe();
    case T::STRING:
      return element.get_string().value_unsafe();
    case T::ARRAY: {
      const simdjson::dom::array elements = element.get_array().value_unsafe();
      Keel::AnyValue::Array array;
      for (simdjson::dom::element child : elements) array.push_back(reference(child));
      return array;
    }
    case T::OBJECT: {
      const simdjson::dom::object fields = element.get_object().value_unsafe();
      Keel::TextDictionary::Entries entries;
      for (simdjson::dom::key_value_pair field : fields) {
        entries.emplace_back(field.key, reference(field.value));
      }
      return Keel::TextDictionary::fromEntries(std::move(entries));
    }
  }
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  auto decoded = Keel::JSONDecoder().decode<Keel::AnyDecodable>(input);
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  const bool accepted = parser.allocate(std::max<std::size_t>(size, 64), Keel::maxCodingDepth) == simdjson::SUCCESS &&
                        parser.parse(input.data(), input.size()).get(root) == simdjson::SUCCESS;
  if (accepted != decoded.ok()) {
    std::fprintf(stderr, "simdjson %s what the reader %s\n", accepted ? "accepts" : "refuses",
                 decoded.ok() ? "accepts" : "refuses");
    std::abort();
  }
  if (!decoded.ok()) return 0;
  if (!(reference(root) == decoded->value)) {
    std::fprintf(stderr, "the tree differs from simdjson's elements\n");
    std::abort();
  }
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
