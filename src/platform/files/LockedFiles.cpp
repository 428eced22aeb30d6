#include "platform/files/LockedFiles.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace moxtel {

namespace {

struct LockedFiles {
  std::mutex mutex;
  std::vector<std::pair<int, FileStamp>> files;  // a handful, by descriptor
};

LockedFiles& lockedFiles() {
  // Never destroyed: a thread that reads a library may end after main() has returned.
  static LockedFiles& files = *new LockedFiles;
  return files;
}

}  // namespace

void addLockedFile(int descriptor) {
  const FileStamp file = stampOf(descriptor);
  const std::lock_guard lock(lockedFiles().mutex);
  lockedFiles().files.emplace_back(descriptor, file);
}

void removeLockedFile(int descriptor) {
  const std::lock_guard lock(lockedFiles().mutex);
  std::erase_if(lockedFiles().files, [&](const auto& file) { return file.first == descriptor; });
}

bool isLockedFile(const FileStamp& file) {
  const std::lock_guard lock(lockedFiles().mutex);
  const auto& files = lockedFiles().files;
  return std::any_of(files.begin(), files.end(),
                     [&](const auto& locked) { return isSameFile(locked.second, file); });
}

}  // namespace moxtel
