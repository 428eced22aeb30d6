// One of the library's database files: its connection, kept between uses while the file is unchanged, or a
// connection to a private copy of it.
//
// A stat before each use outside a transaction notices a file that was replaced, changed or removed, so
// keeping a connection changes no result.
//
// A database that is used with a write-ahead log, as those of Photos are, cannot be read as it is without
// making files beside it. Without a log it is read as one that does not change, and a stat after the
// transaction shows whether that was true. With a log and a -shm file on a local disk, both are read. Else it
// is copied, at most once a minute while another program writes. Core thread.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "library/database/DatabaseConnection.h"
#include "library/database/DatabaseProblems.h"
#include "library/database/LibrarySeams.h"
#include "library/database/SharedDatabases.h"

namespace moxtel {

class Messages;

// What the library's files are opened through.
struct DatabaseFileSystems {
  explicit DatabaseFileSystems(GuardedVfs::LockCheck grantsLocks)
      : readOnly({}, std::move(grantsLocks)), readingLogs({}, {}, GuardedVfs::Logs::Read) {}
  GuardedVfs readOnly;
  GuardedVfs readingLogs;
};

class DatabaseSlot final {
 public:
  // A copy is not renewed before, as long as its original only grows by its log.
  static constexpr std::chrono::minutes kBetweenCopies{1};

  // Borrows seams, files and messages.
  DatabaseSlot(const LibrarySeams& seams, DatabaseFileSystems& files, Messages& messages,
               SchemaAdapter adapter);

  // How a file is read: what adapts its schema, and for a file that is no database, what makes one of it.
  struct Reading {
    SchemaAdapter adapter;
    std::function<std::shared_ptr<const AlbumDataDatabase>(const std::string& path)> fill;
    // Whether a database with a write-ahead log is read where it is, if that is possible.
    bool readsLogInPlace = false;
  };
  // Changes to another file, or to none, and closes the connection.
  void setPath(const std::optional<std::string>& path, Reading reading);
  const std::optional<std::string>& path() const { return path_; }

  // Opens the file, unless the file in its current state is already open. Returns an SQLite result code.
  int open();
  // Valid after open() was SQLITE_OK, until the next open() or close(); shared with the queries held.
  const std::shared_ptr<DatabaseConnection>& connection() const { return connection_; }
  bool isOpen() const { return connection_ != nullptr; }
  // After reading has failed with this extended code: true when a private copy is open now, and the reading
  // can be tried again.
  bool resortToCopy(int extendedCode);

  // Ends the transaction. False when the file was changed while it was read as one that does not change: then
  // what was read since open() may be wrong. The next use reads it in another way.
  [[nodiscard]] bool releaseLocks();
  // Whether lists made from this file are outdated although its attributes are those that it had when they
  // were made: because releaseLocks() was false since the last call, or because a private copy is older than
  // the file and may be renewed.
  bool takeOutdated();
  // Whether open() was called since the last call of this method.
  bool wasTried() { return std::exchange(wasTried_, false); }
  // What is wrong with the file as far as the last uses showed, and the state of the file then.
  DatabaseProblem problem() const;
  const FileStamp& stamp() const { return stamp_.file; }
  // A command begins: it may wait for a busy file, and try to copy one, whatever happened before. What failed
  // is not tried again within a command, which may run thousands of queries.
  void beginCommand() {
    budget_.refill();
    copyFailed_ = false;
    isExhausted_ = false;
    if (connection_ && connection_->isOverworked()) connection_.reset();
  }
  // Closes the connection. A private copy is kept.
  void close();
  // Closes a connection to a file in the library. Others hold nothing of the library.
  void closeFile();

 private:
  enum class Reason : std::uint8_t { None, Journal, WriteAheadLog, NoLocks };
  static Reason reasonOf(int extendedCode);
  static bool isFailureOfLog(int extendedCode);
  static const char* describe(Reason reason);
  enum class Source : std::uint8_t { File, QuietFile, FileAndLog, Copy, Memory };
  bool isUnchanged() const;
  bool isRecent(const PrivateCopy& copy, const DatabaseStamp& now) const;
  int openOriginal();
  int openWithLog();
  bool canShareLog() const;
  bool openCopy(Reason reason);
  int openFilled();
  std::shared_ptr<const HelperTables> helpersFor(sqlite3* database, const std::vector<HelperStep>& steps);
  void reportFilling(const std::string& sentence, const std::string& why, const char* title);
  int connect(Source source);
  bool makeCopy(Reason reason);
  void report(Reason reason, const std::string& failure);

  const LibrarySeams& seams_;
  DatabaseFileSystems& files_;
  Messages& messages_;
  Reading reading_;
  std::optional<std::string> path_;
  bool wasTried_ = false;
  std::optional<DatabaseNames> names_;
  DatabaseStamp stamp_;            // what connection_ is a connection to
  Source source_ = Source::File;   // of connection_
  bool changedWhileRead_ = false;  // the last time it was read as a QuietFile
  bool isOutdated_ = false;
  BusyBudget budget_;
  std::shared_ptr<const PrivateCopy> copy_;
  std::shared_ptr<const FilledDatabase> filled_;
  bool copyFailed_ = false;   // in this command
  bool isExhausted_ = false;  // in this command: a query had more rows, or took more work, than it may
  std::shared_ptr<DatabaseConnection> connection_;
  std::string lastMessage_;  // so that a state is reported once
};

}  // namespace moxtel
