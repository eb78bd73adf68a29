// Fuzzes the raw DEFLATE decoder: no crash, hang or leak on any input, and any
// result it gives matches zlib's own decoding of the stream.
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "Keel/core/byte_coding.h"

namespace {

// zlib's decoding with ample output, in fixed 64 KiB rounds.
std::vector<std::uint8_t> referenceDecode(const std::uint8_t* data, std::size_t size, bool& ended) {
  z_stream s{};
  std::vector<std::uint8_t> out;
  ended = false;
  if (inflateInit2(&s, -15) != Z_OK) return out;
  s.next_in = const_cast<Bytef*>(data);
  s.avail_in = static_cast<uInt>(size);
  int result = Z_OK;
  while (result == Z_OK) {
    out.resize(out.size() + 65536);
    s.next_out = out.data() + s.total_out;
    s.avail_out = 65536;
    result = inflate(&s, Z_NO_FLUSH);
  }
  ended = result == Z_STREAM_END;
  out.resize(s.total_out);
  inflateEnd(&s);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto result = Keel::inflated(std::span(data, size));
  if (result) {
    bool ended = false;
    const auto expected = referenceDecode(data, size, ended);
    if (!ended || *result != expected) std::abort();
  }
  return 0;
}
