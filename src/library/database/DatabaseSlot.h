// One of the library's database files: its connection, kept between uses while the file is unchanged, or a
// connection to a private copy of it.
//
// A stat before each use outside a transaction notices a file that was replaced, changed or removed, so
// keeping a connection changes no result. Core thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "library/database/DatabaseConnection.h"
#include "library/database/DatabaseProblems.h"
#include "library/database/LibrarySeams.h"
#include "library/database/PrivateCopy.h"
#include "library/kinds/AlbumDataDatabase.h"

namespace moxtel {

class Messages;

class DatabaseSlot final {
 public:
  // Borrows seams, readOnly and messages.
  DatabaseSlot(const LibrarySeams& seams, GuardedVfs& readOnly, Messages& messages, SchemaAdapter adapter);

  // How a file is read: what adapts its schema, and for a file that is no database, what makes one of it.
  struct Reading {
    SchemaAdapter adapter;
    std::function<std::shared_ptr<const AlbumDataDatabase>(const std::string& path)> fill;
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

  void releaseLocks();
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
  // Closes the connection. A private copy is kept: it holds nothing of the library.
  void close();

 private:
  enum class Reason : std::uint8_t { None, Journal, WriteAheadLog, NoLocks };
  static Reason reasonOf(int extendedCode);
  static const char* describe(Reason reason);
  bool isUnchanged() const;
  int openOriginal();
  bool openCopy(Reason reason);
  int openFilled();
  void reportFilling(const std::string& what, const char* title);
  int connect(const std::string& path, GuardedVfs& vfs, bool writable);
  bool makeCopy(Reason reason);
  void report(Reason reason, const std::string& failure);

  const LibrarySeams& seams_;
  GuardedVfs& readOnly_;
  Messages& messages_;
  Reading reading_;
  std::optional<std::string> path_;
  bool wasTried_ = false;
  std::optional<DatabaseNames> names_;
  DatabaseStamp stamp_;     // what connection_ is a connection to
  bool readsCopy_ = false;  // connection_ is one to copy_
  BusyBudget budget_;
  // Declared before connection_, which uses its file system; queries hold it through the connection.
  std::shared_ptr<PrivateCopy> copy_;
  std::shared_ptr<const AlbumDataDatabase> filled_;  // from the file in the state filledStamp_
  FileStamp filledStamp_;
  bool copyFailed_ = false;   // in this command
  bool isExhausted_ = false;  // in this command: a query had more rows, or took more work, than it may
  std::shared_ptr<DatabaseConnection> connection_;
  std::string lastMessage_;  // so that a state is reported once
};

}  // namespace moxtel
