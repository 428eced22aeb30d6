#include "platform/files/FileCache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "platform/files/OpenFolder.h"
#include "platform/files/PartialFile.h"

namespace moxtel {
namespace {

constexpr const char* kMaking = "making-";
constexpr std::size_t kLongestKey = 200;

bool isKeyCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-';
}
bool isKey(std::string_view text) {
  return !text.empty() && text.size() <= kLongestKey && text.front() != '.' && text.front() != '-' &&
         !text.starts_with(kMaking) && std::all_of(text.begin(), text.end(), isKeyCharacter);
}

std::int64_t now() {
  const auto time = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
}

// Without following a link in the last name.
FileDescriptor openedFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  ::mkdir(path.c_str(), 0700);
  return FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

}  // namespace

FileCache::FileCache(std::string folder, std::uint64_t mostBytes)
    : folder_(std::move(folder)), mostBytes_(mostBytes) {
  if (mostBytes_ == 0) return;
  descriptor_ = openedFolder(folder_);
  if (!descriptor_) return;
  sweepPrivateFolders(folder_, kMaking);
  auto making = std::make_unique<PrivateFolder>(folder_, kMaking);
  if (making->path().empty()) return;
  making_ = std::move(making);
  readFolder();
  shrink();
}

FileCache::~FileCache() = default;

void FileCache::readFolder() {
  const auto names = OpenFolder::at(folder_).names();
  if (!names) return;
  for (const std::string& name : *names) {
    const FileStamp stamp = isKey(name) ? stampOf(descriptor_.get(), name) : FileStamp();
    if (stamp.isRegular()) add(name, {stamp.size, stamp.modified});
  }
}

void FileCache::add(const std::string& key, Kept kept) {
  forget(key);
  bytes_ += kept.size;
  files_[key] = kept;
}

void FileCache::forget(const std::string& key) {
  const auto found = files_.find(key);
  if (found == files_.end()) return;
  bytes_ -= found->second.size;
  files_.erase(found);
}

void FileCache::shrink() {
  while (bytes_ > mostBytes_) {
    const auto oldest = std::min_element(files_.begin(), files_.end(), [](const auto& a, const auto& b) {
      return a.second.used < b.second.used;
    });
    ::unlinkat(descriptor_.get(), oldest->first.c_str(), 0);
    forget(oldest->first);
  }
}

OpenFile FileCache::open(const std::string& key) {
  OpenFile file;
  if (!isUsable() || !isKey(key)) return file;
  const std::lock_guard lock(mutex_);
  file.descriptor = FileDescriptor(
      ::openat(descriptor_.get(), key.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  const FileStamp stamp = file.descriptor ? stampOf(file.descriptor.get()) : FileStamp();
  if (!stamp.isRegular()) {
    forget(key);
    return {};
  }
  file.state = FileState::Open;
  file.size = stamp.size;
  file.path = folder_ + "/" + key;
  // The date of the file is that of its last use, also for a later run.
  ::futimens(file.descriptor.get(), nullptr);
  add(key, {stamp.size, now()});
  return file;
}

bool FileCache::has(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  return files_.contains(key);
}

void FileCache::store(const std::string& key, std::span<const std::uint8_t> bytes) {
  const auto folder = isUsable() && bytes.size() <= mostBytes_ ? folderForMaking() : nullptr;
  if (!folder || freeBytesIn(folder_) < bytes.size() + kLeftFree) return;
  const std::string path = folder->path() + "/file";
  PartialFile file;
  if (!file.openFor(path).empty() || !file.write(bytes, 0).empty() || !file.publish().empty()) return;
  static_cast<void>(adopt(key, path));
}

std::unique_ptr<PrivateFolder> FileCache::folderForMaking() const {
  if (!isUsable()) return nullptr;
  auto folder = std::make_unique<PrivateFolder>(making_->path(), kMaking);
  return folder->path().empty() ? nullptr : std::move(folder);
}

bool FileCache::adopt(const std::string& key, const std::string& path) {
  const FileStamp stamp = stampOf(path);
  if (!isUsable() || !isKey(key) || !stamp.isRegular() || stamp.size > mostBytes_) return false;
  const std::lock_guard lock(mutex_);
  if (::renameat(AT_FDCWD, path.c_str(), descriptor_.get(), key.c_str()) != 0) return false;
  add(key, {stamp.size, now()});
  shrink();
  return true;
}

std::uint64_t FileCache::bytes() const {
  const std::lock_guard lock(mutex_);
  return bytes_;
}

}  // namespace moxtel
