#include "platform/files/Files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include "platform/files/FileDescriptor.h"
#include "value/Value.h"

namespace moxtel {

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;
constexpr std::size_t kCopyChunk = 1 << 20;

std::string errorText(int error) { return std::error_code(error, std::generic_category()).message(); }

bool writeAll(int fd, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::write(fd, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

bool copyBytes(int from, int to) {
  std::vector<char> buffer(kCopyChunk);
  for (;;) {
    const ssize_t count = ::read(from, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
    if (!writeAll(to, buffer.data(), static_cast<std::size_t>(count))) return false;
  }
}

std::int64_t modifiedNanoseconds(const struct stat& status) {
  const timespec& time = status.st_mtim;
  return static_cast<std::int64_t>(time.tv_sec) * kNanoseconds + time.tv_nsec;
}

}  // namespace

double FileStamp::modifiedDate() const {
  // Seconds and nanoseconds apart: a double cannot hold nanoseconds since 1970 exactly.
  const std::int64_t seconds = modified / kNanoseconds;
  return static_cast<double>(seconds) - kReferenceDateAfterUnixEpoch +
         static_cast<double>(modified % kNanoseconds) / static_cast<double>(kNanoseconds);
}

FileStamp stampOf(const std::string& path) {
  FileStamp stamp;
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    stamp.error = errno;
    return stamp;
  }
  stamp.kind = S_ISREG(status.st_mode) ? FileStamp::Kind::Regular : FileStamp::Kind::Other;
  stamp.device = static_cast<std::uint64_t>(status.st_dev);
  stamp.inode = static_cast<std::uint64_t>(status.st_ino);
  stamp.size = static_cast<std::uint64_t>(status.st_size);
  stamp.modified = modifiedNanoseconds(status);
  return stamp;
}

std::string resolvedPath(const std::string& path) {
  std::error_code error;
  const auto resolved = std::filesystem::canonical(path, error);
  return error ? path : resolved.string();
}

bool isReadable(const std::string& path) { return ::access(path.c_str(), R_OK) == 0; }

bool grantsLocks(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) return true;
  struct flock lock {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  if (::fcntl(file.get(), F_SETLK, &lock) == 0) return true;
  return errno != ENOLCK && errno != ENOSYS && errno != EOPNOTSUPP && errno != EINVAL;
}

std::uint64_t freeBytesIn(const std::string& folder) {
  struct statvfs status {};
  if (::statvfs(folder.c_str(), &status) != 0) return 0;
  return static_cast<std::uint64_t>(status.f_bavail) * static_cast<std::uint64_t>(status.f_frsize);
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

std::string copyPrivately(const std::string& from, const std::string& to) {
  // O_NONBLOCK: does not wait if a named pipe has replaced the file.
  const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (source.get() < 0 || ::fstat(source.get(), &status) != 0) return errorText(errno);
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  const FileDescriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (target.get() < 0 || !copyBytes(source.get(), target.get())) return errorText(errno);
  return {};
}

PrivateFolder::PrivateFolder(const std::string& parent, std::string_view prefix) {
  std::string name = parent + "/" + std::string(prefix) + "XXXXXX";
  if (::mkdtemp(name.data())) path_ = name;
}

PrivateFolder::~PrivateFolder() {
  if (path_.empty()) return;
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

}  // namespace moxtel
