// JSON for the coding framework: bytes to untyped trees (simdjson), trees to
// bytes, and the JSONDecoder / JSONEncoder that pair them with the coders.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Keel/coding/coder.h"
#include "Keel/coding/coding_error.h"
#include "Keel/core/any_value.h"

namespace Keel {

namespace JSON {

// The tree of a JSON document: null, booleans, int64 (integers that fit),
// uint64 (integers above the signed range), float64 (numbers written with a
// fraction or exponent, so 3.0 stays floating point), texts, arrays and
// dictionaries (a repeated key keeps its last value). Invalid JSON, invalid
// UTF-8, integers beyond 64 bits, numbers out of the double range, trailing
// garbage and nesting deeper than maxCodingDepth give a dataCorrupted error at
// the root. Never throws.
[[nodiscard]] CodingResult<AnyValue> parse(std::string_view bytes);

enum class DateStrategy { secondsSinceReferenceDate, secondsSince1970 };

struct WriteOptions {
  DateStrategy dateStrategy = DateStrategy::secondsSinceReferenceDate;
};

// Compact JSON for `tree`. Integers in decimal; floating point in the
// shortest form that reads back as the same value, always with a fraction or
// exponent so that it reads back as floating point; dates as numbers per the
// date strategy; URLs as their text. invalidValue errors (at the value's path)
// for non-finite numbers, texts that are not UTF-8, data, boxed numbers,
// dictionaries with non-text keys and nesting deeper than maxCodingDepth.
[[nodiscard]] CodingResult<std::string> write(const AnyValue& tree, const WriteOptions& options = {});

// The text write() gives when it succeeds; nothing when it would fail (without
// the work of finding where).
[[nodiscard]] std::optional<std::string> tryWrite(const AnyValue& tree, const WriteOptions& options = {});

}  // namespace JSON

// Decodes values of any decodable type from JSON bytes.
class JSONDecoder {
 public:
  template <class T>
  CodingResult<T> decode(std::string_view json) const {
    auto tree = JSON::parse(json);
    if (!tree) return tree.error();
    Decoder decoder(tree.value(), nullptr, true);
    decoder.assumeCanonicalTree();
    return Decoding<T>::decode(decoder);
  }
};

// Encodes values of any encodable type as JSON text.
class JSONEncoder {
 public:
  JSON::WriteOptions options;

  template <class T>
  CodingResult<std::string> encode(const T& value) const {
    if constexpr (detail::encodesUntypedTree<T>) {
      // The untyped encoding of a tree that JSON can write is the tree itself
      // (each kind it writes encodes as itself), so it is written straight
      // away instead of being copied through an encoder first. Other trees
      // (boxed numbers, data, ...) take the general road, which also reports
      // errors as encoding reports them.
      if (auto text = JSON::tryWrite(value.value, options)) return std::move(*text);
    }
    AnyValue tree;
    Encoder encoder(tree);
    if (CodingStatus s = Encoding<T>::encode(value, encoder); !s) return s.error();
    return JSON::write(tree, options);
  }
};

}  // namespace Keel
