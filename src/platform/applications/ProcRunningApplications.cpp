#include "platform/applications/ProcRunningApplications.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <optional>
#include <utility>

namespace moxtel {

namespace {

constexpr std::string_view kDeleted = " (deleted)";
constexpr std::size_t kMostHeld = 512;
// A process is read whole again at the next question, for it may not have become its program yet, and from
// then on every six to ten: not all at once.
constexpr std::uint64_t kReadAgainAfter = 6;
constexpr std::uint64_t kSpread = 5;

std::size_t descriptorsToHold() {
  rlimit most{};
  if (::getrlimit(RLIMIT_NOFILE, &most) != 0) return 0;
  return std::min<std::size_t>(most.rlim_cur / 2, kMostHeld);
}

std::optional<pid_t> processNumber(std::string_view name) {
  pid_t number = 0;
  const auto read = std::from_chars(name.data(), name.data() + name.size(), number);
  if (read.ec != std::errc() || read.ptr != name.data() + name.size()) return std::nullopt;
  return number;
}

// The path of a process's file, below the folder of processes; built without the heap.
class FilePath final {
 public:
  FilePath(const char* number, std::string_view file) {
    const std::string_view folder(number);
    const std::size_t length = std::min(folder.size(), text_.size() - file.size() - 2);
    char* end = std::copy_n(folder.data(), length, text_.data());
    *end++ = '/';
    *std::copy(file.begin(), file.end(), end) = '\0';
  }
  const char* get() const { return text_.data(); }

 private:
  std::array<char, 32> text_;  // NOLINT: set as far as it is read
};

FileDescriptor openFile(int folder, const char* number, std::string_view file) {
  return FileDescriptor(::openat(folder, FilePath(number, file).get(), O_RDONLY | O_CLOEXEC));  // NOLINT
}

// Whether a process whose executable may not be read has memory: zombies and threads of the kernel have none.
bool hasMemory(int folder, const char* number) {
  const FileDescriptor sizes = openFile(folder, number, "statm");
  // Without a descriptor to be had nothing says that it has gone.
  if (!sizes) return errno != ENOENT && errno != ESRCH;
  std::array<char, 2> start{};
  return ::read(sizes.get(), start.data(), start.size()) == 2 && !(start[0] == '0' && start[1] == ' ');
}

// Where its executable lies. A process without one is a zombie, or a thread of the kernel: asked in this way
// because "stat" and "status", which tell it directly, cost many times as much. By its link alone: the file
// may be on a disk that sleeps.
class Executable final {
 public:
  Executable(int folder, const char* number)
      : length_(::readlinkat(folder, FilePath(number, "exe").get(), path_.data(), path_.size())),
        isProgram_(length_ >= 0 || (errno != ENOENT && hasMemory(folder, number))) {}

  bool isProgram() const { return isProgram_; }
  // Empty for a process of someone else's.
  std::string_view name() const {
    std::string_view path(path_.data(), length_ > 0 ? static_cast<std::size_t>(length_) : 0);
    if (path.ends_with(kDeleted)) path.remove_suffix(kDeleted.size());
    return path.substr(path.rfind('/') + 1);
  }

 private:
  std::array<char, 4096> path_;  // NOLINT: set as far as it is read
  const ssize_t length_;
  const bool isProgram_;
};

}  // namespace

ProcRunningApplications::ProcRunningApplications(std::vector<std::string> wanted, std::string folder)
    : wanted_(std::move(wanted)), folder_(std::move(folder)), mostHeld_(descriptorsToHold()) {}

std::vector<std::string> ProcRunningApplications::names() {
  if (!rewindFolder()) return {};
  ++question_;
  while (const dirent* entry = ::readdir(open_.get())) look(*entry);
  forgetTheGone();
  return std::exchange(running_, {});
}

// The folder stays open, so that a program out of descriptors still knows what runs.
bool ProcRunningApplications::rewindFolder() {
  if (open_) {
    ::rewinddir(open_.get());
  } else {
    open_.reset(::opendir(folder_.c_str()));
  }
  return open_ != nullptr;
}

void ProcRunningApplications::look(const dirent& entry) {
  const auto number = processNumber(entry.d_name);
  if (!number) return;
  Process& process = processes_[*number];
  const bool isNew = process.identity != entry.d_ino;
  if (isNew) {
    if (process.comm) --held_;
    process = {};
    process.identity = entry.d_ino;
  }
  process.seen = question_;
  const bool isDue = question_ >= process.readAgain;
  if (isDue) {
    readExecutable(entry.d_name, process);
    process.readAgain =
        question_ + (isNew ? 1 : kReadAgainAfter + static_cast<std::uint64_t>(*number) % kSpread);
  }
  if (!process.isProgram) return;
  // Opening a file costs four times as much as reading an open one.
  if ((isDue || process.comm) && readName(entry.d_name, process) && !isDue) {
    readExecutable(entry.d_name, process);
  }
  const std::string* name = process.application ? process.application : process.executable;
  // That it has ended in the meantime is asked only of those who matter.
  if (name && Executable(::dirfd(open_.get()), entry.d_name).isProgram()) running_.push_back(*name);
}

// Whether it has another name than before. One that cannot be read stays what it was.
bool ProcRunningApplications::readName(const char* number, Process& process) {
  FileDescriptor opened;
  if (!process.comm) opened = openFile(::dirfd(open_.get()), number, "comm");
  std::array<char, 64> text;  // NOLINT: not set before it is read into
  const int comm = process.comm ? process.comm.get() : opened.get();
  const ssize_t count = ::pread(comm, text.data(), text.size(), 0);
  if (opened && held_ < mostHeld_) {
    process.comm = std::move(opened);
    ++held_;
  }
  std::string_view name(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  if (name.ends_with('\n')) name.remove_suffix(1);
  if (count <= 0 || name == process.name) return false;
  process.name = name;
  process.application = wanted(name);
  return true;
}

void ProcRunningApplications::readExecutable(const char* number, Process& process) {
  const Executable executable(::dirfd(open_.get()), number);
  process.isProgram = executable.isProgram();
  process.executable = wanted(executable.name());
}

void ProcRunningApplications::forgetTheGone() {
  std::erase_if(processes_, [this](const auto& entry) {
    if (entry.second.seen == question_) return false;
    if (entry.second.comm) --held_;
    return true;
  });
}

const std::string* ProcRunningApplications::wanted(std::string_view name) const {
  const auto found = std::find(wanted_.begin(), wanted_.end(), name);
  return found == wanted_.end() ? nullptr : &*found;
}

std::unique_ptr<RunningApplications> makeRunningApplications(const std::vector<std::string>& wanted) {
  return std::make_unique<ProcRunningApplications>(wanted);
}

}  // namespace moxtel
