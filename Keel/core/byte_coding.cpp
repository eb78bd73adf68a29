// Gzip/zlib decoding and raw DEFLATE coding of whole byte buffers, on zlib.
#include "Keel/core/byte_coding.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <utility>

#include "Keel/core/byte_coding_memory.h"
#include "Keel/core/fatal_error.h"

// Lets zlib declare next_in as pointer-to-const, so input spans need no cast.
#define ZLIB_CONST
#include <zlib.h>

namespace Keel {

ByteBuffer::ByteBuffer(std::span<const std::uint8_t> bytes) { append(bytes); }

ByteBuffer::ByteBuffer(const ByteBuffer& other) : ByteBuffer(std::span<const std::uint8_t>(other)) {}

ByteBuffer::ByteBuffer(ByteBuffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      capacity_(std::exchange(other.capacity_, 0)),
      mapped_(std::exchange(other.mapped_, 0)) {}

ByteBuffer& ByteBuffer::operator=(const ByteBuffer& other) {
  if (this != &other) {
    size_ = 0;
    append(other);
  }
  return *this;
}

ByteBuffer& ByteBuffer::operator=(ByteBuffer&& other) noexcept {
  if (this != &other) {
    std::free(data_);
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    mapped_ = std::exchange(other.mapped_, 0);
  }
  return *this;
}

ByteBuffer::~ByteBuffer() { std::free(data_); }

void ByteBuffer::reallocate(std::size_t capacity) {
  if (capacity == 0) {
    std::free(data_);
    data_ = nullptr;
  } else {
    void* moved = std::realloc(data_, capacity);
    if (moved == nullptr) throw std::bad_alloc();
    data_ = static_cast<std::uint8_t*>(moved);
  }
  capacity_ = capacity;
  mapped_ = std::min(mapped_, size_);  // realloc may have copied only the bytes in use
}

void ByteBuffer::reserve(std::size_t count) {
  if (count > capacity_) reallocate(count);
}

void ByteBuffer::resizeForOverwrite(std::size_t count) {
  if (count > capacity_) reallocate(std::max(count, capacity_ <= SIZE_MAX / 2 ? 2 * capacity_ : count));
  // The caller is about to write every new byte. In a large buffer, mapping
  // its pages in one request, at least a step ahead of the size, is cheaper
  // than a page fault for each page as the bytes arrive.
  constexpr std::size_t kPrefaultStep = 1 << 20;
  if (count > mapped_ && capacity_ >= kPrefaultStep) {
    const std::size_t end = std::min(capacity_, std::max(count, mapped_ + kPrefaultStep));
    detail::prefaultForWrite(data_ + mapped_, end - mapped_);
    mapped_ = end;
  }
  size_ = count;
}

void ByteBuffer::append(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return;
  // Bytes of this buffer itself move when it grows: keep their offset.
  const std::less<> before;
  const bool own = !before(bytes.data(), data_) && before(bytes.data(), data_ + size_);
  const std::size_t ownOffset = own ? static_cast<std::size_t>(bytes.data() - data_) : 0;
  const std::size_t start = size_;
  resizeForOverwrite(start + bytes.size());
  std::memcpy(data_ + start, own ? data_ + ownOffset : bytes.data(), bytes.size());
}

void ByteBuffer::shrinkToFit() {
  if (capacity_ > size_) reallocate(size_);
}

bool operator==(const ByteBuffer& buffer, std::span<const std::uint8_t> bytes) noexcept {
  return buffer.size() == bytes.size() &&
         (bytes.empty() || std::memcmp(buffer.data(), bytes.data(), bytes.size()) == 0);
}

namespace {

// zlib's byte counts (avail_in, avail_out) are 32-bit.
constexpr std::size_t kMaxStreamCount = std::numeric_limits<uInt>::max();

// --- raw DEFLATE as a stream that takes the whole input at once ------------

enum class StreamOperation { encode, decode };

// What one processing call reports: more output space needed (or the engine
// stopped short), the stream is complete, or the data or engine failed.
enum class StreamStatus { ok, end, error };

// Presents zlib's raw deflate/inflate (window bits -15: no header, no
// checksum) as a stream with source and destination windows that is processed
// with a finalise flag and reports ok / end / error, so that the coding
// routine below reads as a plain fill-and-copy loop. Owns the zlib state.
class RawDeflateStream {
 public:
  explicit RawDeflateStream(StreamOperation operation) : operation_(operation) {
    const int result = operation == StreamOperation::encode ? deflateInit2(&stream_, kLevel, Z_DEFLATED, kRawWindowBits,
                                                                           kMemoryLevel, Z_DEFAULT_STRATEGY)
                                                            : inflateInit2(&stream_, kRawWindowBits);
    initialised_ = result == Z_OK;
  }
  ~RawDeflateStream() {
    if (!initialised_) return;
    if (operation_ == StreamOperation::encode) {
      deflateEnd(&stream_);
    } else {
      inflateEnd(&stream_);
    }
  }
  RawDeflateStream(const RawDeflateStream&) = delete;
  RawDeflateStream& operator=(const RawDeflateStream&) = delete;

  [[nodiscard]] bool initialised() const { return initialised_; }

  // Consumes from src and writes to dst, advancing both windows, until dst is
  // full, the stream ends, the input is used up or the data is bad.
  [[nodiscard]] StreamStatus process(bool finalize) {
    for (;;) {
      // Input beyond zlib's 32-bit count is fed in slices; only the slice that
      // holds the end of the input may carry the finish flag.
      const std::size_t inSlice = std::min(srcSize, kMaxStreamCount);
      const std::size_t outSlice = std::min(dstSize, kMaxStreamCount);
      stream_.next_in = srcPtr;
      stream_.avail_in = static_cast<uInt>(inSlice);
      stream_.next_out = dstPtr;
      stream_.avail_out = static_cast<uInt>(outSlice);
      const int flush = finalize && inSlice == srcSize ? Z_FINISH : Z_NO_FLUSH;
      const int result = operation_ == StreamOperation::encode ? deflate(&stream_, flush) : inflate(&stream_, flush);
      const std::size_t consumed = inSlice - stream_.avail_in;
      const std::size_t produced = outSlice - stream_.avail_out;
      srcPtr += consumed;
      srcSize -= consumed;
      dstPtr += produced;
      dstSize -= produced;
      stream_.next_in = nullptr;
      stream_.next_out = nullptr;

      if (result == Z_STREAM_END) return StreamStatus::end;
      // With the finish flag zlib reports "out of room" and "out of input" as
      // Z_BUF_ERROR; both are an ordinary stop, told apart by dstSize.
      if (result != Z_OK && result != Z_BUF_ERROR) return StreamStatus::error;
      if (dstSize == 0 || srcSize == 0) return StreamStatus::ok;
      if (consumed == 0 && produced == 0) return StreamStatus::error;
    }
  }

  const std::uint8_t* srcPtr = nullptr;
  std::size_t srcSize = 0;
  std::uint8_t* dstPtr = nullptr;
  std::size_t dstSize = 0;

 private:
  static constexpr int kLevel = 5;
  static constexpr int kRawWindowBits = -15;  // 32 KiB window, raw stream
  static constexpr int kMemoryLevel = 8;      // zlib's default

  StreamOperation operation_;
  z_stream stream_{};
  bool initialised_ = false;
};

// The whole input in one stream: fill the scratch buffer, copy it to the
// result, repeat until the stream ends. The finish flag goes with every call
// because the engine already has all the input.
std::optional<ByteBuffer> processWhole(std::span<const std::uint8_t> input, StreamOperation operation) {
  if (input.empty()) return std::nullopt;
  RawDeflateStream stream(operation);
  if (!stream.initialised()) return std::nullopt;

  std::vector<std::uint8_t> scratch(streamScratchSize(input.size()));
  stream.srcPtr = input.data();
  stream.srcSize = input.size();
  stream.dstPtr = scratch.data();
  stream.dstSize = scratch.size();
  ByteBuffer result;
  for (;;) {
    switch (stream.process(/*finalize=*/true)) {
      case StreamStatus::ok:
        // Stopping with room left means the engine wants input it will never
        // get: truncated data.
        if (stream.dstSize != 0) return std::nullopt;
        result.append(scratch);
        stream.dstPtr = scratch.data();
        stream.dstSize = scratch.size();
        break;
      case StreamStatus::end:
        result.append(std::span<const std::uint8_t>(scratch.data(), stream.dstPtr));
        result.shrinkToFit();
        return result;
      case StreamStatus::error:
        return std::nullopt;
    }
  }
}

}  // namespace

GunzipBufferPlan gunzipBufferPlan(std::size_t inputLength) noexcept { return {inputLength * 2, inputLength / 2}; }

std::size_t streamScratchSize(std::size_t inputLength) noexcept {
  return std::clamp<std::size_t>(inputLength, 64, 65536);
}

std::optional<ByteBuffer> gunzipped(std::span<const std::uint8_t> input) {
  if (input.empty()) return std::nullopt;
  // The decoder hands zlib the whole remaining input and output in each round,
  // through 32-bit counts; a buffer that does not fit would be silently cut
  // short, so it stops the process instead (checked before zlib reads a byte).
  if (input.size() > kMaxStreamCount) fatalError("gunzipped: input of 4 GiB or more");
  const auto inputCount = static_cast<uInt>(input.size());

  z_stream stream{};
  // 32 + 15: a 32 KiB window, gzip or zlib header detected automatically.
  // The inflateInit2 macro passes the version and z_stream size of the zlib
  // header this file was compiled against; zlib compares them with the
  // library actually loaded and refuses a mismatch instead of misreading the
  // structure. Hard-coded values would defeat that check.
  if (inflateInit2(&stream, 32 + 15) != Z_OK) return std::nullopt;

  const GunzipBufferPlan plan = gunzipBufferPlan(input.size());
  ByteBuffer output;
  output.reserve(plan.reserved);
  int result = Z_OK;
  do {
    if (stream.total_out >= output.size()) {
      if (output.size() + plan.growthStep > kMaxStreamCount) fatalError("gunzipped: output of 4 GiB or more");
      output.resizeForOverwrite(output.size() + plan.growthStep);
    }
    // Pointers are recomputed from the totals every round: growing the output
    // may move it.
    stream.next_in = input.data() + stream.total_in;
    stream.avail_in = inputCount - static_cast<uInt>(stream.total_in);
    stream.next_out = output.data() + stream.total_out;
    stream.avail_out = static_cast<uInt>(output.size() - stream.total_out);
    result = inflate(&stream, Z_SYNC_FLUSH);
    stream.next_in = nullptr;
    stream.next_out = nullptr;
  } while (result == Z_OK);

  // Only a complete first member counts; partial output is dropped.
  if (inflateEnd(&stream) != Z_OK || result != Z_STREAM_END) return std::nullopt;
  output.resizeForOverwrite(stream.total_out);
  output.shrinkToFit();
  return output;
}

std::optional<ByteBuffer> deflated(std::span<const std::uint8_t> input) {
  return processWhole(input, StreamOperation::encode);
}

std::optional<ByteBuffer> inflated(std::span<const std::uint8_t> input) {
  return processWhole(input, StreamOperation::decode);
}

}  // namespace Keel
