#include "platform/files/TargetFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <memory>
#include <system_error>

#include "platform/files/Files.h"

namespace moxtel {

namespace {

using Kind = WriteProblem::Kind;

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
constexpr std::int64_t kNanoseconds = 1'000'000'000;
constexpr std::uint64_t kLargestOfFat = 0xFFFFFFFF;

std::string reasonOf(int error) { return std::generic_category().message(error); }

WriteProblem problemOf(int error) {
  switch (error) {
    case ENOSPC:
    case EDQUOT:
      return {Kind::Full, reasonOf(error)};
    case EFBIG:
      return {Kind::TooLarge, reasonOf(error)};
    case EIO:
    case EROFS:
    case ENODEV:
    case ENXIO:
    case ESTALE:
    case ENOTCONN:
      return {Kind::Broken, reasonOf(error)};
    default:
      return {Kind::Target, reasonOf(error)};
  }
}

TargetEntry entryOf(const struct stat& facts) {
  TargetEntry entry;
  entry.kind = S_ISREG(facts.st_mode)   ? TargetEntry::Kind::File
               : S_ISDIR(facts.st_mode) ? TargetEntry::Kind::Folder
                                        : TargetEntry::Kind::Other;
  entry.size = static_cast<std::uint64_t>(facts.st_size);
  entry.modified = static_cast<std::int64_t>(facts.st_mtim.tv_sec) * kNanoseconds + facts.st_mtim.tv_nsec;
  return entry;
}

// Removes and returns the first name of a path.
std::string takeName(std::string_view& path) {
  const std::size_t slash = path.find('/');
  std::string name(path.substr(0, slash));
  path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
  return name;
}

// Whether a name stays in its folder.
bool isPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('\0') == std::string_view::npos;
}

}  // namespace

TargetFolder::TargetFolder(const std::string& path, std::string workFolder, bool create)
    : workFolder_(std::move(workFolder)) {
  std::error_code error;
  if (create) std::filesystem::create_directories(path, error);
  if (error) {
    problem_ = reasonOf(error.value());
    return;
  }
  root_ = FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root_) problem_ = reasonOf(errno);
  path_ = resolvedPath(path);
}

// Leaves the folder in last_.
WriteProblem TargetFolder::enter(std::string_view path, bool create) {
  if (last_ && path == lastPath_) return {};
  FileDescriptor folder(::dup(root_.get()));
  for (std::string_view rest = path; !rest.empty();) {
    const std::string name = takeName(rest);
    if (!isPlainName(name)) return {Kind::Target, "the path is not allowed"};
    if (create && ::mkdirat(folder.get(), name.c_str(), 0777) != 0 && errno != EEXIST) {
      // An open folder lacks no name but when it was deleted.
      if (errno == ENOENT) return {Kind::Broken, "its folder was deleted"};
      return problemOf(errno);
    }
    const int next = ::openat(folder.get(), name.c_str(), kFolder);
    if (next < 0 && (errno == ELOOP || errno == ENOTDIR))
      return {Kind::Target, "'" + name + "' in the target is a link or a file, not a folder"};
    if (next < 0) return problemOf(errno);
    folder = FileDescriptor(next);
  }
  if (!folder) return problemOf(errno);
  last_ = std::move(folder);
  lastPath_ = path;
  return {};
}

TargetFolder::Place TargetFolder::placeOf(std::string_view path, bool create) {
  const std::size_t slash = path.rfind('/');
  Place place;
  place.name = path.substr(slash == std::string_view::npos ? 0 : slash + 1);
  if (!isPlainName(place.name) || path.starts_with('/') || path.find("//") != std::string_view::npos) {
    place.problem = {Kind::Target, "the path is not allowed"};
    return place;
  }
  place.problem = enter(slash == std::string_view::npos ? std::string_view() : path.substr(0, slash), create);
  if (!place.problem) place.folder = last_.get();
  return place;
}

TargetEntry TargetFolder::look(std::string_view path) {
  const Place place = placeOf(path, false);
  struct stat facts {};
  if (place.problem || ::fstatat(place.folder, place.name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
    return {};
  return entryOf(facts);
}

OpenFile TargetFolder::open(std::string_view path) {
  OpenFile file;
  file.path = path_ + "/" + std::string(path);
  const Place place = placeOf(path, false);
  if (place.problem) return file;
  // O_NONBLOCK: opening a FIFO does not wait for a writer.
  file.descriptor = FileDescriptor(
      ::openat(place.folder, place.name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  struct stat facts {};
  if (!file.descriptor || ::fstat(file.descriptor.get(), &facts) != 0) {
    file.state = errno == ENOENT ? FileState::Missing : FileState::Unreadable;
  } else if (!S_ISREG(facts.st_mode)) {
    file.state = FileState::Unreadable;
  } else {
    file.state = FileState::Open;
    file.size = static_cast<std::uint64_t>(facts.st_size);
  }
  return file;
}

std::vector<std::string> TargetFolder::names(std::string_view path) {
  if (enter(path, false)) return {};
  const int own = ::openat(last_.get(), ".", kFolder);
  if (own < 0) return {};
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(own), &::closedir);
  std::vector<std::string> names;
  while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr)
    if (isPlainName(entry->d_name)) names.emplace_back(entry->d_name);
  return names;
}

WriteProblem TargetFolder::makeFolders(std::string_view path) { return enter(path, true); }

WriteProblem TargetFolder::link(const std::string& leadsTo, std::string_view path) {
  const Place place = placeOf(path, true);
  if (place.problem) return place.problem;
  if (::symlinkat(leadsTo.c_str(), place.folder, place.name.c_str()) != 0) return problemOf(errno);
  return {};
}

WriteProblem TargetFolder::openWorkFolder() {
  if (work_) return {};
  if (WriteProblem problem = makeFolders(workFolder_)) return problem;
  work_ = FileDescriptor(::dup(last_.get()));
  return work_ ? WriteProblem() : problemOf(errno);
}

TargetFolder::Lock TargetFolder::lock() {
  WriteProblem problem = openWorkFolder();
  if (!problem) {
    lock_ = FileDescriptor(::openat(work_.get(), "lock", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!lock_) problem = problemOf(errno);
  }
  problem_ = problem.reason;
  if (problem) return Lock::Unusable;
  int result = 0;
  do {
    result = ::flock(lock_.get(), LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  return result == 0 || errno != EWOULDBLOCK ? Lock::Taken : Lock::Busy;
}

WriteProblem TargetFolder::sync() {
  if (::syncfs(root_.get()) == 0) return {};
  return problemOf(errno);
}

std::uint64_t TargetFolder::freeBytes() const { return freeBytesIn(path_); }

std::optional<std::uint64_t> TargetFolder::largestFile() const {
  struct statfs facts {};
  if (::fstatfs(root_.get(), &facts) != 0 || facts.f_type != MSDOS_SUPER_MAGIC) return std::nullopt;
  return kLargestOfFat;
}

// ---- TargetFile ----

namespace {

constexpr const char* kPart = "copy.part";
constexpr std::size_t kChunk = 1 << 20;
constexpr std::size_t kLargeChunk = 64 << 20;

// What the kernel answers where it cannot copy between these files by itself.
bool mustCopyByHand(int error) {
  return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM ||
         error == EBADF || error == ETXTBSY;
}

WriteProblem writeAll(int file, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return problemOf(errno);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return {};
}

// Reads the next bytes of the source; a failure is the source's.
WriteProblem readNext(const OpenFile& source, std::uint64_t at, std::span<std::uint8_t>& into) {
  ssize_t count = 0;
  do {
    count = ::pread(source.descriptor.get(), into.data(), into.size(), static_cast<off_t>(at));
  } while (count < 0 && errno == EINTR);
  if (count < 0) return {Kind::Source, reasonOf(errno)};
  if (count == 0) return {Kind::Source, "the file became shorter while it was read"};
  into = into.first(static_cast<std::size_t>(count));
  return {};
}

const WriteProblem kCanceled{Kind::Canceled, "canceled"};

timespec timeOf(double seconds) {
  const double whole = std::floor(seconds);
  return {static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)};
}

}  // namespace

TargetFile::~TargetFile() {
  if (isNamed_) ::unlinkat(folder_.work_.get(), kPart, 0);
}

WriteProblem TargetFile::create() {
  if (WriteProblem problem = folder_.openWorkFolder()) return problem;
  // What a run that was ended left behind, or what somebody put there.
  ::unlinkat(folder_.work_.get(), kPart, 0);
  file_ = FileDescriptor(
      ::openat(folder_.work_.get(), kPart, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
  if (!file_ && errno == ENOENT)
    return {Kind::Broken, "its folder '" + folder_.workFolder_ + "' was deleted"};
  if (!file_) return problemOf(errno);
  isNamed_ = true;
  return {};
}

WriteProblem TargetFile::copy(const OpenFile& source, const Part& each,
                              const std::function<bool()>& isCanceled) {
  if (WriteProblem problem = create()) return problem;
  ::posix_fadvise(source.descriptor.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
  const bool isCloned = tryClone(source);
  if (each)
    return copyParts(
        source, [&](auto bytes) { return each(bytes) && !isCanceled(); }, isCloned);
  return isCloned ? WriteProblem() : copyWhole(source, isCanceled);
}

bool TargetFile::tryClone(const OpenFile& source) {
  if (!folder_.clones_ || source.size == 0) return false;
  folder_.clones_ = ::ioctl(file_.get(), FICLONE, source.descriptor.get()) == 0;
  return folder_.clones_;
}

WriteProblem TargetFile::copyWhole(const OpenFile& source, const std::function<bool()>& isCanceled) {
  off64_t at = 0;
  while (static_cast<std::uint64_t>(at) < source.size) {
    if (isCanceled()) return kCanceled;
    const std::size_t size =
        std::min<std::uint64_t>(kLargeChunk, source.size - static_cast<std::uint64_t>(at));
    const ssize_t count = ::copy_file_range(source.descriptor.get(), &at, file_.get(), nullptr, size, 0);
    if (count > 0 || (count < 0 && errno == EINTR)) continue;
    if (count == 0) return {Kind::Source, "the file became shorter while it was read"};
    // Reading by hand continues where this ended, and shows whether the source or the target fails.
    if (mustCopyByHand(errno) || errno == EIO) break;
    return problemOf(errno);
  }
  if (static_cast<std::uint64_t>(at) == source.size) return {};
  if (::ftruncate(file_.get(), 0) != 0 || ::lseek(file_.get(), 0, SEEK_SET) != 0) return problemOf(errno);
  return copyParts(
      source, [&](auto) { return !isCanceled(); }, false);
}

WriteProblem TargetFile::copyParts(const OpenFile& source, const Part& each, bool isCloned) {
  Bytes buffer(std::min<std::uint64_t>(kChunk, source.size));
  for (std::uint64_t at = 0; at < source.size;) {
    std::span<std::uint8_t> part = std::span(buffer).first(std::min<std::uint64_t>(kChunk, source.size - at));
    if (WriteProblem problem = readNext(source, at, part)) return problem;
    if (!each(part)) return kCanceled;
    if (!isCloned) {
      if (WriteProblem problem = writeAll(file_.get(), part)) return problem;
    }
    at += part.size();
  }
  return {};
}

WriteProblem TargetFile::write(std::string_view bytes) {
  if (!isNamed_) {
    if (WriteProblem problem = create()) return problem;
  }
  return writeAll(file_.get(), {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

WriteProblem TargetFile::giveName(std::string_view path) {
  for (const bool isAgain : {false, true}) {
    const TargetFolder::Place place = folder_.placeOf(path, true);
    if (place.problem) return place.problem;
    if (::renameat(folder_.work_.get(), kPart, place.folder, place.name.c_str()) == 0) break;
    if (errno != ENOENT || isAgain) return problemOf(errno);
    // Somebody deleted the folder that was used last: it is made once more.
    folder_.last_ = FileDescriptor();
  }
  return {};
}

WriteProblem TargetFile::publish(std::string_view path, std::optional<double> modified, TargetEntry& entry) {
  if (modified) {
    const timespec times[2] = {{0, UTIME_OMIT}, timeOf(*modified)};
    // A file system without times, or with a shorter range of them, keeps the time of the copy.
    if (::futimens(file_.get(), times) != 0 && problemOf(errno).kind != Kind::Target) return problemOf(errno);
  }
  struct stat facts {};
  if (::fstat(file_.get(), &facts) != 0) return problemOf(errno);
  if (WriteProblem problem = giveName(path)) return problem;
  isNamed_ = false;
  entry = entryOf(facts);
  return {};
}

}  // namespace moxtel
