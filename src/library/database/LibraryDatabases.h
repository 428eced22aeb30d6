// The library's four SQLite databases: counts how often each is opened and closed, and runs every query.
//
// Reading only: nothing in the library is changed or created. Core thread.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "library/database/DatabaseProblems.h"
#include "library/database/LibrarySeams.h"
#include "library/database/Query.h"
#include "library/kinds/LibraryKind.h"
#include "value/Value.h"

namespace moxtel {

struct DatabaseFileSystems;
class DatabaseSlot;
class EventLoop;
class Messages;
class Timer;

inline constexpr std::int64_t IPHOTO_BASE_ID = 4294967296;

enum class DatabaseFile : std::uint8_t { Library, ImageProxies, Properties, Faces };

class LibraryDatabases final {
 public:
  // Borrows both. Deletes the private copies that an earlier run left behind.
  LibraryDatabases(EventLoop& loop, Messages& messages, LibrarySeams seams = {});
  ~LibraryDatabases();
  LibraryDatabases(const LibraryDatabases&) = delete;
  LibraryDatabases& operator=(const LibraryDatabases&) = delete;

  // Uses the four files of this library from now on; no files if there is no path.
  void useLibrary(const std::optional<std::string>& libraryPath);
  // Of the library in use; of iPhoto if there is none.
  const LibraryLayout& layout() const { return layout_; }
  std::optional<std::string> pathOf(DatabaseFile file) const;

  // Open and close a database for one caller. Only the openings of Library.apdb are counted. A failed opening
  // counts too, so a nested openDatabase() returns true; the next query opens the file if it exists again.
  // The connections below are kept after closing, until 5 seconds without a request have passed.
  [[nodiscard]] bool openDatabase();
  void closeDatabase();
  std::int32_t databaseOpenCount() const { return openCount_; }
  [[nodiscard]] bool openProxiesDB() { return open(DatabaseFile::ImageProxies); }
  [[nodiscard]] bool openPropsDB() { return open(DatabaseFile::Properties); }
  [[nodiscard]] bool openFacesDB() { return open(DatabaseFile::Faces); }
  // The connections are kept: releaseLocks() ends what closing would.
  void closeProxiesDB() {}
  void closePropsDB() {}
  void closeFacesDB() {}

  // Runs a query with its values bound: numbers as numbers, texts as texts, nil as the text "(null)". A query
  // that cannot be prepared is logged as "could not prepare query '%@'" and has no rows; so is one whose text
  // values hold a quote or a NUL, and one that fails at its first step. Several may be held at a time; none
  // past releaseLocks().
  Query run(DatabaseFile file, SqlText sql, std::initializer_list<Value> values);
  // The same without the log line, for callers that log another one.
  Query runUnlogged(DatabaseFile file, SqlText sql, std::initializer_list<Value> values);
  // The last query's text with its values filled in, and the SQLite code of the last open or prepare.
  std::string query() const;
  // The same with each text value cut and on one line (loggedText).
  std::string queryForLog() const;
  std::int32_t result() const { return result_; }
  // SQLite's message about the last failure of this file; valid until its next use.
  const char* errorMessage(DatabaseFile file) const;

  // What was wrong with a file when it was last used. The console has said it, too.
  const DatabaseProblem& problemOf(DatabaseFile file) const {
    return problems_.of(static_cast<std::size_t>(file));
  }

  // Name and version of the application as far as Library's database shows it; empty while it is not open.
  std::string applicationVersion() const;

  Value versionUuidFromModelId(std::int64_t modelId);

  // Ends every read transaction, so that the photo application can write; the next query begins a new one.
  // Called before a script runs, before a reply is written and at the end of a command; if no caller does it,
  // it happens at the loop's next turn. Queries still held have no more rows.
  void releaseLocks();
  // Begins a command: resets how long a busy database is waited for, and sawFailure().
  void beginCommand();
  // Whether since beginCommand() a database could not be opened or read: a list built from it must not be
  // cached.
  bool sawFailure() const { return failures_->any; }
  // Whether since beginCommand() a database was changed while it was read, so that what was read does not
  // belong together: the command must run again, which reads it in another way. Known after releaseLocks().
  bool mustReadAgain() const { return mustReadAgain_; }
  // Begins the same command again; what is read then counts.
  void beginCommandAgain();
  // Whether lists made from the databases are outdated although their files' attributes are those that they
  // had when the lists were made. Once for each cause.
  bool takeOutdated();

 private:
  DatabaseSlot& slot(DatabaseFile file) const { return *slots_[static_cast<std::size_t>(file)]; }
  bool open(DatabaseFile file);
  Query tryRun(DatabaseSlot& slot);
  bool isNotServed() const;
  void noteProblems();
  void releaseAtTheNextTurn();
  void armIdleTimer();

  EventLoop& loop_;
  const LibrarySeams seams_;
  std::unique_ptr<DatabaseFileSystems> files_;
  LibraryLayout layoutOf(const std::string& folder) const;
  void useLayout();
  void recognizeLateLibrary();

  std::array<std::unique_ptr<DatabaseSlot>, DatabaseProblems::kFiles> ownSlots_;
  std::array<DatabaseSlot*, DatabaseProblems::kFiles> slots_{};  // by DatabaseFile; one for equal files
  std::optional<std::string> libraryPath_;
  LibraryLayout layout_;
  DatabaseProblems problems_;
  std::int32_t openCount_ = 0;
  std::int32_t result_ = 0;
  std::string_view lastSql_;
  std::vector<Value> lastValues_;
  bool refused_ = false;  // SQLite never saw the last query
  std::shared_ptr<CommandFailures> failures_ = std::make_shared<CommandFailures>();
  std::unique_ptr<Timer> idle_;
  bool releasePosted_ = false;
  bool usedSinceRelease_ = false;
  bool mustReadAgain_ = false;
  bool isReadingAgain_ = false;
  // Expires with this object, so that a task posted before does nothing after.
  std::shared_ptr<LibraryDatabases*> alive_ = std::make_shared<LibraryDatabases*>(this);
};

}  // namespace moxtel
