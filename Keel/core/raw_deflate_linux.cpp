// Raw DEFLATE on Linux: libdeflate, which codes whole buffers several times
// faster than zlib's streams. The stream shape is kept on top of it: the
// first processing call codes the whole source into a buffer of the engine's
// own, and that call and later ones hand the result out window by window.
//
// A decoder does not know the decoded size in advance. It starts from a
// guess of four times the input and, whenever the output does not fit,
// starts again with a buffer four times larger, so the work wasted on short
// guesses stays below a third of the final decoding. Untouched capacity
// costs nothing: large buffers are mapped pages that exist once written.
#include "Keel/core/raw_deflate.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "Keel/core/byte_coding_memory.h"

namespace Keel::detail {
namespace {

// The fixed level for encoding: libdeflate's level 4 writes text a little
// smaller than zlib's level 5 did, at about twice its speed (see the codec
// benchmark, which measures levels 4 to 6 beside zlib).
constexpr int compressionLevel = 4;

// DEFLATE cannot expand more than 1032 to 1 (258 bytes from a 2-bit code
// after the first); a larger buffer is never needed.
constexpr std::size_t maxExpansion = 1032;

// The engine's output: a block of pages when large (kept for the next
// buffer of its size once freed, so repeated coding does not fault in fresh
// pages every time), else the heap.
class Buffer {
 public:
  Buffer() = default;
  explicit Buffer(std::size_t bytes) {
    if (bytes >= largeFrom) {
      block_ = takeLargeBlock(bytes);
    } else {
      block_ = {static_cast<std::uint8_t*>(std::malloc(std::max<std::size_t>(bytes, 1))), 0};
    }
    if (block_.data == nullptr) throw std::bad_alloc();
  }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  Buffer& operator=(Buffer&& other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~Buffer() {
    if (block_.bytes != 0) {
      giveBackLargeBlock(block_);
    } else {
      std::free(block_.data);
    }
  }
  [[nodiscard]] std::uint8_t* get() const { return block_.data; }

 private:
  static constexpr std::size_t largeFrom = std::size_t{1} << 20;
  LargeBlock block_;
};

}  // namespace

struct RawDeflateStream::Engine {
  RawDeflateOperation operation;
  libdeflate_compressor* compressor = nullptr;
  libdeflate_decompressor* decompressor = nullptr;
  bool coded = false;  // the whole input has been coded into `output`
  bool failed = false;
  Buffer output;
  std::size_t outputSize = 0;
  std::size_t handedOut = 0;

  explicit Engine(RawDeflateOperation op) : operation(op) {
    if (op == RawDeflateOperation::encode) {
      compressor = libdeflate_alloc_compressor(compressionLevel);
    } else {
      decompressor = libdeflate_alloc_decompressor();
    }
  }
  ~Engine() {
    if (compressor != nullptr) libdeflate_free_compressor(compressor);
    if (decompressor != nullptr) libdeflate_free_decompressor(decompressor);
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // Codes the whole source; false when the data is bad.
  bool code(const std::uint8_t* source, std::size_t size) {
    if (operation == RawDeflateOperation::encode) {
      const std::size_t bound = libdeflate_deflate_compress_bound(compressor, size);
      output = Buffer(bound);
      outputSize = libdeflate_deflate_compress(compressor, source, size, output.get(), bound);
      return outputSize != 0;
    }
    const std::size_t most = size > std::numeric_limits<std::size_t>::max() / maxExpansion
                                 ? std::numeric_limits<std::size_t>::max()
                                 : size * maxExpansion + 64;
    std::size_t capacity = std::min(most, size * 4 + 4096);
    for (;;) {
      output = Buffer(capacity);
      std::size_t consumed = 0;
      // Bytes after the final block are left alone, as a stream decoder does.
      const libdeflate_result result =
          libdeflate_deflate_decompress_ex(decompressor, source, size, output.get(), capacity, &consumed, &outputSize);
      if (result == LIBDEFLATE_SUCCESS) return true;
      if (result != LIBDEFLATE_INSUFFICIENT_SPACE || capacity >= most) return false;
      capacity = capacity > most / 4 ? most : capacity * 4;
    }
  }
};

RawDeflateStream::RawDeflateStream(RawDeflateOperation operation) : engine_(std::make_unique<Engine>(operation)) {}

RawDeflateStream::~RawDeflateStream() = default;

bool RawDeflateStream::initialised() const {
  return engine_->compressor != nullptr || engine_->decompressor != nullptr;
}

RawDeflateStatus RawDeflateStream::process(bool finalize) {
  Engine& engine = *engine_;
  if (engine.failed) return RawDeflateStatus::error;
  if (!engine.coded) {
    // A whole-buffer engine needs all the input before it can start.
    if (!finalize) return RawDeflateStatus::ok;
    if (!engine.code(srcPtr, srcSize)) {
      engine.failed = true;
      return RawDeflateStatus::error;
    }
    engine.coded = true;
    srcPtr += srcSize;
    srcSize = 0;
  }
  const std::size_t left = engine.outputSize - engine.handedOut;
  const std::size_t now = std::min(left, dstSize);
  if (now != 0) std::memcpy(dstPtr, engine.output.get() + engine.handedOut, now);
  engine.handedOut += now;
  dstPtr += now;
  dstSize -= now;
  return engine.handedOut == engine.outputSize ? RawDeflateStatus::end : RawDeflateStatus::ok;
}

}  // namespace Keel::detail
