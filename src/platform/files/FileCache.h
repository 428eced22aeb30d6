// Files that take long to make, kept in one folder up to a number of bytes; the least recently used go first.
// Any thread.
//
// A file has its name only when it is complete. Several servers may share the folder. If it is deleted,
// nothing is kept until the next start. Nothing outside the folder is touched: names have no slash, and links
// are not followed.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/files/FileReader.h"
#include "platform/files/Files.h"

namespace moxtel {

class FileCache final {
 public:
  // This many bytes stay free on the disk.
  static constexpr std::uint64_t kLeftFree = std::uint64_t{256} << 20;

  // Makes the folder, only for this user, deletes what an earlier run did not complete, and the least
  // recently used files beyond the limit. A limit of 0, or a folder that cannot be made, keeps nothing.
  FileCache(std::string folder, std::uint64_t mostBytes);
  ~FileCache();
  FileCache(const FileCache&) = delete;
  FileCache& operator=(const FileCache&) = delete;

  bool isUsable() const { return making_ != nullptr; }
  // Open for a file that is kept, and makes it the most recently used one. A key has small letters, digits,
  // points and hyphens, begins with a letter or digit and is at most 200 bytes long; anything else is
  // Missing.
  OpenFile open(const std::string& key);
  // Whether open() would probably find it.
  bool has(const std::string& key) const;
  // Keeps these bytes; does nothing if that fails.
  void store(const std::string& key, std::span<const std::uint8_t> bytes);

  // A folder for making one file, removed with the object with all that is in it.
  std::unique_ptr<PrivateFolder> folderForMaking() const;
  // Moves a file that was made there into the cache; false if it is too large or that fails.
  [[nodiscard]] bool adopt(const std::string& key, const std::string& path);

  std::uint64_t bytes() const;

 private:
  struct Kept {
    std::uint64_t size = 0;
    std::int64_t used = 0;  // nanoseconds since 1970
  };
  void readFolder();
  void add(const std::string& key, Kept kept);
  void forget(const std::string& key);
  void shrink();

  const std::string folder_;
  const std::uint64_t mostBytes_;
  FileDescriptor descriptor_;  // of the folder
  std::unique_ptr<PrivateFolder> making_;
  mutable std::mutex mutex_;  // guards what follows
  std::map<std::string, Kept> files_;
  std::uint64_t bytes_ = 0;
};

}  // namespace moxtel
