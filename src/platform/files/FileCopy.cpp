#include "platform/files/FileCopy.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace moxtel {

namespace {

constexpr std::size_t kChunk = 1 << 20;

// A part of a file that is no hole: from its first byte to behind its last.
struct Extent {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

// The next one from a position on. Empty at the file's end if only a hole follows. The whole rest where the
// file system knows no holes.
Extent nextExtent(const OpenFile& file, std::uint64_t position) {
  const off_t data = ::lseek(file.descriptor.get(), static_cast<off_t>(position), SEEK_DATA);
  if (data < 0 && errno == ENXIO) return {file.size, file.size};
  const off_t hole = data < 0 ? -1 : ::lseek(file.descriptor.get(), data, SEEK_HOLE);
  if (hole < 0) return {position, file.size};
  return {std::min(static_cast<std::uint64_t>(data), file.size),
          std::min(static_cast<std::uint64_t>(hole), file.size)};
}

bool writeAt(int descriptor, std::span<const std::uint8_t> bytes, std::uint64_t position) {
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(position));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    position += static_cast<std::uint64_t>(written);
  }
  return true;
}

bool copyExtent(const OpenFile& from, int to, Extent extent, Bytes& buffer) {
  while (extent.begin < extent.end) {
    const auto part =
        std::span(buffer).first(std::min<std::uint64_t>(buffer.size(), extent.end - extent.begin));
    if (readAt(from, extent.begin, part) != part.size()) {
      errno = EIO;
      return false;
    }
    if (!writeAt(to, part, extent.begin)) return false;
    extent.begin += part.size();
  }
  return true;
}

}  // namespace

CopyResult copyPrivately(const OpenFile& from, const std::string& to, std::uint64_t& room) {
  const FileDescriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!target) return CopyResult::Failed;
  Bytes buffer(kChunk);
  for (std::uint64_t position = 0; position < from.size;) {
    const Extent extent = nextExtent(from, position);
    const std::uint64_t size = extent.end - extent.begin;
    if (size > room) return CopyResult::TooLarge;
    if (!copyExtent(from, target.get(), extent, buffer)) return CopyResult::Failed;
    room -= size;
    position = extent.end;
  }
  return ::ftruncate(target.get(), static_cast<off_t>(from.size)) == 0 ? CopyResult::Done
                                                                       : CopyResult::Failed;
}

}  // namespace moxtel
