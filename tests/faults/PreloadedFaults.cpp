// Preloaded into a program (LD_PRELOAD): makes SQLite's file operations fail, shifts the clock and names
// another type of file system, controlled by another process through shared memory.
//
// MOXTEL_FAULTS names a file of a Control's size, which both map. Without it the library changes nothing.
#include <dlfcn.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/vfs.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// The file operations that can fail, each with the requested result code.
enum Operation : std::int64_t { Open, Read, Write, Size, Lock, Unlock, CheckLock, Access, Sync, kOperations };
// Instead of a result code: changes the bytes that are read.
constexpr std::int64_t kDamage = -1;

// faultserver.py has the same layout. The controlling process sets "armed" last.
struct Control {
  std::atomic<std::int64_t> armed;
  std::int64_t operation;  // -1: none, only count
  std::int64_t nth;        // the first one that fails, from 1
  std::int64_t repeat;     // number of consecutive operations that fail; -1: all that follow
  std::int64_t code;
  std::atomic<std::int64_t> fired;
  std::atomic<std::int64_t> clockShift;  // seconds added to the system clock
  std::atomic<std::int64_t> fileSystem;  // f_type of every file system; 0: its own
  std::atomic<std::int64_t> counts[kOperations];
};

Control* control = nullptr;

bool fails(Operation operation, std::int64_t& code) {
  if (!control || control->armed != 1) return false;
  const std::int64_t count = ++control->counts[operation];
  if (operation != control->operation || count < control->nth) return false;
  if (control->repeat >= 0 && count >= control->nth + control->repeat) return false;
  code = control->code;
  ++control->fired;
  return true;
}

bool fails(Operation operation, int& result) {
  std::int64_t code = 0;
  if (!fails(operation, code)) return false;
  result = static_cast<int>(code);
  return true;
}

// Wraps SQLite's own file.
struct File {
  sqlite3_file base;
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* real(sqlite3_file* file) { return reinterpret_cast<File*>(file)->real(); }

int closeFile(sqlite3_file* file) { return real(file)->pMethods->xClose(real(file)); }

int readFile(sqlite3_file* file, void* to, int count, sqlite3_int64 at) {
  std::int64_t code = 0;
  const bool hurt = fails(Read, code);
  if (hurt && code != kDamage) {
    // Like SQLite's own: fills missing bytes with zeros.
    if (code == SQLITE_IOERR_SHORT_READ) std::memset(to, 0, static_cast<std::size_t>(count));
    return static_cast<int>(code);
  }
  const int result = real(file)->pMethods->xRead(real(file), to, count, at);
  if (hurt) {
    auto* const bytes = static_cast<unsigned char*>(to);
    for (int i = 0; i < count; ++i) bytes[i] ^= static_cast<unsigned char>(i * 37 + 91);
  }
  return result;
}

int writeFile(sqlite3_file* file, const void* from, int count, sqlite3_int64 at) {
  int result = SQLITE_OK;
  return fails(Write, result) ? result : real(file)->pMethods->xWrite(real(file), from, count, at);
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
  return real(file)->pMethods->xTruncate(real(file), size);
}

int syncFile(sqlite3_file* file, int flags) {
  int result = SQLITE_OK;
  return fails(Sync, result) ? result : real(file)->pMethods->xSync(real(file), flags);
}

int fileSize(sqlite3_file* file, sqlite3_int64* size) {
  int result = SQLITE_OK;
  return fails(Size, result) ? result : real(file)->pMethods->xFileSize(real(file), size);
}

int lockFile(sqlite3_file* file, int lock) {
  int result = SQLITE_OK;
  return fails(Lock, result) ? result : real(file)->pMethods->xLock(real(file), lock);
}

// Releases the lock even when reporting an error, so that the injected fault leaves no lock behind.
int unlockFile(sqlite3_file* file, int lock) {
  const int result = real(file)->pMethods->xUnlock(real(file), lock);
  int injected = SQLITE_OK;
  return fails(Unlock, injected) ? injected : result;
}

int checkReservedLock(sqlite3_file* file, int* isReserved) {
  int result = SQLITE_OK;
  return fails(CheckLock, result) ? result : real(file)->pMethods->xCheckReservedLock(real(file), isReserved);
}

int fileControl(sqlite3_file* file, int operation, void* argument) {
  return real(file)->pMethods->xFileControl(real(file), operation, argument);
}
int sectorSize(sqlite3_file* file) { return real(file)->pMethods->xSectorSize(real(file)); }
int deviceCharacteristics(sqlite3_file* file) {
  return real(file)->pMethods->xDeviceCharacteristics(real(file));
}
int shmMap(sqlite3_file* file, int page, int size, int extend, void volatile** at) {
  return real(file)->pMethods->xShmMap(real(file), page, size, extend, at);
}
int shmLock(sqlite3_file* file, int offset, int count, int flags) {
  return real(file)->pMethods->xShmLock(real(file), offset, count, flags);
}
void shmBarrier(sqlite3_file* file) { real(file)->pMethods->xShmBarrier(real(file)); }
int shmUnmap(sqlite3_file* file, int remove) { return real(file)->pMethods->xShmUnmap(real(file), remove); }

// Version 2 has shared memory, but no memory-mapped reading, which would bypass these functions.
const sqlite3_io_methods kMethods{2,
                                  &closeFile,
                                  &readFile,
                                  &writeFile,
                                  &truncateFile,
                                  &syncFile,
                                  &fileSize,
                                  &lockFile,
                                  &unlockFile,
                                  &checkReservedLock,
                                  &fileControl,
                                  &sectorSize,
                                  &deviceCharacteristics,
                                  &shmMap,
                                  &shmLock,
                                  &shmBarrier,
                                  &shmUnmap,
                                  nullptr,
                                  nullptr};

sqlite3_vfs* systemVfs = nullptr;

int openFile(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  int result = SQLITE_OK;
  if (fails(Open, result)) return result;
  result = systemVfs->xOpen(systemVfs, path, real(file), flags, outFlags);
  if (real(file)->pMethods) file->pMethods = &kMethods;
  return result;
}

int accessFile(sqlite3_vfs*, const char* path, int flags, int* found) {
  int result = SQLITE_OK;
  return fails(Access, result) ? result : systemVfs->xAccess(systemVfs, path, flags, found);
}

sqlite3_vfs vfs;

void registerVfs() {
  systemVfs = sqlite3_vfs_find(nullptr);
  if (!systemVfs) return;
  vfs = *systemVfs;
  vfs.pNext = nullptr;
  vfs.zName = "moxtel-faults";
  vfs.szOsFile = static_cast<int>(sizeof(File)) + systemVfs->szOsFile;
  vfs.xOpen = &openFile;
  vfs.xAccess = &accessFile;
  sqlite3_vfs_register(&vfs, 1);
}

__attribute__((constructor)) void prepare() {
  const char* const path = std::getenv("MOXTEL_FAULTS");
  if (!path) return;
  const int file = ::open(path, O_RDWR | O_CLOEXEC);
  void* const at =
      file < 0 ? MAP_FAILED : ::mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (at == MAP_FAILED) {
    std::fprintf(stderr, "libmoxtel-preloaded-faults: cannot map '%s'\n", path);
    std::_Exit(70);
  }
  ::close(file);
  control = static_cast<Control*>(at);
  registerVfs();
}

std::int64_t shift() { return control ? control->clockShift.load() : 0; }

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

// Shifts only the system clock: the monotonic clock is never set.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static const auto kNext = next<int (*)(clockid_t, timespec*)>("clock_gettime");
  const int result = kNext(clock, time);
  if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) time->tv_sec += shift();
  return result;
}

int fstatfs(int file, struct statfs* facts) noexcept {
  static const auto kNext = next<int (*)(int, struct statfs*)>("fstatfs");
  const int result = kNext(file, facts);
  if (result == 0 && control && control->fileSystem != 0) facts->f_type = control->fileSystem;
  return result;
}

int gettimeofday(timeval* time, void* zone) noexcept {
  static const auto kNext = next<int (*)(timeval*, void*)>("gettimeofday");
  const int result = kNext(time, zone);
  if (result == 0) time->tv_sec += shift();
  return result;
}

time_t time(time_t* at) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (at) *at = now.tv_sec;
  return now.tv_sec;
}

}  // extern "C"
