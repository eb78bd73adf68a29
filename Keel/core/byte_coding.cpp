// Gzip/zlib decoding of whole byte buffers on zlib, and raw DEFLATE coding
// on the platform's codec (raw_deflate.h).
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
#include "Keel/core/raw_deflate.h"

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
      mapped_(std::exchange(other.mapped_, 0)),
      block_(std::exchange(other.block_, 0)) {}

ByteBuffer& ByteBuffer::operator=(const ByteBuffer& other) {
  if (this != &other) {
    size_ = 0;
    append(other);
  }
  return *this;
}

ByteBuffer& ByteBuffer::operator=(ByteBuffer&& other) noexcept {
  if (this != &other) {
    release();
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    mapped_ = std::exchange(other.mapped_, 0);
    block_ = std::exchange(other.block_, 0);
  }
  return *this;
}

ByteBuffer::~ByteBuffer() { release(); }

void ByteBuffer::release() noexcept {
  if (block_ != 0) {
    detail::giveBackLargeBlock({data_, block_, std::max(mapped_, size_)});
  } else {
    std::free(data_);
  }
  data_ = nullptr;
  block_ = 0;
}

namespace {
// From this capacity on a buffer lives in a block of pages.
constexpr std::size_t largeFrom = std::size_t{1} << 20;
}  // namespace

void ByteBuffer::reallocate(std::size_t capacity) {
  const std::size_t kept = std::min(size_, capacity);
  if (capacity >= largeFrom && block_ != 0) {
    if (capacity > block_) {
      const detail::LargeBlock grown = detail::growLargeBlock({data_, block_}, capacity);
      if (grown.data == nullptr) throw std::bad_alloc();
      data_ = grown.data;
      block_ = grown.bytes;
    }
  } else if (capacity >= largeFrom) {
    const detail::LargeBlock block = detail::takeLargeBlock(capacity);
    if (block.data == nullptr) throw std::bad_alloc();
    if (kept != 0) std::memcpy(block.data, data_, kept);
    std::free(data_);
    data_ = block.data;
    block_ = block.bytes;
    mapped_ = block.resident;
  } else if (block_ != 0) {
    auto* small = static_cast<std::uint8_t*>(capacity == 0 ? nullptr : std::malloc(capacity));
    if (capacity != 0 && small == nullptr) throw std::bad_alloc();
    if (kept != 0) std::memcpy(small, data_, kept);
    detail::giveBackLargeBlock({data_, block_, std::max(mapped_, size_)});
    data_ = small;
    block_ = 0;
  } else if (capacity == 0) {
    std::free(data_);
    data_ = nullptr;
  } else {
    void* moved = std::realloc(data_, capacity);
    if (moved == nullptr) throw std::bad_alloc();
    data_ = static_cast<std::uint8_t*>(moved);
  }
  capacity_ = capacity;
  // realloc may have copied only the bytes in use; a block keeps its pages.
  if (block_ == 0) mapped_ = std::min(mapped_, size_);
}

void ByteBuffer::reserve(std::size_t count) {
  if (count > capacity_) reallocate(count);
}

void ByteBuffer::resizeForOverwrite(std::size_t count) {
  if (count > capacity_) reallocate(std::max(count, capacity_ <= SIZE_MAX / 2 ? 2 * capacity_ : count));
  // The caller is about to write every new byte. In a large buffer, mapping
  // its pages in one request, at least a step ahead of the size, is cheaper
  // than a page fault for each page as the bytes arrive.
  constexpr std::size_t prefaultStep = 1 << 20;
  if (count > mapped_ && capacity_ >= prefaultStep) {
    const std::size_t end = std::min(capacity_, std::max(count, mapped_ + prefaultStep));
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
  if (capacity_ <= size_) return;
  if (block_ != 0 && size_ >= largeFrom) {
    // Only pages written hold memory, and the writers map at most a step
    // past the end: the block keeps its length, so that growing again or
    // reusing it costs no new mapping.
    capacity_ = size_;
    return;
  }
  reallocate(size_);
}

bool operator==(const ByteBuffer& buffer, std::span<const std::uint8_t> bytes) noexcept {
  return buffer.size() == bytes.size() &&
         (bytes.empty() || std::memcmp(buffer.data(), bytes.data(), bytes.size()) == 0);
}

namespace {

// zlib's byte counts (avail_in, avail_out) are 32-bit.
constexpr std::size_t maxStreamCount = std::numeric_limits<uInt>::max();

// The whole input in one stream: fill the scratch buffer, copy it to the
// result, repeat until the stream ends. The finish flag goes with every call
// because the engine already has all the input.
std::optional<ByteBuffer> processWhole(std::span<const std::uint8_t> input, detail::RawDeflateOperation operation) {
  if (input.empty()) return std::nullopt;
  detail::RawDeflateStream stream(operation);
  if (!stream.initialised()) return std::nullopt;

  std::vector<std::uint8_t> scratch(streamScratchSize(input.size()));
  stream.srcPtr = input.data();
  stream.srcSize = input.size();
  stream.dstPtr = scratch.data();
  stream.dstSize = scratch.size();
  ByteBuffer result;
  for (;;) {
    switch (stream.process(/*finalize=*/true)) {
      case detail::RawDeflateStatus::ok:
        // Stopping with room left means the engine wants input it will never
        // get: truncated data.
        if (stream.dstSize != 0) return std::nullopt;
        result.append(scratch);
        stream.dstPtr = scratch.data();
        stream.dstSize = scratch.size();
        break;
      case detail::RawDeflateStatus::end:
        result.append(std::span<const std::uint8_t>(scratch.data(), stream.dstPtr));
        result.shrinkToFit();
        return result;
      case detail::RawDeflateStatus::error:
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
  if (input.size() > maxStreamCount) fatalError("gunzipped: input of 4 GiB or more");
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
      if (output.size() + plan.growthStep > maxStreamCount) fatalError("gunzipped: output of 4 GiB or more");
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
  return processWhole(input, detail::RawDeflateOperation::encode);
}

std::optional<ByteBuffer> inflated(std::span<const std::uint8_t> input) {
  return processWhole(input, detail::RawDeflateOperation::decode);
}

}  // namespace Keel
