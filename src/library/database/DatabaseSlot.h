// One of the library's database files: its connection, kept between uses as long as the file is as it was, or
// the private copy that stands in for it.
//
// The file is asked about (stat) before each use outside a transaction, so nobody can tell that a connection
// was kept: one that was replaced, changed or removed is noticed. Core thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "library/database/DatabaseConnection.h"
#include "library/database/LibrarySeams.h"
#include "library/database/PrivateCopy.h"

namespace moxtel {

class Messages;

class DatabaseSlot final {
 public:
  // Borrows all three.
  DatabaseSlot(const LibrarySeams& seams, GuardedVfs& readOnly, Messages& messages);

  // Another file, or none: what is open is closed.
  void setPath(const std::optional<std::string>& path);
  const std::optional<std::string>& path() const { return path_; }

  // Makes sure that the file as it now is is open. An SQLite result code.
  int open();
  // Valid after open() was SQLITE_OK, until the next open() or close(); shared with the queries held.
  const std::shared_ptr<DatabaseConnection>& connection() const { return connection_; }
  bool isOpen() const { return connection_ != nullptr; }
  // After reading has failed with this extended code: true when a private copy now is open instead, and the
  // reading is worth another try.
  bool resortToCopy(int extendedCode);

  void releaseLocks();
  // A command begins: it may wait for a busy file, and try to copy one, as if nobody had before. What failed
  // is not tried again within a command, which may ask thousands of times.
  void beginCommand() {
    budget_.refill();
    copyFailed_ = false;
    isExhausted_ = false;
    if (connection_ && connection_->isOverworked()) connection_.reset();
  }
  // Closes the connection. A private copy is kept: it holds nothing of the library.
  void close();

 private:
  enum class Reason : std::uint8_t { None, Journal, WriteAheadLog, NoLocks };
  static Reason reasonOf(int extendedCode);
  static const char* describe(Reason reason);
  bool isUnchanged() const;
  int openOriginal();
  bool openCopy(Reason reason);
  int connect(const std::string& path, GuardedVfs& vfs, bool writable);
  bool makeCopy(Reason reason);
  void tell(Reason reason, const std::string& failure);

  const LibrarySeams& seams_;
  GuardedVfs& readOnly_;
  Messages& messages_;
  std::optional<std::string> path_;
  std::optional<DatabaseNames> names_;
  DatabaseStamp stamp_;     // what connection_ is a connection to
  bool readsCopy_ = false;  // connection_ is one to copy_
  BusyBudget budget_;
  // Before connection_, which lives in its file system; held by queries through the connection.
  std::shared_ptr<PrivateCopy> copy_;
  bool copyFailed_ = false;   // in this command
  bool isExhausted_ = false;  // in this command: a query had more rows, or took more work, than it may
  std::shared_ptr<DatabaseConnection> connection_;
  std::string told_;  // the last line for the user, so that a state is told once
};

}  // namespace moxtel
