// Property lists for the coding framework: XML and binary property lists to
// untyped trees, trees to XML, the PropertyListDecoder and
// PropertyListEncoder.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Keel/coding/coder.h"
#include "Keel/coding/coding_error.h"
#include "Keel/core/any_value.h"
#include "Keel/core/property_list_reader.h"

namespace Keel {

namespace PropertyList {

// The tree of an XML or binary property list (see PropertyList::read), or a
// dataCorrupted error at the root saying why there is none. Never throws.
[[nodiscard]] CodingResult<AnyValue> parse(std::span<const std::uint8_t> bytes);
[[nodiscard]] CodingResult<AnyValue> parse(std::string_view bytes);

// An XML property list (version 1.0, UTF-8) for `tree`, which PropertyList::read
// gives back as the same tree up to the reader's normal forms: integers of
// every width come back as int64 (uint64 above the int64 range), float32 as
// double, URLs as texts. Reals are written in the shortest form that reads
// back as the same value ("nan", "inf", "-inf" for non-finite ones); dates in
// UTC with the fraction of a second that reads back exactly; data in base64.
// invalidValue errors (at the value's path) for null (property lists have
// none), texts that are not UTF-8 or hold characters XML cannot (control
// characters other than tab, line feed and carriage return; U+FFFE, U+FFFF),
// dates that are not finite or lie outside the years 1 to 9999, boxed
// numbers, dictionaries with non-text keys and nesting deeper than
// maxCodingDepth.
[[nodiscard]] CodingResult<std::string> writeXML(const AnyValue& tree);

}  // namespace PropertyList

// Decodes values of any decodable type from XML or binary property lists.
class PropertyListDecoder {
 public:
  template <class T>
  CodingResult<T> decode(std::span<const std::uint8_t> bytes) const {
    auto tree = PropertyList::parse(bytes);
    if (!tree) return tree.error();
    Decoder decoder(tree.value(), nullptr, true);
    return Decoding<T>::decode(decoder);
  }
  template <class T>
  CodingResult<T> decode(std::string_view bytes) const {
    return decode<T>(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
  }
};

// Encodes values of any encodable type as XML property lists.
class PropertyListEncoder {
 public:
  template <class T>
  CodingResult<std::string> encode(const T& value) const {
    AnyValue tree;
    Encoder encoder(tree);
    if (CodingStatus s = Encoding<T>::encode(value, encoder); !s) return s.error();
    return PropertyList::writeXML(tree);
  }
};

}  // namespace Keel
