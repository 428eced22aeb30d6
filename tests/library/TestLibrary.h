// A photo library in a temporary folder, with the real tables and indexes and no rows, for tests to fill; and
// the objects that serve it, opened as the program does. Both are removed with the test.
#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/LoadedLibrary.h"
#include "library/database/LibraryDatabases.h"
#include "platform/process/ChildProcess.h"
#include "platform/settings/UserDefaults.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/fakes/RecordingMessages.h"
#include "value/Value.h"

namespace moxtel::test {

// The files. A failure throws std::runtime_error, which ends the test.
class TestLibrary final {
 public:
  // In a new folder below the temporary one; the name may contain anything that a file name can.
  explicit TestLibrary(std::string_view name = "Library");

  std::string path() const { return folder_.string(); }
  std::string pathOf(DatabaseFile file) const;

  // Adds a row: the named columns, all others NULL (modelId numbers itself). The table's name
  // determines the database. Returns the row's modelId.
  std::int64_t insert(std::string_view table, const Dictionary& columns);
  // Any statements.
  void execute(DatabaseFile file, const std::string& sql);

  void remove(DatabaseFile file);
  // Replaces a file's contents.
  void overwrite(DatabaseFile file, std::string_view bytes);

 private:
  TemporaryFolder root_;
  std::filesystem::path folder_;
};

// Another program that writes: has its own open connection, and does not wait for locks.
class OtherProgram final {
 public:
  explicit OtherProgram(const std::string& file);
  ~OtherProgram();
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;
  // The SQLite result code.
  int execute(const char* sql);
  // Whether it could begin, and roll back, a write that needs the file for itself.
  bool canWrite();

 private:
  sqlite3* connection_ = nullptr;
};

// A runner that starts nothing.
class NoProcesses final : public ProcessRunner {
 public:
  ProcessResult run(const ProcessRequest&) override { return {}; }
};

// The databases of a test library, located and loaded.
struct OpenedLibrary {
  explicit OpenedLibrary(const TestLibrary& testLibrary);
  // What the server does between two commands: others may write from here on.
  void nextCommand();

  FakeEventLoop loop;
  UserDefaults defaults;
  NoProcesses processes;
  RecordingMessages messages;
  LibraryFiles files{messages};
  PhotoApplicationFlags flags;
  LibraryLocation location;
  LibraryDatabases databases;
  LoadedLibrary library;
};

// Several rows' values of one key, in order; nil where the key is missing.
std::vector<Value> valuesOf(const Value& list, std::string_view key);
// The keys of a dictionary in order.
std::vector<std::string> keysOf(const Value& dictionary);

}  // namespace moxtel::test
