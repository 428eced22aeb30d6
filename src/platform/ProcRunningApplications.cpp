#include "platform/ProcRunningApplications.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

#include "platform/Pipe.h"

namespace moxtel {

namespace {

constexpr std::string_view kDeleted = " (deleted)";

struct FolderCloser {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

bool isProcess(const char* name) {
  const std::string_view text(name);
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The start of one of a process's files; nothing once the process has gone, which may be at any moment.
std::string startOf(int folder, const std::string& file) {
  const Descriptor opened(::openat(folder, file.c_str(), O_RDONLY | O_CLOEXEC));  // NOLINT
  std::array<char, 64> text;  // NOLINT: not set before it is read into
  const ssize_t count = opened ? ::read(opened.get(), text.data(), text.size()) : -1;
  return {text.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

std::string nameOf(int folder, const std::string& process) {
  std::string name = startOf(folder, process + "/comm");
  if (name.ends_with('\n')) name.pop_back();
  return name;
}

// Zombies and threads of the kernel have no memory.
bool hasMemory(int folder, const std::string& process) {
  const std::string sizes = startOf(folder, process + "/statm");
  return !sizes.empty() && !sizes.starts_with("0 ");
}

struct Executable {
  bool isRunning = false;
  std::string name;  // empty for a process of someone else's
};

// A process without an executable does not run: it is a zombie, or a thread of the kernel. Asked in this way
// because "stat" and "status", which tell it directly, cost many times as much.
Executable executableOf(int folder, const std::string& process) {
  std::array<char, 4096> target;  // NOLINT: as above
  const ssize_t count = ::readlinkat(folder, (process + "/exe").c_str(), target.data(), target.size());
  if (count < 0) return {errno != ENOENT && hasMemory(folder, process), {}};
  std::string_view path(target.data(), static_cast<std::size_t>(count));
  if (path.ends_with(kDeleted)) path.remove_suffix(kDeleted.size());
  return {true, std::string(path.substr(path.rfind('/') + 1))};
}

}  // namespace

std::vector<std::string> ProcRunningApplications::names() {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, FolderCloser> folder(::opendir(folder_.c_str()));
  if (!folder) return names;
  const int descriptor = ::dirfd(folder.get());
  while (const dirent* entry = ::readdir(folder.get())) {
    if (!isProcess(entry->d_name)) continue;
    const std::string process = entry->d_name;
    Executable executable = executableOf(descriptor, process);
    std::string name = executable.isRunning ? nameOf(descriptor, process) : std::string();
    if (name.empty()) continue;
    const bool hasTwoNames = !executable.name.empty() && executable.name != name;
    names.push_back(std::move(name));
    if (hasTwoNames) names.push_back(std::move(executable.name));
  }
  return names;
}

std::unique_ptr<RunningApplications> makeRunningApplications() {
  return std::make_unique<ProcRunningApplications>();
}

}  // namespace moxtel
