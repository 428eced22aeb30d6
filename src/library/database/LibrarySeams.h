// What the databases ask of the machine besides SQLite. Tests replace the answers. Core thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/process/ChildProcess.h"

namespace moxtel {

struct SharedDatabases;

// The defaults are the machine's own answers.
struct LibrarySeams {
  LibrarySeams();
  // Where private copies are made, and the bytes that may still be written there.
  std::string temporaryFolder;
  std::function<std::uint64_t(const std::string& folder)> freeBytesIn;
  // The data of the largest private copy, in bytes, without holes.
  std::uint64_t copyLimit = std::uint64_t{8} << 30;
  // Bytes of pages that the connection to each file may keep in memory.
  std::uint64_t cacheSize = std::uint64_t{32} << 20;
  // The absolute path of moxtel-database-copier, and what runs it.
  std::string copier;
  std::function<ProcessResult(const ProcessRequest& request)> run;
  // Whether the file system of an open file grants locks.
  std::function<bool(int descriptor)> grantsLocks;
  // Whether a file is on a disk of this computer, where programs share memory by it.
  std::function<bool(const std::string& path)> isOnLocalDisk;
  // Whether a database may be opened: not if a link to it leads out of the library. Without an answer, all
  // may.
  std::function<bool(const std::string& path)> permits;
  std::function<std::chrono::steady_clock::time_point()> now;
  // Whether hidden photos of a library of Photos are listed, marked as hidden; else they are left out. Other
  // libraries always list them.
  bool listsHiddenPhotos = false;
  // Whether facts are read of photos in the trash of a library of Photos, too; lists never have them.
  bool readsTrash = false;
  // Whether everything is read from AlbumData.xml, because the databases are damaged.
  bool onlyAlbumData = false;
  // Waits for a busy database.
  std::function<void(std::chrono::milliseconds)> sleep;
  // Whether the program ends: then nothing is waited for, and queries end.
  std::function<bool()> isEnding;
  // What readers of the same library share; that of the process.
  std::shared_ptr<SharedDatabases> shared;
};

}  // namespace moxtel
