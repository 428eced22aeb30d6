#include "platform/applications/ProcRunningApplications.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

namespace {

constexpr std::string_view kDeleted = " (deleted)";
constexpr std::size_t kLongestPath = 4096;  // PATH_MAX, the most that the kernel gives for a link
constexpr std::size_t kLongestStart = 64;   // comm has at most 16 bytes

struct FolderCloser {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

bool isProcess(std::string_view name) {
  return std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool lacksDescriptors() { return errno == EMFILE || errno == ENFILE; }

// The first bytes of a file below the folder: empty when it has gone, nothing without a free descriptor.
std::optional<std::string> startOf(int folder, const std::string& file) {
  const FileDescriptor opened(::openat(folder, file.c_str(), O_RDONLY | O_CLOEXEC));  // NOLINT
  if (!opened) return lacksDescriptors() ? std::nullopt : std::optional<std::string>("");
  std::array<char, kLongestStart> text{};
  const ssize_t count = ::read(opened.get(), text.data(), text.size());
  return std::string(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
}

// The base name of a process's executable, from the link alone: the file may be on a disk that sleeps. Empty
// for another user's process. Nothing for a zombie or a thread of the kernel, which have no executable.
std::optional<std::string> executableOf(int folder, const std::string& process) {
  std::array<char, kLongestPath> path;  // NOLINT: read no further than it was filled
  const ssize_t length = ::readlinkat(folder, (process + "/exe").c_str(), path.data(), path.size());
  if (length < 0) return errno == ENOENT ? std::nullopt : std::optional<std::string>("");
  std::string_view name(path.data(), static_cast<std::size_t>(length));
  if (name.ends_with(kDeleted)) name.remove_suffix(kDeleted.size());
  return std::string(name.substr(name.rfind('/') + 1));
}

}  // namespace

ProcRunningApplications::ProcRunningApplications(std::vector<std::string> wanted, std::string folder)
    : wanted_(std::move(wanted)), folder_(std::move(folder)) {}

std::vector<std::string> ProcRunningApplications::names() {
  if (auto running = read()) running_ = std::move(*running);
  return running_;
}

std::optional<std::vector<std::string>> ProcRunningApplications::read() const {
  const std::unique_ptr<DIR, FolderCloser> folder(::opendir(folder_.c_str()));
  if (!folder) return std::nullopt;
  const int at = ::dirfd(folder.get());
  const auto isWanted = [this](const std::string& name) {
    return std::find(wanted_.begin(), wanted_.end(), name) != wanted_.end();
  };
  std::vector<std::string> running;
  while (const dirent* entry = ::readdir(folder.get())) {
    const std::string process = entry->d_name;
    if (!isProcess(process)) continue;
    const auto executable = executableOf(at, process);
    if (!executable) continue;
    auto name = startOf(at, process + "/comm");
    if (!name) return std::nullopt;
    if (name->ends_with('\n')) name->pop_back();
    if (!isWanted(*name)) name = executable;
    if (!isWanted(*name)) continue;
    // Zombies and threads of the kernel have no memory. Only the link says so of one's own processes.
    const auto memory = executable->empty() ? startOf(at, process + "/statm") : "1";
    if (!memory) return std::nullopt;
    if (!memory->empty() && !memory->starts_with("0 ")) running.push_back(*name);
  }
  return running;
}

std::unique_ptr<RunningApplications> makeRunningApplications(const std::vector<std::string>& wanted) {
  return std::make_unique<ProcRunningApplications>(wanted);
}

}  // namespace moxtel
