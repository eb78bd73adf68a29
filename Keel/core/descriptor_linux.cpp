#include "Keel/core/descriptor_linux.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace Keel {

void Descriptor::reset(int fd) noexcept {
  if (fd_ >= 0 && fd_ != fd) {
    const int saved = errno;
    // Linux releases the descriptor even when close reports EINTR, so it is
    // never closed twice.
    ::close(fd_);
    errno = saved;
  }
  fd_ = fd;
}

bool Descriptor::close() noexcept {
  const int fd = release();
  return fd < 0 || ::close(fd) == 0;
}

void ListingCloser::operator()(DIR* listing) const noexcept {
  const int saved = errno;
  ::closedir(listing);
  errno = saved;
}

Listing listingOf(int folder) noexcept {
  Descriptor duplicate(::fcntl(folder, F_DUPFD_CLOEXEC, 0));
  if (!duplicate.valid()) return nullptr;
  DIR* listing = ::fdopendir(duplicate.get());
  if (listing != nullptr) (void)duplicate.release();  // the listing owns it now
  return Listing(listing);
}

ssize_t readSome(int fd, void* buffer, std::size_t size) noexcept {
  return retryOnInterrupt([&] { return ::read(fd, buffer, size); });
}

bool writeAll(int fd, const void* bytes, std::size_t size) noexcept {
  const auto* at = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t n = retryOnInterrupt([&] { return ::write(fd, at, size); });
    if (n < 0) return false;
    at += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

Descriptor openRegularFile(const char* path, struct stat& status) noexcept {
  const Descriptor located(::open(path, O_PATH | O_CLOEXEC));
  if (!located.valid()) return Descriptor();
  if (::fstat(located.get(), &status) != 0) return Descriptor();
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : ENXIO;
    return Descriptor();
  }
  // Reopen the inode just checked, not the path, which may have been
  // replaced meanwhile. O_NONBLOCK still matters for the few regular files of
  // pseudo file systems that would wait for data.
  constexpr int openFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  char reopen[64];
  std::snprintf(reopen, sizeof reopen, "/proc/self/fd/%d", located.get());
  Descriptor file(::open(reopen, openFlags));
  if (file.valid() || errno != ENOENT) return file;
  // Without /proc: the path again, and the same inode or nothing.
  file.reset(::open(path, openFlags));
  struct stat opened {};
  if (!file.valid()) return file;
  if (::fstat(file.get(), &opened) != 0 || opened.st_dev != status.st_dev || opened.st_ino != status.st_ino) {
    errno = ENXIO;
    return Descriptor();
  }
  return file;
}

}  // namespace Keel
