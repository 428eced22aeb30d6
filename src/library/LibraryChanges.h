// Notices that the library's files changed while they are served, as a nightly copy changes them, and that a
// library comes late, from a disk that is mounted after the start.
//
// Compares the size, time and inode of the databases, of their write-ahead logs, of AlbumData.xml and of
// iLifeShared/AlbumData2.xml with those of the last check: any difference counts, an older date as well. A
// check takes ten stats and opens no file. When something changed, the cached lists are dropped, and a
// changed AlbumData.xml is read again. Lists that were made from an outdated state of a database are dropped
// as well. While the library is missing, nothing is dropped. Core thread.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "library/database/LibraryDatabases.h"
#include "platform/files/Files.h"

namespace moxtel {

class AlbumData;
class LibraryLocation;
class LoadedLibrary;

class LibraryChanges final {
 public:
  using Now = std::function<std::chrono::steady_clock::time_point()>;

  // How often a connected client's listing commands lead to a check, at most.
  static constexpr std::chrono::seconds kBetweenListings{5};

  // Borrows everything. now is the steady clock, except in tests.
  LibraryChanges(const LibraryLocation& location, LibraryDatabases& databases, LoadedLibrary& library,
                 AlbumData& albumData, Now now = std::chrono::steady_clock::now);

  // Drops what was made of the files; called at each change, after AlbumData.xml was read again.
  void onChange(std::function<void()> dropLists) { dropLists_ = std::move(dropLists); }

  // The files as they are now are those that are about to be read: call it at each start, before they are.
  void remember();
  // Call at each connect, when the library was loaded.
  void check();
  // Call before each listing command: checks unless the last check was less than kBetweenListings ago. While
  // the library is missing, or lists are outdated, it always checks.
  void checkBeforeListing();

  // For a library that no server's lists depend on: checks, and returns whether a file changed, came or went
  // since the last call, or since remember().
  bool update();
  // Of the files at the last check: the same for the same files, wherever they are mounted, unless what was
  // read of them was outdated.
  std::uint64_t fingerprint() const;
  // Several readers of one library have the same fingerprint when they share the count of what was outdated.
  // Before remember().
  void shareOutdated(std::shared_ptr<std::atomic<std::uint64_t>> count) { outdated_ = std::move(count); }
  // Whether the library's own database was missing at the last check.
  bool isMissing() const { return isMissing_; }

 private:
  static constexpr std::size_t kDatabases = 4;

  struct Stamps {
    std::array<FileStamp, kDatabases> databases;  // by DatabaseFile
    std::array<FileStamp, kDatabases> logs;
    FileStamp albumData;
    FileStamp otherAlbumData;
    bool hasLibrary() const { return databases.front().isRegular(); }
    friend bool operator==(const Stamps&, const Stamps&) = default;
  };

  // The names of the files beside the library's folder that they are in.
  void findFiles();
  Stamps stamps();
  bool readsAlbumDataAgain(const Stamps& now) const;

  const LibraryLocation& location_;
  LibraryDatabases& databases_;
  LoadedLibrary& library_;
  AlbumData& albumData_;
  const Now now_;
  std::function<void()> dropLists_ = [] {};
  std::optional<std::string> libraryPath_;  // for which the following names hold
  std::array<std::string, kDatabases> files_;
  std::array<std::string, kDatabases> logs_;
  std::string albumDataFile_;
  std::string otherAlbumDataFile_;
  Stamps seen_;
  bool isMissing_ = true;
  bool isOutdated_ = false;
  // How often lists were.
  std::shared_ptr<std::atomic<std::uint64_t>> outdated_ = std::make_shared<std::atomic<std::uint64_t>>(0);
  std::uint64_t updated_ = 0;  // the fingerprint at the last update()
  std::chrono::steady_clock::time_point checked_;
};

}  // namespace moxtel
