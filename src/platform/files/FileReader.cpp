#include "platform/files/FileReader.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "value/Pages.h"

namespace moxtel {
namespace {

// One read() moves no more than about 2 GiB anyway; pieces of this size keep a slow disk's read
// interruptible.
constexpr std::size_t kPiece = std::size_t{16} << 20;

// The number of bytes read, less than asked for only at the end of the file or after an error.
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
  // O_NONBLOCK: opening a FIFO without a writer would wait for one.
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), kFlags);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

FileState stateOfError(int error) {
  return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG ? FileState::Missing
                                                                      : FileState::Unreadable;
}

void makeUnreadable(FileContents& contents) {
  contents.state = FileState::Unreadable;
  contents.bytes = Bytes();
}

// Not read yet.
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

enum class Mapping : std::uint8_t { Done, Impossible, Failed };

#ifdef MADV_POPULATE_READ
// Reads every page in, so that what cannot be read is known before the first byte is sent.
Mapping populate(Bytes& bytes) {
  ::madvise(bytes.data(), bytes.size(), MADV_SEQUENTIAL);
  for (std::size_t done = 0; done < bytes.size();) {
    const std::size_t count = std::min(kPiece, bytes.size() - done);
    if (::madvise(bytes.data() + done, count, MADV_POPULATE_READ) == 0) {
      done += count;
    } else if (errno == EINVAL) {
      return Mapping::Impossible;  // an older system
    } else if (errno != EINTR && errno != EAGAIN) {
      return Mapping::Failed;
    }
  }
  return Mapping::Done;
}

// Lays the file over the buffer, whose pages are its own. After Impossible the buffer is as it was.
Mapping mapOver(Bytes& bytes, const OpenFile& file) {
  const std::size_t length = wholePages(bytes.size());
  constexpr int kAccess = PROT_READ | PROT_WRITE;
  constexpr int kPlace = MAP_PRIVATE | MAP_FIXED | MAP_NORESERVE;
  Mapping mapping = Mapping::Impossible;
  if (::mmap(bytes.data(), length, kAccess, kPlace, file.descriptor.get(), 0) != MAP_FAILED)
    mapping = populate(bytes);
  if (mapping == Mapping::Impossible) {
    const bool restored = ::mmap(bytes.data(), length, kAccess, kPlace | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
    return restored ? Mapping::Impossible : Mapping::Failed;
  }
  // A file that lost less than its last page has zeros there.
  struct stat facts = {};
  const bool isWhole = ::fstat(file.descriptor.get(), &facts) == 0 && facts.st_size >= 0 &&
                       static_cast<std::uint64_t>(facts.st_size) >= bytes.size();
  return isWhole ? mapping : Mapping::Failed;
}
#else
Mapping mapOver(Bytes&, const OpenFile&) { return Mapping::Impossible; }
#endif

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

FileContents readAll(const OpenFile& file, std::uint64_t maximumSize) {
  FileContents contents = withRoomFor(file, maximumSize);
  if (contents.state == FileState::Open) readInto(contents, file);
  return contents;
}

FileContents readToSend(const OpenFile& file, std::uint64_t maximumSize) {
  FileContents contents = withRoomFor(file, maximumSize);
  if (contents.state != FileState::Open) return contents;
  switch (contents.bytes.size() < kOwnPagesFrom ? Mapping::Impossible : mapOver(contents.bytes, file)) {
    case Mapping::Done:
      break;
    case Mapping::Impossible:
      readInto(contents, file);
      break;
    case Mapping::Failed:
      makeUnreadable(contents);
  }
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
