#include "platform/process/Landlock.h"

#include <fcntl.h>
#include <link.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

namespace {

// Missing in the headers of Linux 6.1: opening with O_TRUNC and truncate(2), since Landlock's version 3.
constexpr std::uint64_t kTruncate = std::uint64_t{1} << 14;

constexpr std::uint64_t kReadFile = LANDLOCK_ACCESS_FS_READ_FILE;
constexpr std::uint64_t kRunFile = kReadFile | LANDLOCK_ACCESS_FS_EXECUTE;
constexpr std::uint64_t kReadFolder = kReadFile | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t kWriteFolder =
    kReadFolder | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_DIR |
    LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR | kTruncate;

std::uint64_t rightsOfVersion(int version) {
  constexpr std::uint64_t kFirst = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1;
  return kFirst | (version >= 2 ? LANDLOCK_ACCESS_FS_REFER : 0) | (version >= 3 ? kTruncate : 0);
}

// The C library has no functions for these calls.
int kernelsVersion() {
  return static_cast<int>(
      ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION));
}

void allow(int ruleset, const std::string& path, std::uint64_t rights) {
  const FileDescriptor place(::open(path.c_str(), O_PATH | O_CLOEXEC));
  struct stat status {};
  if (!place || ::fstat(place.get(), &status) != 0) return;
  landlock_path_beneath_attr rule{};
  rule.parent_fd = place.get();
  rule.allowed_access = S_ISDIR(status.st_mode) ? rights : rights & kRunFile;
  ::syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
}

int addFolder(dl_phdr_info* library, std::size_t, void* folders) {
  // The program itself has no name, and the kernel's own library no path.
  if (*library->dlpi_name != '/') return 0;
  std::error_code error;
  const auto file = std::filesystem::canonical(library->dlpi_name, error);
  auto& found = *static_cast<std::vector<std::string>*>(folders);
  if (!error && std::find(found.begin(), found.end(), file.parent_path()) == found.end())
    found.push_back(file.parent_path());
  return 0;
}

}  // namespace

int restrictFiles(const FileRights& rights, int newest) {
  const int version = std::min(kernelsVersion(), newest);
  if (version < 1) return 0;
  landlock_ruleset_attr attributes{};
  attributes.handled_access_fs = rightsOfVersion(version);
  const FileDescriptor ruleset(
      static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
  if (!ruleset) return 0;
  for (const std::string& path : rights.readable) allow(ruleset.get(), path, kReadFolder);
  for (const std::string& path : rights.runnable) allow(ruleset.get(), path, kReadFolder | kRunFile);
  if (!rights.writable.empty())
    allow(ruleset.get(), rights.writable, kWriteFolder & attributes.handled_access_fs);
  return ::syscall(SYS_landlock_restrict_self, ruleset.get(), 0) == 0 ? version : 0;
}

std::vector<std::string> sharedLibraryFolders() {
  std::vector<std::string> folders;
  ::dl_iterate_phdr(&addFolder, &folders);
  return folders;
}

}  // namespace moxtel
