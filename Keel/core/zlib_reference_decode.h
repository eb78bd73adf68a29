// zlib's own decoding of a whole buffer, as the reference the codec fuzzers
// hold Keel's decoders to. Header-only; used by fuzz targets only.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <vector>

namespace Keel::FuzzSupport {

// Decodes with `windowBits` (47: gzip or zlib header, -15: raw DEFLATE) into
// ample output, in fixed 64 KiB rounds. `ended` tells whether the stream ended.
inline std::vector<std::uint8_t> referenceDecode(const std::uint8_t* data, std::size_t size, int windowBits,
                                                 bool& ended) {
  z_stream s{};
  std::vector<std::uint8_t> out;
  ended = false;
  if (inflateInit2(&s, windowBits) != Z_OK) return out;
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

}  // namespace Keel::FuzzSupport
