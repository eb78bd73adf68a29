// Fuzzes the gzip/zlib decoder: no crash, hang or leak on any input, and any
// result it gives matches zlib's own decoding of the first stream.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "Keel/core/byte_coding.h"
#include "Keel/core/zlib_reference_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto result = Keel::gunzipped(std::span(data, size));
  if (result) {
    bool ended = false;
    const auto expected = Keel::FuzzSupport::referenceDecode(data, size, 47, ended);
    if (!ended || *result != expected) std::abort();
  }
  return 0;
}
