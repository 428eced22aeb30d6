// The folders outside the library that the user allows it to use: as targets of symbolic links, and for
// photos that the library only refers to. From the setting "ReferencedFolders": entries separated by colons,
// each FOLDER or VolumeName=FOLDER. A folder is an absolute path, so it begins with a slash; it cannot
// contain a colon. A value: any thread, no access to the file system.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace moxtel {

struct ReferencedFolder {
  // The volume whose files lie below the folder, by the name that the library knows; empty for any volume.
  std::string volume;
  std::string folder;
  friend bool operator==(const ReferencedFolder&, const ReferencedFolder&) = default;
};

class ReferencedFolders final {
 public:
  ReferencedFolders() = default;
  // The entries that cannot be used are left out; see rejected().
  explicit ReferencedFolders(std::string_view setting);

  bool empty() const { return entries_.empty(); }
  const std::vector<ReferencedFolder>& entries() const { return entries_; }
  // The entries that are no absolute path, as they were written.
  const std::vector<std::string>& rejected() const { return rejected_; }
  // The folders to search for a file of this volume: first those of the volume, then those of any volume,
  // each in the user's order. Names of volumes are compared without regard to case and normal form.
  std::vector<std::string> foldersOf(std::string_view volume) const;

 private:
  std::vector<ReferencedFolder> entries_;
  std::vector<std::string> rejected_;
};

}  // namespace moxtel
