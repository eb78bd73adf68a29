// Fuzzes the raw DEFLATE decoder: no crash, hang or leak on any input, and
// every stream zlib's own decoding completes gives the same bytes. The other
// way round is not held: libdeflate decodes some streams zlib refuses (the
// reserved length symbols 286 and 287 of the fixed code, for one).
#include <cstdint>
#include <cstdlib>
#include <span>

#include "Keel/core/byte_coding.h"
#include "Keel/core/zlib_reference_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto result = Keel::inflated(std::span(data, size));
  bool ended = false;
  const auto expected = Keel::FuzzSupport::referenceDecode(data, size, -15, ended);
  if (ended && size != 0 && (!result || *result != expected)) std::abort();
  return 0;
}
