#include "tests/library/ServedLibrary.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace moxtel::test {

namespace fs = std::filesystem;

ServedLibrary::ServedLibrary(const std::optional<std::string>& libraryPath, FakeProcessRunner::Answer tool)
    : processes(tool ? std::move(tool) : [](const ProcessRequest&) { return ProcessResult{}; }),
      location(defaults, processes, messages, flags, "/the/tool"),
      databases(loop, messages, seams()),
      library(location, databases, messages) {
  if (!libraryPath) return;
  defaults.setString("LibraryPath", *libraryPath);
  library.loadDatabase();
  databases.beginCommand();
}

LibrarySeams ServedLibrary::seams() {
  LibrarySeams answers;
  answers.temporaryFolder = temporary.path().string();
  answers.freeBytesIn = [this](const std::string&) {
    ++timesAskedForRoom;
    return freeBytes;
  };
  answers.copier = MOXTEL_COPIER;
  answers.grantsLocks = [this](int) { return locksGranted; };
  answers.isOnLocalDisk = [this](const std::string&) { return isOnLocalDisk; };
  answers.now = [this] { return now; };
  answers.isEnding = [this] { return isEnding; };
  answers.sleep = [this](std::chrono::milliseconds time) {
    slept += time;
    onSleep();
  };
  return answers;
}

Value ServedLibrary::text(DatabaseFile file, SqlText sql, std::initializer_list<Value> values) {
  Query query = databases.run(file, sql, values);
  return query.step() ? query.stringColumn(0) : Value();
}

std::int64_t ServedLibrary::number(DatabaseFile file, SqlText sql, std::initializer_list<Value> values) {
  Query query = databases.run(file, sql, values);
  return query.step() ? query.integer64Column(0) : -1;
}

namespace {

// Reads SQL texts, each after its size, and answers with a result code.
[[noreturn]] void serve(int channel, const std::string& file) {
  sqlite3* connection = nullptr;
  sqlite3_open(file.c_str(), &connection);
  for (;;) {
    std::uint32_t size = 0;
    if (::read(channel, &size, sizeof size) != static_cast<ssize_t>(sizeof size)) ::_exit(0);
    std::string sql(size, '\0');
    if (::read(channel, sql.data(), size) != static_cast<ssize_t>(size)) ::_exit(0);
    const std::int32_t code = sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr);
    if (::write(channel, &code, sizeof code) != static_cast<ssize_t>(sizeof code)) ::_exit(0);
  }
}

}  // namespace

OtherProcess::OtherProcess(const std::string& file) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("socketpair");
  child_ = ::fork();
  if (child_ == 0) {
    ::close(ends[0]);
    serve(ends[1], file);
  }
  ::close(ends[1]);
  channel_ = ends[0];
}

OtherProcess::~OtherProcess() {
  ::kill(child_, SIGKILL);
  ::waitpid(child_, nullptr, 0);
  ::close(channel_);
}

int OtherProcess::execute(const std::string& sql) {
  const auto size = static_cast<std::uint32_t>(sql.size());
  std::int32_t code = -1;
  if (::write(channel_, &size, sizeof size) < 0 || ::write(channel_, sql.data(), sql.size()) < 0 ||
      ::read(channel_, &code, sizeof code) != static_cast<ssize_t>(sizeof code))
    throw std::runtime_error("the other process is gone");
  return code;
}

std::map<std::string, std::string> stateOf(const std::string& folder) {
  std::map<std::string, std::string> state;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    std::string contents = std::to_string(entry.last_write_time().time_since_epoch().count()) + " ";
    if (entry.is_regular_file()) {
      std::ifstream file(entry.path(), std::ios::binary);
      contents.append(std::istreambuf_iterator<char>(file), {});
    }
    state[entry.path().string()] = std::move(contents);
  }
  return state;
}

int descriptorsTo(const std::string& file) {
  int count = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (fs::read_symlink(entry.path(), ignored).string() == file) ++count;
  }
  return count;
}

void crashWhileWriting(const std::string& file) {
  OtherProcess other(file);
  const int code = other.execute(
      "PRAGMA cache_size = 1; PRAGMA cache_spill = 1; BEGIN IMMEDIATE; UPDATE RKVersion SET uuid = 'torn'; "
      "CREATE TABLE filler(a); WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x+1 FROM n WHERE x < 200) "
      "INSERT INTO filler SELECT zeroblob(20000) FROM n");
  if (code != SQLITE_OK) throw std::runtime_error("the change failed");
}

}  // namespace moxtel::test
