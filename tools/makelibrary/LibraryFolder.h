// The folder of a photo library: its subfolders, the paths of the databases and the links beside them.
#pragma once

#include <filesystem>
#include <string_view>

#include "makelibrary/MakeLibraryOptions.h"

namespace moxtel::makelibrary {

class LibraryFolder final {
 public:
  // Makes the folder, which must be missing or empty, and its subfolders. Throws WriteError.
  LibraryFolder(std::filesystem::path folder, LibraryKind kind);

  std::filesystem::path database(std::string_view name) const { return folder_ / "Database/apdb" / name; }
  // Of Photos.
  std::filesystem::path photosDatabase(std::string_view name) const { return folder_ / "database" / name; }
  // A file that is named from the library's folder on.
  std::filesystem::path file(std::string_view path) const { return folder_ / path; }
  std::filesystem::path masters() const { return folder_ / "Masters"; }
  std::filesystem::path thumbnails() const { return folder_ / "Thumbnails"; }
  std::filesystem::path previews() const { return folder_ / "Previews"; }
  std::filesystem::path albumListings() const { return folder_ / "iLifeShared" / "AlbumData2.xml"; }
  std::filesystem::path albumData() const { return folder_ / "AlbumData.xml"; }

  // Writes a file and its parent folders and sets its modification date: seconds since 2001-01-01 00:00:00
  // UTC. Any thread. Throws WriteError.
  static void writeFile(const std::filesystem::path& file, std::string_view bytes, double modified);
  static void setModified(const std::filesystem::path& file, double modified);

 private:
  std::filesystem::path folder_;
};

}  // namespace moxtel::makelibrary
