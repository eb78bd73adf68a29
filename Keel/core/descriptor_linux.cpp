#include "Keel/core/descriptor_linux.h"

#include <fcntl.h>
#include <unistd.h>

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

}  // namespace Keel
