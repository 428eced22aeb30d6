// An SQLite file system that can write only in one folder, or nowhere.
//
// SQLite changes a folder even through a connection that was opened for reading: it creates -wal and -shm
// files beside a database in write-ahead mode, and deletes the journals of an empty one. Through this file
// system, named files outside the folder are opened for reading only, a write-ahead log outside it cannot be
// opened (SQLITE_CANTOPEN), and nothing outside it is deleted. Temporary files without a name are made as
// usual.
//
// Outlives the connections that use it. Any thread.
#pragma once

#include <sqlite3.h>

#include <string>

namespace moxtel {

class GuardedVfs final {
 public:
  // The writable folder, without symbolic links; empty for none.
  explicit GuardedVfs(std::string writableFolder = {});
  ~GuardedVfs();
  GuardedVfs(const GuardedVfs&) = delete;
  GuardedVfs& operator=(const GuardedVfs&) = delete;

  // For sqlite3_open_v2.
  const char* name() const { return name_.c_str(); }

 private:
  static int open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* outFlags);
  static int remove(sqlite3_vfs* vfs, const char* path, int syncFolder);
  static GuardedVfs& self(sqlite3_vfs* vfs) { return *static_cast<GuardedVfs*>(vfs->pAppData); }
  bool mayWrite(const char* path) const;

  std::string writableFolder_;
  std::string name_;
  sqlite3_vfs* system_;
  sqlite3_vfs vfs_;
};

}  // namespace moxtel
