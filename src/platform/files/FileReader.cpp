#include "platform/files/FileReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "platform/system/Shortage.h"

namespace moxtel {
namespace {

// Reads of this size can be interrupted by a signal even on a slow disk.
constexpr std::size_t kPiece = std::size_t{16} << 20;

// The number of bytes read: less than `count` only at the end of the file or after an error.
std::size_t readUpTo(int descriptor, std::uint8_t* place, std::size_t count, std::uint64_t offset = 0) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got =
        ::pread(descriptor, place + done, std::min(kPiece, count - done), static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

int openQuietly(const std::string& path) {
  // O_NONBLOCK: otherwise opening a FIFO waits for a writer.
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), kFlags);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) noteShortage(errno);
  return descriptor;
}

FileState stateOfError(int error) {
  return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG ? FileState::Missing
                                                                      : FileState::Unreadable;
}

// A file that was opened, with its size. One that is not regular is closed.
OpenFile ifRegular(OpenFile file) {
  struct stat facts = {};
  if (::fstat(file.descriptor.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
    file.state = FileState::Unreadable;
    file.descriptor = FileDescriptor();
    return file;
  }
  file.state = FileState::Open;
  file.size = static_cast<std::uint64_t>(facts.st_size);
  return file;
}

void makeUnreadable(FileContents& contents) {
  contents.state = FileState::Unreadable;
  contents.bytes = Bytes();
}

// The contents with a buffer of the file's size, not yet read.
FileContents withRoomFor(const OpenFile& file, std::uint64_t maximumSize) {
  FileContents contents{file.state, {}, file.size};
  if (file.state != FileState::Open) return contents;
  if (file.size > maximumSize || file.size > contents.bytes.max_size()) {
    contents.state = FileState::TooLarge;
    return contents;
  }
  try {
    contents.bytes.resize(static_cast<std::size_t>(file.size));
  } catch (const std::bad_alloc&) {
    makeUnreadable(contents);
  }
  return contents;
}

void readInto(FileContents& contents, const OpenFile& file) {
  Bytes& bytes = contents.bytes;
  if (readUpTo(file.descriptor.get(), bytes.data(), bytes.size()) != bytes.size()) makeUnreadable(contents);
}

}  // namespace

OpenFile openRegularFile(const std::string& path) {
  OpenFile file;
  file.path = path;
  if (path.find('\0') != std::string::npos) return file;
  file.descriptor = FileDescriptor(openQuietly(path));
  if (!file.descriptor) {
    file.state = stateOfError(errno);
    return file;
  }
  return ifRegular(std::move(file));
}

OpenFile standardInputFile() {
  OpenFile file;
  file.descriptor = FileDescriptor(STDIN_FILENO);
  return ifRegular(std::move(file));
}

FileContents readAll(const OpenFile& file, std::uint64_t maximumSize) {
  FileContents contents = withRoomFor(file, maximumSize);
  if (contents.state == FileState::Open) readInto(contents, file);
  return contents;
}

FileContents readWholeFile(const std::string& path, std::uint64_t maximumSize) {
  return readAll(openRegularFile(path), maximumSize);
}

std::size_t readAt(const OpenFile& file, std::uint64_t offset, std::span<std::uint8_t> place) {
  if (!file.descriptor || offset > file.size) return 0;
  return readUpTo(file.descriptor.get(), place.data(), place.size(), offset);
}

Bytes readStart(const OpenFile& file, std::size_t count) {
  Bytes start(std::min<std::uint64_t>(count, file.size));
  if (file.descriptor) start.resize(readUpTo(file.descriptor.get(), start.data(), start.size()));
  return start;
}

}  // namespace moxtel
