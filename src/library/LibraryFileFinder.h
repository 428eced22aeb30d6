// Finds and opens the files of a library: the one place that turns a path of the library's databases into a
// file, on every file system and without leaving what the user allows.
//
// A path is followed name by name, each from the open folder before it. A symbolic link is read and its
// target followed the same way, so what is opened is what was checked. A link may lead anywhere inside the
// library, also by an absolute path, and into the folders that the user named (ReferencedFolders); the
// library's own path may contain any links. A file that a link reaches elsewhere is as a missing one.
//
// A name that is not there is looked up again without regard to case and normal form, and in the forms of
// other file systems (see FileNameForms.h): the name that matches exactly comes first.
//
// Core thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "library/FolderNames.h"
#include "library/ReferencedFolders.h"
#include "platform/files/FileReader.h"

namespace moxtel {

// A symbolic link that leads out of the library, to a folder that the user did not name.
struct LinkOut {
  std::string link;
  std::string folder;  // where it leads: the folder to name
};

struct FoundFile {
  OpenFile file;                   // its path is free of links below the library's folder
  std::optional<LinkOut> linkOut;  // why a file is Missing that may exist
  // Why a file is Unreadable: the folder or file that this user has no permission to read.
  std::optional<std::string> refused;
};

class LibraryFileFinder final {
 public:
  explicit LibraryFileFinder(ReferencedFolders allowed = {}) : allowed_(std::move(allowed)) {}

  // Opens a file by its path, which begins with the library's. The rest of the path may contain "..", but has
  // to end in the folder of the library that it begins with.
  FoundFile open(std::string_view libraryPath, std::string_view path);
  // The same without opening the file, and so without closing it: closing a descriptor of a database would
  // release the locks of this process. The file is Open, but has no descriptor and no size.
  FoundFile find(std::string_view libraryPath, std::string_view path);
  // Opens a file by its path relative to one of the folders that the user named.
  FoundFile openBelow(const std::string& folder, std::string_view path);

  const ReferencedFolders& allowed() const { return allowed_; }
  // For tests: the number of folders read so far.
  std::size_t foldersRead() const { return names_.foldersRead(); }

 private:
  ReferencedFolders allowed_;
  FolderNames names_;
};

}  // namespace moxtel
