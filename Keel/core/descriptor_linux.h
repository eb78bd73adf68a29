// Owned file descriptors and folder listings, and the system calls on them
// retried after a signal: for Linux code that opens descriptors, has several
// ways out, and runs in processes whose signal handlers it does not control.
#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace Keel {

// One descriptor, closed when its owner goes. Closing never changes errno,
// so a descriptor may go out of scope between a failing call and the report
// of its error.
class Descriptor {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  // The descriptor, or -1 when none is held.
  [[nodiscard]] int get() const noexcept { return fd_; }
  [[nodiscard]] bool valid() const noexcept { return fd_ >= 0; }

  // Gives the descriptor up without closing it; -1 when none was held.
  [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

  // Closes the descriptor held, if any, and holds `fd` instead.
  void reset(int fd = -1) noexcept;

  // Closes now and tells whether the kernel reported no error (a file
  // system may report a failed write-back only here); errno tells why not.
  // True when nothing was held.
  [[nodiscard]] bool close() noexcept;

 private:
  int fd_ = -1;
};

// A folder listing (opendir, fdopendir), closed when its owner goes.
struct ListingCloser {
  void operator()(DIR* listing) const noexcept;
};
using Listing = std::unique_ptr<DIR, ListingCloser>;

// A listing of the folder open at `folder`, read through a duplicate, so that
// `folder` stays open for *at calls after the listing is closed. Null with
// errno set when it cannot be listed.
[[nodiscard]] Listing listingOf(int folder) noexcept;

// Calls `call` again for as long as it fails with EINTR (a signal arrived
// while it waited), for system calls that return -1 and set errno on
// failure. A call with a time-out starts it again from the full time.
template <class Call>
auto retryOnInterrupt(Call&& call) {
  for (;;) {
    auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

// read(2) retried after EINTR: the byte count (0 at the end) or -1 with errno.
[[nodiscard]] ssize_t readSome(int fd, void* buffer, std::size_t size) noexcept;

// Writes every byte, after EINTR and short writes alike. False with errno
// set when a write fails; how much was written is then unknown.
[[nodiscard]] bool writeAll(int fd, const void* bytes, std::size_t size) noexcept;
[[nodiscard]] inline bool writeAll(int fd, std::string_view bytes) noexcept {
  return writeAll(fd, bytes.data(), bytes.size());
}

// Opens the file at `path` for reading only when it is a regular file, for
// files that other people control: links are followed, but the path is first
// resolved without opening anything (O_PATH) and checked with fstat, and only
// then is that very inode opened, O_NONBLOCK and O_NOCTTY. So a FIFO never
// makes the call wait for a writer, and a device (/dev/zero, a terminal, a
// tape) or a socket is never opened at all. `status` receives the file's
// fstat. Invalid with errno set when there is nothing to read: the open's own
// error (ENOENT, EACCES, ELOOP, ...), EISDIR for a folder and ENXIO for any
// other file that is not regular. Read it with readAll and a size limit.
[[nodiscard]] Descriptor openRegularFile(const char* path, struct stat& status) noexcept;

// Reads `fd` to its end into a std::string or std::vector<std::uint8_t>.
// Absent with errno set when a read fails, and with EFBIG when there is more
// than `maxBytes`; memory stays within `maxBytes` plus one. `expectedSize`
// (a file's size from fstat) sizes the first read, so that a file read whole
// costs one read and no copy.
template <class Bytes>
[[nodiscard]] std::optional<Bytes> readAll(int fd, std::size_t maxBytes, std::size_t expectedSize = 0) {
  const std::size_t limit = maxBytes < SIZE_MAX ? maxBytes + 1 : maxBytes;  // one more shows a file past the limit
  Bytes bytes;
  bytes.resize(expectedSize == 0      ? std::min<std::size_t>(limit, 4096)
               : expectedSize < limit ? expectedSize + 1
                                      : limit);
  std::size_t used = 0;
  for (;;) {
    if (used == bytes.size()) {
      if (used >= limit) {
        errno = EFBIG;
        return std::nullopt;
      }
      bytes.resize(std::min(limit, std::max<std::size_t>(bytes.size() * 2, 4096)));
    }
    const ssize_t n = readSome(fd, bytes.data() + used, bytes.size() - used);
    if (n < 0) return std::nullopt;
    if (n == 0) break;
    used += static_cast<std::size_t>(n);
  }
  bytes.resize(used);
  return bytes;
}

}  // namespace Keel
