// An SQLite file system that can write only in one folder, or nowhere, and opens only regular files.
//
// SQLite changes a folder even through a connection that was opened for reading: it creates -wal and -shm
// files beside a database in write-ahead mode, and deletes the journals of an empty one. Through this file
// system, named files outside the folder are opened for reading only, a write-ahead log outside it cannot be
// opened (SQLITE_CANTOPEN) unless that was asked for, and nothing outside it is deleted. Temporary files
// without a name are made as usual.
//
// Whoever made a library chose the names and the kinds of its files. A FIFO, a device, a socket or a folder
// is not opened, without waiting for it. A super-journal counts as existing and empty: the files that it
// lists are not opened. Because closing a file drops every POSIX lock that the process holds on it, a file
// that is open as a database cannot be opened as a journal too.
//
// Outlives the connections that use it. One thread at a time, the core thread.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace moxtel {

class GuardedVfs final {
 public:
  // Whether the file system of an open file grants locks. Must not close the file.
  using LockCheck = std::function<bool(int descriptor)>;

  // What happens to write-ahead logs outside the writable folder. One that is read needs a connection that
  // neither makes nor changes the -shm file: "readonly_shm=1".
  enum class Logs : std::uint8_t { Refuse, Read };

  // The writable folder, without symbolic links; empty for none. The check is made for each database.
  explicit GuardedVfs(std::string writableFolder = {}, LockCheck grantsLocks = {}, Logs logs = Logs::Refuse);
  ~GuardedVfs();
  GuardedVfs(const GuardedVfs&) = delete;
  GuardedVfs& operator=(const GuardedVfs&) = delete;

  // For sqlite3_open_v2.
  const char* name() const { return name_.c_str(); }

  // Whether the file system of the database that was opened last grants locks.
  bool grantedLocks() const { return grantedLocks_; }
  // The write-ahead log that could not be opened last, since the previous call; empty if there is none.
  std::string takeRefusedLog() { return std::exchange(refusedLog_, {}); }

 private:
  static int open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* outFlags);
  static int remove(sqlite3_vfs* vfs, const char* path, int syncFolder);
  static GuardedVfs& self(sqlite3_vfs* vfs) { return *static_cast<GuardedVfs*>(vfs->pAppData); }
  bool mayWrite(const char* path) const;
  void checkLocks(int descriptor);
  int openSuperJournal(const char* path, sqlite3_file* file);

  std::string writableFolder_;
  LockCheck grantsLocks_;
  Logs logs_;
  std::string name_;
  sqlite3_vfs* system_;
  sqlite3_vfs vfs_;
  bool grantedLocks_ = true;
  std::string refusedLog_;
  std::string superJournal_;  // the one opened last
};

}  // namespace moxtel
