// The databases as the program uses them, with everything around them under the test's control: the messages,
// the settings tool, sleeping, room for copies.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/LoadedLibrary.h"
#include "library/database/LibraryDatabases.h"
#include "platform/settings/UserDefaults.h"
#include "platform/system/SystemLog.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/fakes/FakeProcessRunner.h"
#include "tests/fakes/RecordingMessages.h"
#include "tests/library/TestLibrary.h"

namespace moxtel::test {

struct ServedLibrary {
  // Without a path, the user has not set one.
  explicit ServedLibrary(const std::optional<std::string>& libraryPath = std::nullopt,
                         FakeProcessRunner::Answer tool = {});

  // What the databases ask of the machine, for a test that changes an answer and makes databases of its own.
  LibrarySeams seams();
  // The first row's first column as a text; nil without.
  Value text(DatabaseFile file, SqlText sql, std::initializer_list<Value> values = {});
  std::int64_t number(DatabaseFile file, SqlText sql, std::initializer_list<Value> values = {});

  TemporaryFolder temporary;  // for private copies
  SystemLogCapture log;
  FakeEventLoop loop;
  UserDefaults defaults;
  FakeProcessRunner processes;
  RecordingMessages messages;
  PhotoApplicationFlags flags;
  std::uint64_t freeBytes = std::uint64_t{1} << 40;
  bool locksGranted = true;
  bool isOnLocalDisk = true;
  std::chrono::steady_clock::time_point now;
  bool isEnding = false;
  std::chrono::milliseconds slept{0};
  std::function<void()> onSleep = [] {};
  int timesAskedForRoom = 0;
  LibraryLocation location;
  LibraryFiles files{messages};
  LibraryDatabases databases;
  LoadedLibrary library;
};

// Another process with its own connection to a file, so that its locks are those of another program. Create
// it while this process has no transaction open: the child inherits SQLite's record of locks. Its destructor
// ends it at once, like a crash: its files stay as they are.
class OtherProcess final {
 public:
  explicit OtherProcess(const std::string& file);
  ~OtherProcess();
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;
  // The SQLite result code; it waits for no lock.
  int execute(const std::string& sql);
  bool canWrite() { return execute("BEGIN EXCLUSIVE") == 0 && execute("ROLLBACK") == 0; }

 private:
  int child_ = -1;
  int channel_ = -1;
};

// Every file and folder below a folder by its name, with contents and modification time: two of these are
// equal when nothing was changed, made or removed.
std::map<std::string, std::string> stateOf(const std::string& folder);

// How many descriptors of this process lead to a file.
int descriptorsTo(const std::string& file);

// Leaves a journal behind, as a crash in the middle of a change that had reached the file.
void crashWhileWriting(const std::string& file);

}  // namespace moxtel::test
