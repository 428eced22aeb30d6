// The library's folder and its four SQLite databases: where they lie, when they are open, and the one way in
// which every query of the system runs.
//
// Reading only: nothing in the library is changed or created. Core thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "library/PhotoApplicationFlags.h"
#include "value/Value.h"

namespace moxtel {

class EventLoop;
class Messages;
class ProcessRunner;
class UserDefaults;

inline constexpr std::int64_t IPHOTO_BASE_ID = 4294967296;

enum class DatabaseFile : std::uint8_t { Library, ImageProxies, Properties, Faces };

// What the databases ask of the machine besides SQLite; tests answer otherwise. The defaults are the
// machine's own answers.
struct LibrarySeams {
  LibrarySeams();
  // The tool that tells where the photo application keeps its library.
  std::string defaultsTool = "/usr/bin/defaults";
  // Where private copies are made, and the bytes that may still be written there.
  std::string temporaryFolder;
  std::function<std::uint64_t(const std::string& folder)> freeBytesIn;
  // Whether the file's file system knows locks.
  std::function<bool(const std::string& path)> grantsLocks;
  // Waits for a busy database.
  std::function<void(std::chrono::milliseconds)> sleep;
};

// SQL as it is quoted, with the places '%@', '%d', %d, %ld and %lld. Literals of this program only.
class SqlText final {
 public:
  consteval SqlText(const char* text) : text_(text) {}  // NOLINT
  constexpr std::string_view view() const { return text_; }

 private:
  std::string_view text_;
};

// One query's rows. Resets its statement when it goes, so that it never holds the database's lock longer.
class Query final {
 public:
  class Rows;
  explicit Query(std::unique_ptr<Rows> rows);
  Query(Query&&) noexcept;
  Query& operator=(Query&&) noexcept;
  ~Query();

  // The next row; false at the end, and at once for a query that could not be prepared.
  [[nodiscard]] bool step();
  // Whether the text could be prepared (the SQLite result code of prepare or of the first step was no error).
  bool prepared() const;
  // Whether something other than the end has ended the rows: an error, releaseLocks(), or no preparation.
  bool failed() const;
  // 0-based columns of the current row; without a row everything reads as NULL.
  Value stringColumn(int column) const;  // nil for NULL
  // The text as SQL compares it, whatever its bytes; nothing for what is no text. Until the next step.
  std::optional<std::string_view> storedText(int column) const;
  Value integerNumberColumn(int column) const;  // signed 32 bits, the low ones of a wider value; NULL is 0
  Value realNumberColumn(int column) const;     // nil for NULL
  std::int32_t integerColumn(int column) const;
  std::int64_t integer64Column(int column) const;
  double realColumn(int column) const;

 private:
  std::unique_ptr<Rows> rows_;
};

class LibraryDatabases final {
 public:
  // Borrows everything.
  LibraryDatabases(EventLoop& loop, UserDefaults& defaults, ProcessRunner& processes, Messages& messages,
                   const PhotoApplicationFlags& flags, LibrarySeams seams = {});
  ~LibraryDatabases();
  LibraryDatabases(const LibraryDatabases&) = delete;
  LibraryDatabases& operator=(const LibraryDatabases&) = delete;

  // The user's preference, set by the delegate at start-up.
  bool preferAperture = false;

  void readPhotoAppDefaults();
  void loadDatabase();

  // Opening and closing as callers count it: Library.apdb nests, the others do not. A failed open leaves the
  // count up, so a nested openDatabase() answers true; the next query opens the file if it is there again.
  // The connections below are kept after closing, until 5 seconds without a request have passed.
  [[nodiscard]] bool openDatabase();
  void closeDatabase();
  [[nodiscard]] bool openProxiesDB();
  void closeProxiesDB();
  [[nodiscard]] bool openPropsDB();
  void closePropsDB();
  [[nodiscard]] bool openFacesDB();
  void closeFacesDB();

  // Runs a query with its values bound: numbers as numbers, texts as texts, nil as the text "(null)". A query
  // that cannot be prepared is logged as "could not prepare query '%@'" and has no rows; so is one whose text
  // values hold a quote or a NUL, and one that fails at its first step. query() and result() tell of it.
  // Several may be held at a time; none past releaseLocks().
  Query run(DatabaseFile file, SqlText sql, std::initializer_list<Value> values);
  // The same without the log line, for callers that log another one.
  Query runUnlogged(DatabaseFile file, SqlText sql, std::initializer_list<Value> values);

  Value versionUuidFromModelId(std::int64_t modelId);

  // Ends every read transaction, so that the photo application can write; the next query begins a new one.
  // Before a script is asked, before a reply is written, at the end of a command. Queries still held have no
  // more rows. Forgotten, it happens at the loop's next turn.
  void releaseLocks();
  // Begins a command: the waiting for a busy database and "was anything unreadable" start afresh.
  void beginCommand();
  // Whether since beginCommand() a database could not be opened or read: a list built from that is not to be
  // cached.
  bool sawFailure() const;

  const std::optional<std::string>& libraryPath() const;
  std::optional<std::string> pathOf(DatabaseFile file) const;
  // The last query's text with its values filled in, and the SQLite code of the last open or prepare.
  std::string query() const;
  std::int32_t result() const;
  std::int32_t databaseOpenCount() const;
  // SQLite's words for the last failure of this file; valid until its next use.
  const char* errorMessage(DatabaseFile file) const;
  bool usingDB() const;
  bool runStandalone() const;
  std::optional<Date> databaseReadDate() const;
  std::uint64_t databaseReadSize() const;
  // For the database watcher: what it saw last.
  void rememberRead(Date modified, std::uint64_t size);
  // Another library folder: forgets runStandalone too.
  void resetStandalone();

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace moxtel
