// The platform's raw DEFLATE codec (RFC 1951: no header, no checksum), seen
// as a stream that is handed the whole input at once: source and destination
// windows, processing with a finish flag, and ok / end / error. The codecs of
// byte_coding.h fill a scratch buffer from it and copy each fill out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Keel::detail {

enum class RawDeflateOperation { encode, decode };

// What one processing call reports: the destination is full and more output
// follows (or the engine stopped short of filling it, which callers treat as
// truncated input), the stream is complete, or the data or engine failed.
enum class RawDeflateStatus { ok, end, error };

class RawDeflateStream {
 public:
  explicit RawDeflateStream(RawDeflateOperation operation);
  ~RawDeflateStream();
  RawDeflateStream(const RawDeflateStream&) = delete;
  RawDeflateStream& operator=(const RawDeflateStream&) = delete;

  // False when the engine could not be set up; nothing else may be called.
  [[nodiscard]] bool initialised() const;

  // Consumes from the source window and writes to the destination window,
  // advancing both, until the destination is full, the stream ends or the
  // data is bad. `finalize` says that the source holds all the remaining
  // input (always so for whole-buffer coding). Encoding is at the engine's
  // one fixed level; its output is plain raw DEFLATE that any decoder reads.
  [[nodiscard]] RawDeflateStatus process(bool finalize);

  const std::uint8_t* srcPtr = nullptr;
  std::size_t srcSize = 0;
  std::uint8_t* dstPtr = nullptr;
  std::size_t dstSize = 0;

 private:
  struct Engine;
  std::unique_ptr<Engine> engine_;
};

}  // namespace Keel::detail
