#include "library/search/PhotoIndex.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace moxtel {

namespace {

// In PRAGMA user_version: another layout, or other rules for words, take another number.
constexpr const char* kVersion = "2";
constexpr std::uint64_t kPageSize = 4096;
constexpr int kStepsBetweenStops = 10'000;  // of SQLite's machine

// Neither texts nor sizes of columns are stored. No positions: a word is in a field or is not.
constexpr const char* kTable =
    "CREATE VIRTUAL TABLE photos USING fts5(other, keyword, person, album, content='', columnsize=0, "
    "detail=column, tokenize='ascii', prefix='2')";

std::string uriOf(const std::string& path) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string uri = "file:";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > ' ' && byte != '%' && byte != '?' && byte != '#' && byte < 0x7f) {
      uri += c;
    } else {
      uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return uri;
}

bool isWordByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || static_cast<unsigned char>(c) >= 0x80;
}

std::string_view columnOf(IndexField field) {
  switch (field) {
    case IndexField::Keyword:
      return "keyword : ";
    case IndexField::Person:
      return "person : ";
    case IndexField::Album:
      return "album : ";
    case IndexField::Any:
      break;
  }
  return {};
}

}  // namespace

PhotoIndexWriter::PhotoIndexWriter(std::string path, std::uint64_t mostBytes)
    : path_(std::move(path)), unfinished_(path_ + ".new") {
  std::error_code ignored;
  std::filesystem::remove(unfinished_, ignored);
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI;
  if (sqlite3_open_v2(uriOf(unfinished_).c_str(), &database_, flags, nullptr) != SQLITE_OK ||
      !prepare(mostBytes))
    close();
}

PhotoIndexWriter::~PhotoIndexWriter() {
  close();
  std::error_code ignored;
  std::filesystem::remove(unfinished_, ignored);
}

bool PhotoIndexWriter::run(const char* sql) {
  return sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// A file that is never read before it is complete needs no journal.
bool PhotoIndexWriter::prepare(std::uint64_t mostBytes) {
  const std::string size = "PRAGMA page_size=" + std::to_string(kPageSize);
  const std::string most =
      "PRAGMA max_page_count=" + std::to_string(std::max<std::uint64_t>(mostBytes / kPageSize, 1));
  const std::string version = std::string("PRAGMA user_version=") + kVersion;
  return run(size.c_str()) && run(most.c_str()) && run("PRAGMA journal_mode=OFF") &&
         run("PRAGMA synchronous=OFF") && run("PRAGMA locking_mode=EXCLUSIVE") &&
         run("PRAGMA cache_size=-8000") && run(version.c_str()) &&
         run("CREATE TABLE made (stamp TEXT NOT NULL)") &&
         run("CREATE TABLE places (name TEXT NOT NULL, photos INTEGER NOT NULL)") && run(kTable) &&
         // The words of a few thousand photos are sorted in memory.
         run("INSERT INTO photos(photos, rank) VALUES('hashsize', 16777216)") && run("BEGIN") &&
         sqlite3_prepare_v2(database_,
                            "INSERT INTO photos(rowid, other, keyword, person, album) VALUES(?,?,?,?,?)", -1,
                            &insert_, nullptr) == SQLITE_OK;
}

void PhotoIndexWriter::close() {
  sqlite3_finalize(insert_);
  insert_ = nullptr;
  sqlite3_close(database_);
  database_ = nullptr;
}

bool PhotoIndexWriter::add(std::int64_t modelId, const IndexedWords& words) {
  if (!insert_) return false;
  sqlite3_bind_int64(insert_, 1, modelId);
  int place = 2;
  for (const std::string* each : {&words.other, &words.keywords, &words.people, &words.albums})
    sqlite3_bind_text64(insert_, place++, each->data(), each->size(), SQLITE_STATIC, SQLITE_UTF8);
  const bool added = sqlite3_step(insert_) == SQLITE_DONE;
  if (sqlite3_reset(insert_) == SQLITE_OK && added) return true;
  close();
  return false;
}

bool PhotoIndexWriter::writeStamp(const std::string& stamp) {
  sqlite3_stmt* made = nullptr;
  sqlite3_prepare_v2(database_, "INSERT INTO made VALUES(?)", -1, &made, nullptr);
  sqlite3_bind_text64(made, 1, stamp.data(), stamp.size(), SQLITE_STATIC, SQLITE_UTF8);
  const bool isWritten = made && sqlite3_step(made) == SQLITE_DONE;
  return sqlite3_finalize(made) == SQLITE_OK && isWritten;
}

bool PhotoIndexWriter::writePlaces(std::span<const IndexedPlace> places) {
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(database_, "INSERT INTO places VALUES(?,?)", -1, &insert, nullptr);
  bool isWritten = insert != nullptr;
  for (const IndexedPlace& place : places) {
    if (!isWritten) break;
    sqlite3_bind_text64(insert, 1, place.name.data(), place.name.size(), SQLITE_STATIC, SQLITE_UTF8);
    sqlite3_bind_int64(insert, 2, place.photos);
    isWritten = sqlite3_step(insert) == SQLITE_DONE && sqlite3_reset(insert) == SQLITE_OK;
  }
  sqlite3_finalize(insert);
  return isWritten;
}

bool PhotoIndexWriter::finish(const std::string& stamp, std::span<const IndexedPlace> places) {
  if (!insert_) return false;
  const bool isComplete = writeStamp(stamp) && writePlaces(places) && run("COMMIT");
  close();
  std::error_code failure;
  if (isComplete) std::filesystem::rename(unfinished_, path_, failure);
  return isComplete && !failure;
}

std::unique_ptr<PhotoIndex> PhotoIndex::open(const std::string& path, std::string_view stamp) {
  sqlite3* database = nullptr;
  // immutable: no other process changes the file, so no locks and no look for journals.
  const std::string uri = uriOf(path) + "?immutable=1";
  const int opened = sqlite3_open_v2(uri.c_str(), &database,
                                     SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI, nullptr);
  std::unique_ptr<PhotoIndex> index(new PhotoIndex(database));
  if (opened != SQLITE_OK || !index->readStamp()) return nullptr;
  if (!stamp.empty() && index->stamp_ != stamp) return nullptr;
  return index;
}

PhotoIndex::~PhotoIndex() { sqlite3_close(database_); }

bool PhotoIndex::readStamp() {
  sqlite3_exec(database_, "PRAGMA cache_size=-8000", nullptr, nullptr, nullptr);
  sqlite3_limit(database_, SQLITE_LIMIT_LENGTH, 64 << 20);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database_, "SELECT stamp FROM made, pragma_user_version WHERE user_version = ?", -1,
                     &statement, nullptr);
  if (!statement) return false;
  sqlite3_bind_int(statement, 1, std::atoi(kVersion));
  const bool found = sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_text(statement, 0);
  if (found) stamp_ = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
  sqlite3_finalize(statement);
  return found;
}

std::vector<IndexedPlace> PhotoIndex::places() {
  std::vector<IndexedPlace> places;
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database_, "SELECT name, photos FROM places", -1, &statement, nullptr);
  while (statement && places.size() < kMostPlaces && sqlite3_step(statement) == SQLITE_ROW) {
    const auto* const name = sqlite3_column_text(statement, 0);
    if (name) places.push_back({reinterpret_cast<const char*>(name), sqlite3_column_int64(statement, 1)});
  }
  sqlite3_finalize(statement);
  return places;
}

PhotoIndex::Outcome PhotoIndex::find(std::span<const IndexTerm> terms,
                                     const std::function<void(std::int64_t modelId)>& take,
                                     const std::function<bool()>& stop) {
  const auto expression = matchExpression(terms);
  if (!expression) return Outcome::Complete;
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database_, "SELECT rowid FROM photos WHERE photos MATCH ? ORDER BY rowid", -1,
                     &statement, nullptr);
  if (!statement) return Outcome::Damaged;
  sqlite3_bind_text64(statement, 1, expression->data(), expression->size(), SQLITE_STATIC, SQLITE_UTF8);
  sqlite3_progress_handler(
      database_, kStepsBetweenStops,
      [](void* asked) { return (*static_cast<const std::function<bool()>*>(asked))() ? 1 : 0; },
      const_cast<std::function<bool()>*>(&stop));
  int code = sqlite3_step(statement);
  for (; code == SQLITE_ROW; code = sqlite3_step(statement)) take(sqlite3_column_int64(statement, 0));
  sqlite3_progress_handler(database_, 0, nullptr, nullptr);
  sqlite3_finalize(statement);
  if (code == SQLITE_DONE) return Outcome::Complete;
  return code == SQLITE_INTERRUPT ? Outcome::Stopped : Outcome::Damaged;
}

std::optional<std::string> matchExpression(std::span<const IndexTerm> terms) {
  std::string expression;
  for (const IndexTerm& term : terms) {
    if (term.word.empty() || !std::all_of(term.word.begin(), term.word.end(), isWordByte))
      return std::nullopt;
    if (!expression.empty()) expression += " AND ";
    expression.append(columnOf(term.field)).append("\"").append(term.word).append("\"");
    if (term.isPrefix) expression += " *";
  }
  if (expression.empty()) return std::nullopt;
  return expression;
}

}  // namespace moxtel
