#include "platform/files/PartialFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "platform/files/Files.h"

namespace moxtel {

namespace {

std::string reason() { return std::generic_category().message(errno); }
std::string couldNotWrite(const std::string& path) { return "could not write " + path + ": " + reason(); }

}  // namespace

PartialFile::~PartialFile() {
  if (!part_.empty()) ::unlink(part_.c_str());
}

std::string PartialFile::openFor(const std::string& path) {
  path_ = resolvedPath(path);
  const std::string part = path_ + ".part";
  file_ = FileDescriptor(
      ::open(part.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
  struct stat status {};
  if (!file_ || ::fstat(file_.get(), &status) != 0) return couldNotWrite(part);
  if (!S_ISREG(status.st_mode)) return "could not write " + part + ": it is not a file";
  part_ = part;
  return {};
}

// In /var/tmp: /tmp may be memory.
std::string PartialFile::openUnnamed() {
  const char* folder = std::getenv("TMPDIR");
  std::string path = std::string(folder && *folder ? folder : "/var/tmp") + "/moxtel.XXXXXX";
  file_ = FileDescriptor(::mkostemp(path.data(), O_CLOEXEC));
  if (!file_) return couldNotWrite(path);
  ::unlink(path.c_str());
  return {};
}

std::string PartialFile::write(std::span<const std::uint8_t> bytes, std::uint64_t offset) {
  while (!bytes.empty()) {
    const ssize_t count = ::pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return "could not write the data: " + reason();
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
  return {};
}

std::string PartialFile::read(std::span<std::uint8_t> into, std::uint64_t offset) const {
  while (!into.empty()) {
    const ssize_t count = ::pread(file_.get(), into.data(), into.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return "could not read the data again: " + (count < 0 ? reason() : "it is shorter");
    into = into.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
  return {};
}

std::string PartialFile::truncate(std::uint64_t size) {
  if (::ftruncate(file_.get(), static_cast<off_t>(size)) == 0) return {};
  return "could not write the data: " + reason();
}

void PartialFile::look(std::size_t size, const std::function<void(std::span<const std::uint8_t>)>& at) const {
  void* const start = size > 0 ? ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file_.get(), 0) : MAP_FAILED;
  if (start == MAP_FAILED) return at({});
  at({static_cast<const std::uint8_t*>(start), size});
  ::munmap(start, size);
}

std::string PartialFile::publish() {
  if (std::rename(part_.c_str(), path_.c_str()) != 0) return couldNotWrite(path_);
  part_.clear();
  return {};
}

bool isDeviceOrPipe(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

bool isErrorTerminal() { return ::isatty(STDERR_FILENO) == 1; }

}  // namespace moxtel
