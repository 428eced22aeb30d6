// Finds a library's files on a file system that distinguishes letter case and Unicode normal forms.
//
// The file systems that libraries come from ignore both: after a copy the databases may say "Été.JPG" in
// composed letters where the folder has it decomposed, or "img_1.jpg" where it has "IMG_1.JPG". A path is
// tried unchanged first; only if that fails it is followed component by component below the library's folder:
// first the names that match exactly, then those that match except for case and normal form. Symbolic links
// are followed, because a user may keep the masters on another disk.
//
// Core thread. The contents of the folders used last are cached with the folder's modification time
// (kMaximumNames names in all, but always one folder); a folder that was changed is read again.
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
  // How many folders are searched for one file: one for each component, and one more for each further name
  // that matches it.
  static constexpr int kMaximumLooks = 500;

  // The file's path as it is on disk; nothing when there is no such file. A path outside the library's
  // folder, or with a component "..", is not a file of the library.
  std::optional<std::string> find(std::string_view libraryPath, const std::string& path);
  // Opens what find() would find, with fewer system calls.
  OpenFile open(std::string_view libraryPath, const std::string& path);

  // For tests: the number of folders read so far.
  std::size_t foldersRead() const { return foldersRead_; }

 private:
  struct Folder {
    std::string path;
    std::filesystem::file_time_type modified;
    bool settled = false;  // read long enough after its last change: another change alters its time
    // Folded name to the names on disk, in byte order.
    std::unordered_map<std::string, std::vector<std::string>> names;
    std::size_t size = 1;  // the number of names, and one for the folder
  };
  using Folders = std::list<Folder>;

  std::optional<std::string> walk(const std::string& folder, std::span<const std::string_view> components,
                                  int& looks);
  std::vector<std::string> candidates(const std::string& folder, std::string_view name);
  Folder* folderAt(const std::string& path);
  Folder* readFolder(const std::string& path, std::filesystem::file_time_type modified);
  void forget(Folders::iterator folder);

  Folders folders_;  // the most recently used first
  std::unordered_map<std::string_view, Folders::iterator> byPath_;
  std::size_t names_ = 0;
  std::size_t foldersRead_ = 0;
};

// The form in which two names that differ only in case and normal form are equal. A name that is not
// UTF-8 is returned unchanged.
std::string foldedFileName(std::string_view name);

}  // namespace moxtel
