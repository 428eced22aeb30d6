#include "platform/files/Files.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/files/FileDescriptor.h"
#include "value/Value.h"

namespace moxtel {

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;
constexpr std::string_view kRandomPart = "XXXXXX";  // of the name of a private folder
constexpr int kTries = 3;

std::int64_t modifiedNanoseconds(const struct stat& status) {
  const timespec& time = status.st_mtim;
  return static_cast<std::int64_t>(time.tv_sec) * kNanoseconds + time.tv_nsec;
}

// From the result of a stat call.
FileStamp stampFrom(int result, const struct stat& status) {
  FileStamp stamp;
  if (result != 0) {
    stamp.error = errno;
    return stamp;
  }
  stamp.kind = S_ISREG(status.st_mode) ? FileStamp::Kind::Regular : FileStamp::Kind::Other;
  stamp.device = static_cast<std::uint64_t>(status.st_dev);
  stamp.inode = static_cast<std::uint64_t>(status.st_ino);
  stamp.size = static_cast<std::uint64_t>(status.st_size);
  constexpr std::uint64_t kBlock = 512;  // whatever the blocks of the file system are
  stamp.allocated = static_cast<std::uint64_t>(status.st_blocks) * kBlock;
  stamp.modified = modifiedNanoseconds(status);
  return stamp;
}

// Empty if it is not a folder, or not of this user alone.
FileDescriptor openPrivateFolder(const std::string& path) {
  FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  const bool isOurs = folder && ::fstat(folder.get(), &status) == 0 && status.st_uid == ::geteuid() &&
                      (status.st_mode & 0077) == 0;
  return isOurs ? std::move(folder) : FileDescriptor();
}

// Locks a new folder. True if another process has deleted it, or is about to. A file system without locks
// grants none to the other process either.
bool isSwept(int folder) {
  if (::flock(folder, LOCK_EX | LOCK_NB) != 0) return errno == EWOULDBLOCK;
  struct stat status {};
  return ::fstat(folder, &status) == 0 && status.st_nlink == 0;
}

}  // namespace

double FileStamp::modifiedDate() const {
  // Seconds and nanoseconds apart: a double cannot hold nanoseconds since 1970 exactly.
  const std::int64_t seconds = modified / kNanoseconds;
  return static_cast<double>(seconds) - kReferenceDateAfterUnixEpoch +
         static_cast<double>(modified % kNanoseconds) / static_cast<double>(kNanoseconds);
}

FileStamp stampOf(const std::string& path) {
  struct stat status {};
  return stampFrom(::stat(path.c_str(), &status), status);
}

FileStamp stampOf(int folder, const std::string& name) {
  struct stat status {};
  return stampFrom(::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW), status);
}

FileStamp stampOf(int descriptor) {
  struct stat status {};
  return stampFrom(::fstat(descriptor, &status), status);
}

bool isSameFile(const FileStamp& a, const FileStamp& b) {
  return a.kind != FileStamp::Kind::Missing && a.device == b.device && a.inode == b.inode && a.kind == b.kind;
}

int openRegularOnly(const char* path, int flags, int mode) {
  // O_NONBLOCK: opening a FIFO or a device does not wait. Reading a regular file is the same with it.
  FileDescriptor file(::open(path, flags | O_NONBLOCK, mode));  // NOLINT
  if (!file || stampOf(file.get()).isRegular() || std::string_view(path) == "/dev/urandom")
    return file.release();
  file.close();
  errno = EISDIR;
  return -1;
}

std::optional<std::uint32_t> ownerOf(const std::string& path) {
  struct stat attributes {};
  if (::stat(path.c_str(), &attributes) != 0) return std::nullopt;
  return attributes.st_uid;
}

std::string resolvedPath(const std::string& path) {
  std::error_code error;
  const auto resolved = std::filesystem::canonical(path, error);
  return error ? path : resolved.string();
}

bool isReadable(const std::string& path) {
  return ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
}

bool isEnterable(const std::string& folder) {
  return ::faccessat(AT_FDCWD, folder.c_str(), X_OK, AT_EACCESS) == 0;
}

bool grantsLocks(int descriptor) {
  struct flock lock {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  if (::fcntl(descriptor, F_SETLK, &lock) == 0) {
    lock.l_type = F_UNLCK;
    ::fcntl(descriptor, F_SETLK, &lock);
    return true;
  }
  return errno != ENOLCK && errno != ENOSYS && errno != EOPNOTSUPP && errno != EINVAL;
}

bool isOnLocalDisk(const std::string& path) {
  // Those of linux/magic.h, and numbers that are only in the kernel's sources: HFS, HFS+, NTFS, ZFS,
  // bcachefs, JFS.
  constexpr std::array<std::uint32_t, 19> kLocal{EXT4_SUPER_MAGIC,
                                                 BTRFS_SUPER_MAGIC,
                                                 XFS_SUPER_MAGIC,
                                                 F2FS_SUPER_MAGIC,
                                                 TMPFS_MAGIC,
                                                 RAMFS_MAGIC,
                                                 OVERLAYFS_SUPER_MAGIC,
                                                 ISOFS_SUPER_MAGIC,
                                                 UDF_SUPER_MAGIC,
                                                 SQUASHFS_MAGIC,
                                                 MSDOS_SUPER_MAGIC,
                                                 EXFAT_SUPER_MAGIC,
                                                 REISERFS_SUPER_MAGIC,
                                                 0x4244,
                                                 0x482b,
                                                 0x7366746e,
                                                 0x2fc12fc1,
                                                 0xca451a4e,
                                                 0x3153464a};
  struct statfs status {};
  if (::statfs(path.c_str(), &status) != 0) return false;
  return std::find(kLocal.begin(), kLocal.end(), static_cast<std::uint32_t>(status.f_type)) != kLocal.end();
}

std::uint64_t freeBytesIn(const std::string& folder) {
  struct statvfs status {};
  if (::statvfs(folder.c_str(), &status) != 0) return 0;
  return static_cast<std::uint64_t>(status.f_bavail) * static_cast<std::uint64_t>(status.f_frsize);
}

std::string whyNotWritableFolder(const std::string& path) {
  struct stat facts {};
  int error = ::stat(path.c_str(), &facts) == 0 ? 0 : errno;
  if (error == 0 && !S_ISDIR(facts.st_mode)) error = ENOTDIR;
  if (error == 0 && ::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) != 0) error = errno;
  return error == 0 ? std::string() : std::generic_category().message(error);
}

std::string userName() {
  std::array<char, 16384> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
  return found && found->pw_name ? std::string(found->pw_name) : std::to_string(::geteuid());
}

std::optional<std::string> homeFolder(const std::string& user) {
  if (user.empty()) {
    if (const char* home = std::getenv("HOME"); home && *home) return std::string(home);
  }
  std::array<char, 16384> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  if (user.empty()) {
    ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
  } else {
    ::getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found);
  }
  if (!found || !found->pw_dir) return std::nullopt;
  return std::string(found->pw_dir);
}

void sweepPrivateFolders(const std::string& parent, std::string_view prefix) {
  namespace fs = std::filesystem;
  std::error_code error;
  for (fs::directory_iterator entry(parent, error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (!name.starts_with(prefix) || name.size() != prefix.size() + kRandomPart.size()) continue;
    const FileDescriptor folder = openPrivateFolder(entry->path());
    if (!folder || ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0) continue;
    std::error_code ignored;
    fs::remove_all(entry->path(), ignored);
  }
}

PrivateFolder::PrivateFolder(const std::string& parent, std::string_view prefix) {
  // Another process may sweep the new folder before it is locked; then the next one is made.
  for (int i = 0; i < kTries && !lock_; ++i) {
    path_ = parent + "/" + std::string(prefix) + std::string(kRandomPart);
    if (!::mkdtemp(path_.data())) break;
    lock_ = openPrivateFolder(path_);
    if (lock_ && isSwept(lock_.get())) lock_.close();
    if (!lock_) ::rmdir(path_.c_str());
  }
  if (!lock_) path_.clear();
}

PrivateFolder::~PrivateFolder() {
  if (path_.empty()) return;
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

}  // namespace moxtel
