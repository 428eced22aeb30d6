// Owns a file descriptor and closes it exactly once. One thread at a time.
#pragma once

#include <unistd.h>

#include <utility>

namespace moxtel {

class FileDescriptor final {
 public:
  FileDescriptor() noexcept = default;
  // Takes ownership; a negative number means no descriptor.
  explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      close();
      descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { close(); }

  explicit operator bool() const noexcept { return descriptor_ >= 0; }
  int get() const noexcept { return descriptor_; }
  // Gives up ownership.
  int release() noexcept { return std::exchange(descriptor_, -1); }
  // Not repeated when interrupted: the descriptor is closed by then, and its number may be in use again.
  void close() noexcept {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
  }

 private:
  int descriptor_ = -1;
};

}  // namespace moxtel
