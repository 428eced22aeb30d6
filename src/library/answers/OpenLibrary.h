// One library with everything that reads it, on one thread: without a photo application, without scripts and
// without the user's settings. Several may be open at a time, of the same library as well, each on a thread
// of its own. Of the same library they share what is made once and then only read (SharedDatabases.h).
//
// The thread runs the loop, on which the databases end what a task left open; a CoreLoop on any thread will
// do:
//
//     CoreLoop loop;
//     loop.post([&] { OpenLibrary library(loop, messages, path); …; loop.quit(); });
//     loop.run();
//
// The library is constructed, used and destroyed on that thread. Its files are only read.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "library/facts/PhotoColumns.h"
#include "library/kinds/LibraryKind.h"

namespace moxtel {

class AlbumData;
class AlbumMembership;
class Clock;
class ContainerTree;
class EventLoop;
class Faces;
class ImageFiles;
class LibraryAnswers;
class LibraryDatabases;
class LibraryFiles;
class LibraryLists;
class LibraryLocation;
class Messages;
class PhotoFactsReader;
class PhotoRecords;
class SmartAlbums;

struct OpenLibraryOptions {
  // Folders outside the library that may be used, as in the setting "ReferencedFolders"
  // (ReferencedFolders.h).
  std::string referencedFolders;
  // The data of the largest private copy of a database, in bytes.
  std::uint64_t privateCopyLimit = std::uint64_t{8} << 30;
  // Bytes of pages that the connection to each database may keep in memory.
  std::uint64_t cacheSize = std::uint64_t{32} << 20;
  // Whether facts() has the photos in the trash of a library of Photos, too, as it has those of iPhoto.
  bool readsTrash = false;
  // Whether everything is read from AlbumData.xml, because the databases are damaged.
  bool onlyAlbumData = false;
  // Whether the program ends, so that queries and copies end too. Called on the library's thread.
  std::function<bool()> isEnding;
  // Shared by the readers of one library, whose version() is then the same; made when it is null.
  std::shared_ptr<std::atomic<std::uint64_t>> outdatedCount;
  // For smart albums with relative dates; the machine's clock when it is null. Borrowed.
  const Clock* clock = nullptr;
};

// What a task has read does not belong together.
struct MustReadAgain {};

class OpenLibrary final {
 public:
  enum class State : std::uint8_t {
    Ready,
    Away,        // no library at its path: a disk that is unplugged
    Unreadable,  // its databases are damaged, or of a kind that is not served
  };

  // Borrows loop and messages, whose showTitle() is called on this thread. The folder need not exist yet.
  OpenLibrary(EventLoop& loop, Messages& messages, const std::string& path, OpenLibraryOptions options = {});
  ~OpenLibrary();
  OpenLibrary(const OpenLibrary&) = delete;
  OpenLibrary& operator=(const OpenLibrary&) = delete;

  // Call before each task: busy databases may be waited for again, and failed() is false.
  void beginTask();
  // Whether since beginTask() a database could not be opened or read: do not cache what was made of it.
  bool failed() const;
  // Whether since beginTask() a file could not be opened for want of descriptors or memory: it may be later.
  bool lacksResources() const;
  // Ends the read transactions, so that a photo application can write. Call before what takes long without
  // reading; it happens by itself at the loop's next turn.
  void releaseLocks();
  // The same before a reply is sent or what was read is kept. Throws MustReadAgain if a database was changed
  // while it was read: run the task once more, after refresh() and beginTaskAgain().
  void endReading();
  void beginTaskAgain();
  // Looks at the library's files, with a dozen stats. True if one changed, came or went since the last call;
  // then all that was cached is dropped. When a local day begins, the lists and their members are dropped,
  // which may depend on it. Costs little; call it as often as changes shall be noticed.
  bool refresh();
  // Of the files at the last refresh(): the same number for the same files, another one otherwise.
  std::uint64_t version() const;
  // Of the last refresh(): another number for another local day.
  std::int64_t day() const;
  // Looks at the databases the first time after a change.
  State state();

  const std::string& path() const;
  LibraryKind kind() const;
  // Whether Photos 1 keeps it, which has iPhoto's file names. Asks for state().
  bool isOfPhotos1();
  // "Photos 5 library"; empty for iPhoto, Aperture and for no library.
  std::string kindName() const;

  LibraryLocation& location();
  LibraryDatabases& databases();
  LibraryFiles& files();
  ImageFiles& images();
  Faces& faces();
  ContainerTree& tree();
  PhotoRecords& photoRecords();
  AlbumData& albumEntries();
  LibraryAnswers& answers();
  SmartAlbums& smartAlbums();
  AlbumMembership& membership();
  LibraryLists& lists();
  PhotoFactsReader& facts();
  // All photos; see AlbumMembership.
  std::shared_ptr<const PhotoColumns> columns();

 private:
  struct Roles;
  State findState();
  std::unique_ptr<Roles> roles_;
};

}  // namespace moxtel
