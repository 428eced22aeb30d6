// What an export has written into a target, and what it plans to write: an SQLite file in the target. One
// thread; throws StateFailure.
//
// A file has its path from the moment it is planned, so a run that was ended continues with the same names.
// It is done when its contents are on the disk. Changes are lost unless commit() follows.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "export/StateSql.h"

namespace moxtel {

// What a file is to its photo, or to its album. The numbers are in the state file.
enum class FileRole : std::uint8_t {
  Original = 0,
  Edited = 1,
  Alternate = 2,  // the other half of a RAW and JPEG pair
  LiveMovie = 3,
  // The sidecars of these have 16 more.
  OriginalSidecar = 16,
  EditedSidecar = 17,
  AlternateSidecar = 18,
  LiveMovieSidecar = 19,
  AlbumList = 32,     // its uuid is the album's
  AlbumLink = 33,     // its uuid is made of the album's and the name of the file
  NotInLibrary = 34,  // its uuid is its path in the library
  Notes = 35,         // without a uuid: one for each library
};

constexpr bool isSidecar(FileRole role) {
  return role >= FileRole::OriginalSidecar && role < FileRole::AlbumList;
}
constexpr FileRole sidecarOf(FileRole role) {
  return static_cast<FileRole>(static_cast<int>(role) + static_cast<int>(FileRole::OriginalSidecar));
}
// A photo's files as a set of bits.
constexpr std::int64_t bitOf(FileRole role) { return std::int64_t{1} << static_cast<int>(role); }
// Whether it is a picture or a movie, with a checksum.
constexpr bool isPicture(FileRole role) {
  return role < FileRole::OriginalSidecar || role == FileRole::NotInLibrary;
}

struct FileKey {
  std::int64_t library = 0;
  std::string_view uuid;
  FileRole role = FileRole::Original;
};

struct StateFile {
  std::string path;                 // in the target
  bool wasThere = false;            // a file was at this path before it was planned
  bool isDone = false;              // the following is known
  std::uint64_t sourceSize = 0;     // bytes
  std::int64_t sourceModified = 0;  // nanoseconds since 1970 UTC
  std::uint64_t size = 0;           // of the file in the target
  std::int64_t modified = 0;
  std::string sha256;  // of the file in the target; empty without checksums
  std::string facts;   // of a sidecar or list: a hash of what it was made of
};

class ExportState final {
 public:
  // Opens the file or makes it; an empty path: nothing is kept.
  explicit ExportState(const std::string& path);

  // Begins a transaction if there is none.
  void begin();
  void commit();

  std::optional<std::string> setting(std::string_view name);
  void set(std::string_view name, std::string_view value);

  struct Library {
    std::int64_t id = 0;
    std::string folder;  // in the target; empty: the target itself
  };
  // By what identifies it wherever it lies.
  std::optional<Library> library(std::string_view identity);
  // By the path that it had last.
  std::optional<Library> libraryAt(std::string_view path);
  bool hasLibraries();
  Library addLibrary(std::string_view identity, std::string_view path, std::string_view folder);

  // The folder of an event, or of an album with links.
  std::optional<std::string> folderOf(std::int64_t library, std::string_view container);
  void setFolder(std::int64_t library, std::string_view container, std::string_view path);

  std::optional<StateFile> find(const FileKey& key);
  void plan(const FileKey& key, std::string_view path, bool wasThere);
  void finish(const FileKey& key, const StateFile& file);

  // What later reports have to say of a file, too, although it is not written again.
  void setRemarks(const FileKey& key, const std::vector<std::string>& texts);
  // By path.
  void forEachRemark(
      const std::function<void(FileRole role, std::string_view path, std::string_view text)>& take);

  // What was read from a picture of this size and time; reading RAW files takes milliseconds.
  struct Picture {
    std::int64_t width = 0;  // pixels; 0 unknown
    std::int64_t height = 0;
    std::int64_t orientation = 0;  // Exif's, 1 to 8; 0 unknown
  };
  std::optional<Picture> picture(const FileKey& key, std::uint64_t size, std::int64_t modified);
  void setPicture(const FileKey& key, std::uint64_t size, std::int64_t modified, const Picture& picture);

  // Takes a path for one file or folder; false if it is taken. Compares without case and normal form.
  bool claim(std::string_view path);
  bool isClaimed(std::string_view path);

  // All pictures and movies that are done, by path.
  void forEachPicture(const std::function<void(const StateFile& file)>& take);
  // Pictures of equal contents, each group by path. isFirst: the group begins.
  void forEachIdentical(const std::function<void(std::string_view path, bool isFirst)>& take);

  StateSql& sql() { return sql_; }

 private:
  StateSql sql_;
  bool inTransaction_ = false;
  struct Tables {
    explicit Tables(StateSql& sql);
  };
  const Tables tables_;
  Statement setting_, set_, library_, libraryAt_, anyLibrary_, addLibrary_, folder_, setFolder_, find_, plan_,
      finish_, dropRemarks_, addRemark_, claim_, isClaimed_, picture_, setPicture_;
};

}  // namespace moxtel
