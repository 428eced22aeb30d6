// A pipe that no child inherits. Both ends close on destruction; each end is closed exactly once.
#pragma once

#include <utility>

namespace moxtel {

// One open descriptor, or none (-1). Whoever holds it owns it.
class Descriptor final {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
  }
  ~Descriptor() { reset(); }
  int get() const noexcept { return fd_; }
  explicit operator bool() const noexcept { return fd_ >= 0; }
  void reset(int fd = -1) noexcept;

 private:
  int fd_ = -1;
};

struct Pipe {
  Descriptor readEnd;
  Descriptor writeEnd;
};

enum class PipeBlocking : unsigned char { Blocking, NonBlocking };

// Close-on-exec at both ends. Without descriptors to be had both ends are none.
Pipe makePipe(PipeBlocking blocking);

void setNonBlocking(int fd);

}  // namespace moxtel
