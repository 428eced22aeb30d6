#include "library/database/GuardedVfs.h"

#include <atomic>
#include <string_view>

namespace moxtel {

namespace {

// Otherwise SQLite takes a lock to count every allocation, for a statistic that is not used. Possible only
// before SQLite's first use, so while the program is loaded.
[[maybe_unused]] const int kUncounted = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);

std::string nextName() {
  static std::atomic<unsigned> made{0};
  return "moxtel-guarded-" + std::to_string(made.fetch_add(1));
}

}  // namespace

GuardedVfs::GuardedVfs(std::string writableFolder)
    : writableFolder_(std::move(writableFolder)),
      name_(nextName()),
      system_(sqlite3_vfs_find(nullptr)),
      vfs_(*system_) {
  vfs_.pNext = nullptr;
  vfs_.zName = name_.c_str();
  vfs_.pAppData = this;
  vfs_.xOpen = &GuardedVfs::open;
  vfs_.xDelete = &GuardedVfs::remove;
  sqlite3_vfs_register(&vfs_, 0);
}

GuardedVfs::~GuardedVfs() { sqlite3_vfs_unregister(&vfs_); }

bool GuardedVfs::mayWrite(const char* path) const {
  return !writableFolder_.empty() && std::string_view(path).starts_with(writableFolder_ + "/");
}

int GuardedVfs::open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* outFlags) {
  const GuardedVfs& guard = self(vfs);
  if (path && !guard.mayWrite(path)) {
    file->pMethods = nullptr;
    if (flags & SQLITE_OPEN_WAL) return SQLITE_CANTOPEN;
    flags &=
        ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_DELETEONCLOSE | SQLITE_OPEN_EXCLUSIVE);
    flags |= SQLITE_OPEN_READONLY;
  }
  return guard.system_->xOpen(guard.system_, path, file, flags, outFlags);
}

int GuardedVfs::remove(sqlite3_vfs* vfs, const char* path, int syncFolder) {
  const GuardedVfs& guard = self(vfs);
  if (!guard.mayWrite(path)) return SQLITE_IOERR_DELETE;
  return guard.system_->xDelete(guard.system_, path, syncFolder);
}

}  // namespace moxtel
