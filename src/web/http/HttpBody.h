// The body of a reply that is not a text in memory: bytes that are produced while they are sent, or a part of
// a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

// Bytes that are produced while they are sent. Called on one thread at a time, which may change between
// calls. Such a thread sends other replies, too: read() must not wait for anything but a file.
class HttpBody {
 public:
  HttpBody() = default;
  virtual ~HttpBody() = default;
  HttpBody(const HttpBody&) = delete;
  HttpBody& operator=(const HttpBody&) = delete;

  // The number of bytes; nullopt while it is not known, then ranges are not offered.
  virtual std::optional<std::uint64_t> size() const = 0;
  // Whether reading may begin anywhere; if not, ranges are not offered either.
  virtual bool offersRanges() const { return true; }
  // Bytes that read() is asked for at once, and the size of the buffer that the reply has until its end.
  virtual std::size_t blockSize() const { return 65536; }
  // Fills the buffer with up to its size from this offset and returns how many bytes that were; 0 at the end;
  // nullopt on a failure, which ends the connection. The first offset is that of the range that was asked
  // for; then each offset is the end of what was read before.
  virtual std::optional<std::size_t> read(std::uint64_t offset, std::span<char> buffer) = 0;
};

// A part of a file, which the kernel sends. The file must not shrink meanwhile; if it does, the connection
// ends.
struct FileBody {
  FileDescriptor file;
  std::uint64_t offset = 0;  // bytes
  std::uint64_t size = 0;    // bytes from the offset on
};

}  // namespace moxtel
