// Fuzzes raw DEFLATE coding: every non-empty input encodes, and decoding the
// encoding, with Keel's decoder and with zlib's own, gives the input back.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "Keel/core/byte_coding.h"
#include "Keel/core/zlib_reference_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span input(data, size);
  const auto packed = Keel::deflated(input);
  if (size == 0) {
    if (packed) std::abort();
    return 0;
  }
  if (!packed) std::abort();
  const auto unpacked = Keel::inflated(*packed);
  if (!unpacked || !std::equal(unpacked->begin(), unpacked->end(), input.begin(), input.end())) std::abort();
  bool ended = false;
  const auto byZlib = Keel::FuzzSupport::referenceDecode(packed->data(), packed->size(), -15, ended);
  if (!ended || !std::equal(byZlib.begin(), byZlib.end(), input.begin(), input.end())) std::abort();
  return 0;
}
