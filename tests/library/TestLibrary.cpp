#include "tests/library/TestLibrary.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace moxtel::test {

namespace {

constexpr DatabaseFile kFiles[] = {DatabaseFile::Library, DatabaseFile::ImageProxies,
                                   DatabaseFile::Properties, DatabaseFile::Faces};

const char* schemaOf(DatabaseFile file) {
  switch (file) {
    case DatabaseFile::Library:
      return MOXTEL_SCHEMA_FOLDER "/Library.sql";
    case DatabaseFile::ImageProxies:
      return MOXTEL_SCHEMA_FOLDER "/ImageProxies.sql";
    case DatabaseFile::Properties:
      return MOXTEL_SCHEMA_FOLDER "/Properties.sql";
    case DatabaseFile::Faces:
      return MOXTEL_SCHEMA_FOLDER "/Faces.sql";
  }
  return "";
}

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

DatabaseFile fileOfTable(std::string_view table) {
  for (const DatabaseFile file : kFiles) {
    const std::string create = "CREATE TABLE " + std::string(table) + " (";
    if (contentsOf(schemaOf(file)).find(create) != std::string::npos) return file;
  }
  throw std::runtime_error("no table " + std::string(table));
}

class Connection final {
 public:
  explicit Connection(const std::string& file) {
    check(sqlite3_open(file.c_str(), &connection_), "open " + file);
    execute("PRAGMA synchronous = OFF");
  }
  ~Connection() { sqlite3_close(connection_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void execute(const std::string& sql) {
    check(sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr), sql);
  }
  std::int64_t insert(const std::string& sql, const Dictionary& columns) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr), sql);
    int place = 0;
    for (const auto& entry : columns) bind(statement, ++place, entry.value);
    const int code = sqlite3_step(statement);
    sqlite3_finalize(statement);
    check(code == SQLITE_DONE ? SQLITE_OK : code, sql);
    return sqlite3_last_insert_rowid(connection_);
  }

 private:
  static void bind(sqlite3_stmt* statement, int place, const Value& value) {
    switch (value.type()) {
      case Value::Type::Boolean:
      case Value::Type::Integer:
        sqlite3_bind_int64(statement, place, value.integerValue());
        break;
      case Value::Type::Real:
        sqlite3_bind_double(statement, place, value.doubleValue());
        break;
      case Value::Type::String:
        sqlite3_bind_text64(statement, place, value.string().empty() ? "" : value.string().data(),
                            value.string().size(), SQLITE_TRANSIENT, SQLITE_UTF8);
        break;
      case Value::Type::Data:
        sqlite3_bind_blob64(statement, place, value.data().data(), value.data().size(), SQLITE_TRANSIENT);
        break;
      default:
        sqlite3_bind_null(statement, place);
    }
  }
  void check(int code, const std::string& what) {
    if (code != SQLITE_OK) throw std::runtime_error(what + ": " + sqlite3_errmsg(connection_));
  }

  sqlite3* connection_ = nullptr;
};

}  // namespace

TestLibrary::TestLibrary(std::string_view name) : folder_(root_.path() / name) {
  std::filesystem::create_directories(folder_ / "Database" / "apdb");
  for (const DatabaseFile file : kFiles) {
    execute(file, "PRAGMA page_size = 16384; BEGIN;" + contentsOf(schemaOf(file)) + "COMMIT");
  }
}

std::string TestLibrary::pathOf(DatabaseFile file) const {
  static constexpr const char* kNames[] = {"Library.apdb", "ImageProxies.apdb", "Properties.apdb",
                                           "Faces.db"};
  return (folder_ / "Database" / "apdb" / kNames[static_cast<int>(file)]).string();
}

std::int64_t TestLibrary::insert(std::string_view table, const Dictionary& columns) {
  std::string names;
  std::string places;
  for (const auto& entry : columns) {
    names += (names.empty() ? "" : ",") + entry.key.str();
    places += places.empty() ? "?" : ",?";
  }
  const std::string what = names.empty() ? " DEFAULT VALUES" : "(" + names + ") VALUES(" + places + ")";
  const std::string sql = "INSERT INTO " + std::string(table) + what;
  return Connection(pathOf(fileOfTable(table))).insert(sql, columns);
}

void TestLibrary::execute(DatabaseFile file, const std::string& sql) {
  Connection(pathOf(file)).execute(sql);
}

void TestLibrary::remove(DatabaseFile file) { std::filesystem::remove(pathOf(file)); }

void TestLibrary::overwrite(DatabaseFile file, std::string_view bytes) {
  std::ofstream(pathOf(file), std::ios::binary | std::ios::trunc) << bytes;
}

OtherProgram::OtherProgram(const std::string& file) { sqlite3_open(file.c_str(), &connection_); }

OtherProgram::~OtherProgram() { sqlite3_close(connection_); }

int OtherProgram::execute(const char* sql) {
  return sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr);
}

bool OtherProgram::canWrite() {
  return execute("BEGIN EXCLUSIVE") == SQLITE_OK && execute("ROLLBACK") == SQLITE_OK;
}

OpenedLibrary::OpenedLibrary(const TestLibrary& testLibrary)
    : location(defaults, processes, messages, flags),
      databases(loop, messages),
      library(location, databases, messages) {
  defaults.setString("LibraryPath", testLibrary.path());
  library.loadDatabase();
  databases.beginCommand();
}

void OpenedLibrary::nextCommand() {
  databases.releaseLocks();
  databases.beginCommand();
}

std::vector<Value> valuesOf(const Value& list, std::string_view key) {
  std::vector<Value> values;
  for (const Value& entry : list.array()) values.push_back(entry[key]);
  return values;
}

std::vector<std::string> keysOf(const Value& dictionary) {
  std::vector<std::string> keys;
  for (const auto& entry : dictionary.dictionary()) keys.push_back(entry.key.str());
  return keys;
}

}  // namespace moxtel::test
