#include "library/database/GuardedVfs.h"

#include <atomic>
#include <cerrno>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/files/FileDescriptor.h"
#include "platform/files/Files.h"
#include "platform/files/LockedFiles.h"

namespace moxtel {

namespace {

// Otherwise SQLite takes a lock to count every allocation, for a statistic that is not used. Possible only
// before SQLite's first use, so while the program is loaded.
[[maybe_unused]] const int kUncounted = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);

std::string nextName() {
  static std::atomic<unsigned> made{0};
  return "moxtel-guarded-" + std::to_string(made.fetch_add(1));
}

// What this thread is opening through a GuardedVfs.
enum class Opening : unsigned char { Nothing, Database, OtherFile };
thread_local Opening opening = Opening::Nothing;
constexpr int kNotOpened = -1;
thread_local int openedDatabase = kNotOpened;

// The calls by which SQLite opens and closes every file, in the place of open() and close().
int openFile(const char* path, int flags, int mode) {
  if (opening == Opening::OtherFile && isLockedFile(stampOf(std::string(path)))) {
    errno = EISDIR;  // as for a folder: it cannot be opened in any way
    return -1;
  }
  const int descriptor = openRegularOnly(path, flags, mode);
  if (descriptor >= 0 && opening == Opening::Database) {
    addLockedFile(descriptor);
    openedDatabase = descriptor;
  }
  return descriptor;
}

int closeFile(int descriptor) {
  removeLockedFile(descriptor);
  FileDescriptor(descriptor).close();
  return 0;
}

void replaceSystemCalls(sqlite3_vfs* system) {
  static std::once_flag once;
  std::call_once(once, [&] {
    const auto replace = [&](const char* name, auto* call) {
      system->xSetSystemCall(system, name, reinterpret_cast<sqlite3_syscall_ptr>(call));
    };
    replace("open", &openFile);
    replace("close", &closeFile);
  });
}

}  // namespace

GuardedVfs::GuardedVfs(std::string writableFolder, LockCheck grantsLocks, Logs logs)
    : writableFolder_(std::move(writableFolder)),
      grantsLocks_(std::move(grantsLocks)),
      logs_(logs),
      name_(nextName()),
      system_(sqlite3_vfs_find(nullptr)),
      vfs_(*system_) {
  replaceSystemCalls(system_);
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
  GuardedVfs& guard = self(vfs);
  if (flags & SQLITE_OPEN_SUPER_JOURNAL) return guard.openSuperJournal(path, file);
  if (path && !guard.mayWrite(path)) {
    file->pMethods = nullptr;
    if ((flags & SQLITE_OPEN_WAL) && guard.logs_ == Logs::Refuse) {
      guard.refusedLog_ = path;
      return SQLITE_CANTOPEN;
    }
    flags &=
        ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_DELETEONCLOSE | SQLITE_OPEN_EXCLUSIVE);
    flags |= SQLITE_OPEN_READONLY;
  }
  const bool isDatabase = (flags & SQLITE_OPEN_MAIN_DB) != 0;
  opening = isDatabase ? Opening::Database : Opening::OtherFile;
  openedDatabase = kNotOpened;
  const int code = guard.system_->xOpen(guard.system_, path, file, flags, outFlags);
  opening = Opening::Nothing;
  if (isDatabase && code == SQLITE_OK) guard.checkLocks(openedDatabase);
  return code;
}

// On SQLite's own descriptor: closing another one would drop the locks of an open connection. None if SQLite
// uses one that it had open already.
void GuardedVfs::checkLocks(int descriptor) {
  grantedLocks_ = descriptor == kNotOpened || !grantsLocks_ || grantsLocks_(descriptor);
}

// Its existence says that the change was not finished, so that the journal is rolled back. Afterwards SQLite
// looks for other databases that still need it; a private copy has none.
int GuardedVfs::openSuperJournal(const char* path, sqlite3_file* file) {
  superJournal_ = path ? path : "";
  constexpr int kEmptyFile = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_EXCLUSIVE |
                             SQLITE_OPEN_DELETEONCLOSE | SQLITE_OPEN_TEMP_JOURNAL;
  return system_->xOpen(system_, nullptr, file, kEmptyFile, nullptr);
}

int GuardedVfs::remove(sqlite3_vfs* vfs, const char* path, int syncFolder) {
  const GuardedVfs& guard = self(vfs);
  if (path == guard.superJournal_) return SQLITE_OK;
  if (!guard.mayWrite(path)) return SQLITE_IOERR_DELETE;
  return guard.system_->xDelete(guard.system_, path, syncFolder);
}

}  // namespace moxtel
