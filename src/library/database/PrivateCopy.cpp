#include "library/database/PrivateCopy.h"

#include <algorithm>

#include "library/database/CopierProtocol.h"
#include "library/database/DatabaseConnection.h"

namespace moxtel {

namespace {

constexpr std::uint64_t kRoomToSpare = 64 << 20;  // bytes left for other programs in the temporary folder
constexpr const char* kPrefix = "moxtel-database-";
// Less than the watchdog of the service allows the core thread.
constexpr std::chrono::minutes kCopyingTime{4};

std::string describeEnd(const ProcessResult& result) {
  switch (result.ending) {
    case ProcessResult::Ending::NotStarted:
      return "the program that copies it cannot be started: " + result.error;
    case ProcessResult::Ending::Exited:
      return result.output;
    case ProcessResult::Ending::TimedOut:
      return "it takes too long";
    default:
      return "the program that copies it was stopped";
  }
}

}  // namespace

void PrivateCopy::sweep(const std::string& temporaryFolder) { sweepPrivateFolders(temporaryFolder, kPrefix); }

PrivateCopy::PrivateCopy(const DatabaseNames& original, const LibrarySeams& seams,
                         const std::function<bool()>& wait) {
  do {
    folder_ = std::make_unique<PrivateFolder>(seams.temporaryFolder, kPrefix);
    if (folder_->path().empty()) {
      failure_ = "no folder can be made in '" + seams.temporaryFolder + "'";
      return;
    }
  } while (!copyOnce(original, seams) && wait());
  if (failure_.empty()) failure_ = makeWhole(seams);
  copied_ = seams.now();
}

bool PrivateCopy::copyOnce(const DatabaseNames& original, const LibrarySeams& seams) {
  path_ = resolvedPath(folder_->path()) + "/database";
  stamp_ = original.stamp();
  failure_ = copyFiles(original, seams);
  // A copy made during a write is useless, and a journal that vanished meanwhile is not a failure.
  const bool unchanged = original.stamp() == stamp_;
  if (!unchanged) failure_ = "it is being changed";
  return unchanged;
}

// A damaged copy stays as it is: its readers find that out.
std::string PrivateCopy::makeWhole(const LibrarySeams& seams) const {
  GuardedVfs vfs(resolvedPath(folder_->path()));
  BusyBudget budget(seams.sleep, seams.isEnding);
  DatabaseConnection copy(path_, vfs, DatabaseConnection::Access::ReadWrite, budget,
                          [](sqlite3*) { return AdaptedSchema(); });
  const int code = copy.opened() ? copy.makeWhole() : copy.openResult();
  switch (code & 0xff) {
    case SQLITE_OK:
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return {};
    case SQLITE_INTERRUPT:
      return "it is damaged";
    default:
      return sqlite3_errstr(code);
  }
}

std::string PrivateCopy::copyFiles(const DatabaseNames& original, const LibrarySeams& seams) const {
  const std::uint64_t free = seams.freeBytesIn(seams.temporaryFolder);
  const std::uint64_t room = free > kRoomToSpare ? free - kRoomToSpare : 0;
  ProcessRequest request;
  request.program = seams.copier;
  request.arguments = {resolvedPath(folder_->path()), std::to_string(std::min(room, seams.copyLimit)),
                       original.file()};
  if (stamp_.journal.isRegular() || stamp_.wal.isRegular())
    request.arguments.push_back(stamp_.journal.isRegular() ? original.journal() : "");
  if (stamp_.wal.isRegular()) request.arguments.push_back(original.wal());
  request.timeout = kCopyingTime;
  request.canceled = seams.isEnding;
  const ProcessResult result = seams.run(request);
  if (result.ending != ProcessResult::Ending::Exited || result.exitStatus == copier::kFailed)
    return describeEnd(result);
  if (result.exitStatus == copier::kDone) return {};
  if (room < seams.copyLimit) return "there is not enough room in '" + seams.temporaryFolder + "'";
  return "it is larger than " + std::to_string(seams.copyLimit >> 20) + " MB, the limit (-PrivateCopyLimit)";
}

}  // namespace moxtel
