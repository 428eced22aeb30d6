// The names in the folders that were searched last, by their meanings (see FileNameForms.h). A folder that
// was changed is read again: its modification time shows that. kMaximumNames names are kept in all, but
// always one folder. Core thread.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/files/OpenFolder.h"

namespace moxtel {

class FolderNames final {
 public:
  static constexpr std::size_t kMaximumNames = 300'000;

  // The names in the folder that may be this one, in byte order, without the name itself. None if the folder
  // cannot be listed.
  std::vector<std::string> like(const OpenFolder& folder, std::string_view name);

  // For tests: the number of folders read so far.
  std::size_t foldersRead() const { return foldersRead_; }

 private:
  struct Folder {
    FolderIdentity identity;
    std::int64_t modified = 0;  // nanoseconds since 1970
    bool settled = false;       // read long enough after its last change: another change alters its time
    std::unordered_map<std::string, std::vector<std::string>> names;  // by meaning
    std::size_t size = 1;  // the number of names, and one for the folder
  };
  struct Hash {
    std::size_t operator()(const FolderIdentity& identity) const {
      return std::hash<std::uint64_t>()(identity.inode * 31 + identity.device);
    }
  };
  using Folders = std::list<Folder>;

  const Folder* current(const OpenFolder& folder);
  const Folder* read(const OpenFolder& folder, const FolderIdentity& identity, std::int64_t modified);
  void forget(Folders::iterator folder);

  Folders folders_;  // the most recently used first
  std::unordered_map<FolderIdentity, Folders::iterator, Hash> byIdentity_;
  std::size_t names_ = 0;
  std::size_t foldersRead_ = 0;
};

}  // namespace moxtel
