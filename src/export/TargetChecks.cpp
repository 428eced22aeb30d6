#include "export/TargetChecks.h"

#include <cstdlib>
#include <filesystem>

#include "platform/files/FileCopy.h"
#include "platform/files/Files.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

namespace fs = std::filesystem;

// Without links and "..", also where the last names do not exist.
fs::path realPath(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  fs::path real = fs::weakly_canonical(absolute, error);
  if (error) real = absolute.lexically_normal();
  return real.has_filename() ? real : real.parent_path();
}

// By the files themselves, because one folder may be mounted at two places.
bool isInside(fs::path path, const std::string& folder) {
  const FileStamp outer = stampOf(folder);
  for (;; path = path.parent_path()) {
    if (isSameFile(stampOf(path.string()), outer)) return true;
    if (path == path.parent_path()) return false;
  }
}

}  // namespace

std::string whyTargetOverlaps(const std::string& target, const std::string& library) {
  const fs::path to = realPath(target), from = realPath(library);
  if (isInside(to, from.string()))
    return formatRuntime(UserText::tr("the target '%@' lies in the library '%@', which is never changed"),
                         target, library);
  if (isInside(from, to.string()))
    return formatRuntime(UserText::tr("the library '%@' lies in the target '%@'"), library, target);
  return {};
}

std::string whyNotWritable(const std::string& target) {
  const std::vector<std::string> missing = missingFolders(target);
  return whyNotWritableFolder(missing.empty() ? target : fs::path(missing.back()).parent_path().string());
}

std::vector<std::string> missingFolders(const std::string& target) {
  std::vector<std::string> missing;
  std::error_code error;
  for (fs::path folder = realPath(target); !fs::exists(folder, error) && folder != folder.parent_path();
       folder = folder.parent_path())
    missing.push_back(folder.string());
  return missing;
}

std::uint64_t freeBytesFor(const std::string& target) {
  std::error_code error;
  fs::path folder = realPath(target);
  while (!fs::is_directory(folder, error) && folder != folder.parent_path()) folder = folder.parent_path();
  return freeBytesIn(folder.string());
}

std::string copiedState(TargetFolder& target, const std::string& state,
                        std::unique_ptr<PrivateFolder>& folder) {
  if (!target.look(state).isFile()) return {};
  const char* parent = std::getenv("TMPDIR");
  folder = std::make_unique<PrivateFolder>(parent && *parent ? parent : "/var/tmp", "moxtel-export-");
  if (folder->path().empty()) return {};
  const std::string copy = folder->path() + "/state.db";
  for (const char* suffix : {"", "-wal"}) {
    if (!target.look(state + suffix).isFile()) continue;
    std::uint64_t room = freeBytesIn(folder->path());
    if (copyPrivately(target.open(state + suffix), copy + suffix, room) != CopyResult::Done) return {};
  }
  return copy;
}

}  // namespace moxtel
