// Fuzzes the raw DEFLATE decoder: no crash, hang or leak on any input, and it
// gives a result exactly when zlib's own decoding of the stream ends, the
// same bytes.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "Keel/core/byte_coding.h"
#include "Keel/core/zlib_reference_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto result = Keel::inflated(std::span(data, size));
  bool ended = false;
  const auto expected = Keel::FuzzSupport::referenceDecode(data, size, -15, ended);
  if (result.has_value() != (ended && size != 0)) std::abort();
  if (result && *result != expected) std::abort();
  return 0;
}
