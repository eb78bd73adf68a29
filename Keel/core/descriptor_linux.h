// An owned file descriptor, closed when its owner goes: for Linux code that
// opens descriptors and has several ways out.
#pragma once

#include <unistd.h>

namespace Keel {

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace Keel
