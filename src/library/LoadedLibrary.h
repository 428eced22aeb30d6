// The library as it was last loaded: locates it, hands its files to the databases, and remembers the state of
// Library.apdb. Opens no connection. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;
class LibraryLocation;
class Messages;

class LoadedLibrary final {
 public:
  // Borrows everything.
  LoadedLibrary(LibraryLocation& location, LibraryDatabases& databases, Messages& messages)
      : location_(location), databases_(databases), messages_(messages) {}

  void loadDatabase();

  // The path of Library.apdb; nothing before a library is known.
  std::optional<std::string> databaseFilename() const;
  // Whether Library.apdb was there at some loading. Never reset.
  bool usingDB() const { return usingDB_; }
  // Whether the photo applications know such a library; scripts about one that they do not know would reach a
  // foreign photo.
  bool hasPhotoApplication() const;
  // Whether Library.apdb was missing at some loading of this library.
  bool runStandalone() const { return runStandalone_; }
  // Call when another library folder is chosen: runStandalone() is false again.
  void resetStandalone() { runStandalone_ = false; }
  // Modification date and size (bytes) of Library.apdb when it was last loaded.
  std::optional<Date> databaseReadDate() const { return databaseReadDate_; }
  std::uint64_t databaseReadSize() const { return databaseReadSize_; }
  // For the database watcher: what it saw last.
  void rememberRead(Date modified, std::uint64_t size);

 private:
  void readAttributes();

  LibraryLocation& location_;
  LibraryDatabases& databases_;
  Messages& messages_;
  bool usingDB_ = false;
  bool runStandalone_ = false;
  std::optional<Date> databaseReadDate_;
  std::uint64_t databaseReadSize_ = 0;
};

}  // namespace moxtel
