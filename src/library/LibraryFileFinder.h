// Finds a library's files on a file system that knows letter case and Unicode normal form.
//
// The file systems that libraries come from ignore both: after a copy the databases may say "Été.JPG" in
// composed letters where the folder has it decomposed, or "img_1.jpg" where it has "IMG_1.JPG". A path is
// taken as it stands first; only if nothing is there it is walked component by component below the library's
// folder, names that agree exactly before names that agree but for case and normal form. Symbolic links are
// followed, for a user may keep the masters on another disk.
//
// Core thread. What a folder holds is remembered with the folder's modification time, for the folders used
// last (kMaximumNames names in all, but one folder always); a folder that was changed is read again.
#pragma once

#include <cstdint>
#include <filesystem>
#include <list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/files/FileReader.h"

namespace moxtel {

class LibraryFileFinder final {
 public:
  static constexpr std::size_t kMaximumNames = 300'000;
  // The folders looked into for one file. Each component takes one, and one more for each further name that
  // agrees with it.
  static constexpr int kMaximumLooks = 500;

  // The file's path as the disk has it; nothing when there is no such file. A path that does not lie in the
  // library's folder, or has a component "..", is no file of the library.
  std::optional<std::string> find(std::string_view libraryPath, const std::string& path);
  // Opens what find() would find, without a look at the disk more than needed.
  OpenFile open(std::string_view libraryPath, const std::string& path);

  // For tests: the number of folders read so far.
  std::size_t foldersRead() const { return foldersRead_; }

 private:
  struct Folder {
    std::string path;
    std::filesystem::file_time_type modified;
    bool settled = false;  // read long enough after its last change: a further one shows in its time
    // Folded name to the names on disk, in byte order.
    std::unordered_map<std::string, std::vector<std::string>> names;
    std::size_t size = 1;  // the names, and one for the folder
  };
  using Folders = std::list<Folder>;

  std::optional<std::string> walk(const std::string& folder, std::span<const std::string_view> components,
                                  int& looks);
  std::vector<std::string> candidates(const std::string& folder, std::string_view name);
  Folder* folderAt(const std::string& path);
  Folder* readFolder(const std::string& path, std::filesystem::file_time_type modified);
  void forget(Folders::iterator folder);

  Folders folders_;  // used last first
  std::unordered_map<std::string_view, Folders::iterator> byPath_;
  std::size_t names_ = 0;
  std::size_t foldersRead_ = 0;
};

// The form in which two names that differ only in case and normal form are equal. Bytes that are no UTF-8
// stay as they are.
std::string foldedFileName(std::string_view name);

}  // namespace moxtel
