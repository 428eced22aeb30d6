#include "platform/files/OpenFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>

#include "platform/files/LockedFiles.h"
#include "platform/system/Shortage.h"

namespace moxtel {

namespace {

// A descriptor for looking up names needs no permission to list the folder.
constexpr int kFolder = O_PATH | O_DIRECTORY | O_CLOEXEC;
// O_NONBLOCK: otherwise opening a FIFO waits for a writer.
constexpr int kFile = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW;

int openQuietly(int folder, const char* name, int flags) {
  int descriptor = -1;
  do {
    descriptor = ::openat(folder, name, flags);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) noteShortage(errno);
  return descriptor;
}

NameState stateOfError(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
      return NameState::Missing;
    case EACCES:
    case EPERM:
      return NameState::Refused;
    default:
      return NameState::Failed;
  }
}

bool isLink(int folder, const char* name) {
  struct stat facts {};
  return ::fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(facts.st_mode);
}

std::optional<struct stat> factsOf(int descriptor) {
  struct stat facts {};
  if (::fstat(descriptor, &facts) != 0) return std::nullopt;
  return facts;
}

}  // namespace

OpenFolder OpenFolder::at(const std::string& path) {
  OpenFolder folder;
  if (path.find('\0') == std::string::npos) {
    folder.descriptor_ = FileDescriptor(openQuietly(AT_FDCWD, path.c_str(), kFolder));
  }
  return folder;
}

NameState OpenFolder::enter(const std::string& name, OpenFolder& folder) const {
  folder.descriptor_ = FileDescriptor(openQuietly(descriptor_.get(), name.c_str(), kFolder | O_NOFOLLOW));
  if (folder) return NameState::Found;
  const int error = errno;
  // A link is no folder; which of the two errors it gives depends on the file system.
  if ((error == ENOTDIR || error == ELOOP) && isLink(descriptor_.get(), name.c_str())) return NameState::Link;
  return stateOfError(error);
}

NameState OpenFolder::open(const std::string& name, OpenFile& file) const {
  // A hard link to a database: closing it again would drop the locks of the connection that has it open.
  if (isLockedFile(stampOf(descriptor_.get(), name))) return NameState::Failed;
  file.descriptor = FileDescriptor(openQuietly(descriptor_.get(), name.c_str(), kFile));
  if (!file.descriptor) {
    const int error = errno;
    if (error == ELOOP) return NameState::Link;
    return stateOfError(error);
  }
  const auto facts = factsOf(file.descriptor.get());
  if (!facts || !S_ISREG(facts->st_mode)) {
    file.descriptor = FileDescriptor();
    return NameState::Failed;
  }
  file.state = FileState::Open;
  file.size = static_cast<std::uint64_t>(facts->st_size);
  return NameState::Found;
}

// Source: openat2(2), since Linux 5.6.
bool OpenFolder::openDirectly(const std::string& path, OpenFile& file) const {
  if (path.find('\0') != std::string::npos || isLockedFile(stampOf(descriptor_.get(), path))) return false;
  open_how how{};
  how.flags = kFile;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  FileDescriptor descriptor(
      static_cast<int>(::syscall(SYS_openat2, descriptor_.get(), path.c_str(), &how, sizeof how)));
  if (!descriptor) return false;
  const auto facts = factsOf(descriptor.get());
  if (!facts || !S_ISREG(facts->st_mode)) return false;
  file.descriptor = std::move(descriptor);
  file.state = FileState::Open;
  file.size = static_cast<std::uint64_t>(facts->st_size);
  return true;
}

NameState OpenFolder::look(const std::string& name) const {
  struct stat facts {};
  if (::fstatat(descriptor_.get(), name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
    return stateOfError(errno);
  if (S_ISLNK(facts.st_mode)) return NameState::Link;
  return S_ISREG(facts.st_mode) ? NameState::Found : NameState::Failed;
}

std::optional<std::string> OpenFolder::linkTarget(const std::string& name) const {
  std::array<char, PATH_MAX> text;
  const ssize_t size = ::readlinkat(descriptor_.get(), name.c_str(), text.data(), text.size());
  // A target that fills the whole buffer may be cut off.
  if (size <= 0 || static_cast<std::size_t>(size) == text.size()) return std::nullopt;
  return std::string(text.data(), static_cast<std::size_t>(size));
}

std::optional<FolderIdentity> OpenFolder::identity() const {
  const auto facts = factsOf(descriptor_.get());
  if (!facts) return std::nullopt;
  return FolderIdentity{static_cast<std::uint64_t>(facts->st_dev), static_cast<std::uint64_t>(facts->st_ino)};
}

std::optional<std::int64_t> OpenFolder::modified() const {
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  const auto facts = factsOf(descriptor_.get());
  if (!facts) return std::nullopt;
  return static_cast<std::int64_t>(facts->st_mtim.tv_sec) * kNanoseconds + facts->st_mtim.tv_nsec;
}

std::optional<std::vector<std::string>> OpenFolder::names() const {
  const int descriptor = openQuietly(descriptor_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return std::nullopt;
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(descriptor), &::closedir);
  if (!listing) {
    ::close(descriptor);
    return std::nullopt;
  }
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = ::readdir(listing.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  if (errno != 0) return std::nullopt;
  return names;
}

}  // namespace moxtel
