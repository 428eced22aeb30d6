#include "platform/ProcRunningApplications.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
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

// "1234 (name) S …": the name may hold parentheses and blanks itself.
struct Status {
  std::string name;
  char state = 0;
};

std::optional<Status> parseStatus(std::string_view text) {
  const auto open = text.find('(');
  const auto close = text.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
  if (close + 2 >= text.size()) return std::nullopt;
  return Status{std::string(text.substr(open + 1, close - open - 1)), text[close + 2]};
}

// A process may end at any moment: then there is nothing.
std::optional<Status> statusOf(int folder, const std::string& process) {
  const Descriptor file(::openat(folder, (process + "/stat").c_str(), O_RDONLY | O_CLOEXEC));  // NOLINT
  std::array<char, 512> text;  // NOLINT: the start of the line is enough, and is not set before it is read
  const ssize_t count = file ? ::read(file.get(), text.data(), text.size()) : -1;
  if (count <= 0) return std::nullopt;
  return parseStatus(std::string_view(text.data(), static_cast<std::size_t>(count)));
}

// Empty for a thread of the kernel, and for a process of someone else's.
std::string executableOf(int folder, const std::string& process) {
  std::array<char, 4096> target;  // NOLINT: as above
  const ssize_t count = ::readlinkat(folder, (process + "/exe").c_str(), target.data(), target.size());
  std::string_view path(target.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  if (path.ends_with(kDeleted)) path.remove_suffix(kDeleted.size());
  return std::string(path.substr(path.rfind('/') + 1));
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
    const auto status = statusOf(descriptor, process);
    constexpr std::string_view kEnded = "ZXx";
    if (!status || kEnded.find(status->state) != std::string_view::npos) continue;
    names.push_back(status->name);
    std::string executable = executableOf(descriptor, process);
    if (!executable.empty() && executable != status->name) names.push_back(std::move(executable));
  }
  return names;
}

std::unique_ptr<RunningApplications> makeRunningApplications() {
  return std::make_unique<ProcRunningApplications>();
}

}  // namespace moxtel
