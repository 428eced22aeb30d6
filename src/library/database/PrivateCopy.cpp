#include "library/database/PrivateCopy.h"

#include "platform/files/FileReader.h"

namespace moxtel {

namespace {

constexpr std::uint64_t kRoomToSpare = 64 << 20;  // bytes left for other programs in the temporary folder
// In the header of a database file: the versions for writing and for reading, and what both are with a
// write-ahead log (https://sqlite.org/fileformat2.html).
constexpr std::size_t kVersionsAt = 18;
constexpr std::uint8_t kWriteAheadLog = 2;

}  // namespace

DatabaseNames::DatabaseNames(const std::string& path)
    : file_(path), journal_(resolvedPath(path) + "-journal"), wal_(resolvedPath(path) + "-wal") {}

DatabaseStamp DatabaseNames::stamp() const { return {stampOf(file_), stampOf(journal_), stampOf(wal_)}; }

bool DatabaseNames::usesWriteAheadLog() const {
  const Bytes start = readStart(openRegularFile(file_), kVersionsAt + 2);
  return start.size() == kVersionsAt + 2 && start[kVersionsAt + 1] == kWriteAheadLog;
}

PrivateCopy::PrivateCopy(const DatabaseNames& original, const std::string& parentFolder,
                         std::uint64_t freeBytes, const std::function<bool()>& wait) {
  if (original.stamp().size() + kRoomToSpare > freeBytes) {
    failure_ = "there is not enough room in '" + parentFolder + "'";
    return;
  }
  do {
    folder_ = std::make_unique<PrivateFolder>(parentFolder, "moxtel-database-");
    if (folder_->path().empty()) {
      failure_ = "no folder can be made in '" + parentFolder + "'";
      return;
    }
  } while (!copyOnce(original) && wait());
}

bool PrivateCopy::copyOnce(const DatabaseNames& original) {
  path_ = resolvedPath(folder_->path()) + "/database";
  stamp_ = original.stamp();
  failure_ = copyPrivately(original.file(), path_);
  if (failure_.empty() && stamp_.journal.isRegular())
    failure_ = copyPrivately(original.journal(), path_ + "-journal");
  if (failure_.empty() && stamp_.wal.isRegular()) failure_ = copyPrivately(original.wal(), path_ + "-wal");
  // A copy made during a write is useless, and a journal that vanished meanwhile is not a failure.
  const bool unchanged = original.stamp() == stamp_;
  if (!unchanged) failure_ = "it is being changed";
  if (failure_.empty()) vfs_ = std::make_unique<GuardedVfs>(resolvedPath(folder_->path()));
  return unchanged;
}

}  // namespace moxtel
