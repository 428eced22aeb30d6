// A file with the words of all photos of a library, which finds photos by words: an SQLite database of this
// program's own with one full-text table (FTS5). It holds no texts, only which word is on which photo.
//
// Words are bytes that the caller has folded and separated: letters and digits of ASCII, and any other bytes
// from 0x80 on. Other bytes in a word find nothing; no word is ever part of a statement's syntax.
//
// The file is made beside its place and renamed when it is complete. One that is damaged, of another stamp or
// of another version of this program does not open. One thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace moxtel {

// In which texts of a photo a word is looked for.
enum class IndexField : std::uint8_t { Any, Keyword, Person, Album };

struct IndexTerm {
  IndexField field = IndexField::Any;
  std::string word;
  bool isPrefix = false;  // words that begin with it count, too
  friend bool operator==(const IndexTerm&, const IndexTerm&) = default;
};

// The words of one photo, separated by blanks. Album is for albums and events, Other for the rest.
struct IndexedWords {
  std::string other, keywords, people, albums;
};

// A place and how many photos were taken there, to suggest it.
struct IndexedPlace {
  std::string name;
  std::int64_t photos = 0;
  friend bool operator==(const IndexedPlace&, const IndexedPlace&) = default;
};

class PhotoIndexWriter final {
 public:
  // Bytes of the file at most; what is beyond makes add() fail.
  static constexpr std::uint64_t kMostBytes = std::uint64_t{4} << 30;

  // Makes the file beside the path; isOpen() says whether that worked.
  explicit PhotoIndexWriter(std::string path, std::uint64_t mostBytes = kMostBytes);
  // Removes an unfinished file.
  ~PhotoIndexWriter();
  PhotoIndexWriter(const PhotoIndexWriter&) = delete;
  PhotoIndexWriter& operator=(const PhotoIndexWriter&) = delete;

  bool isOpen() const { return insert_ != nullptr; }
  // Model ids must ascend. False on a failure (disk full): nothing more can be added.
  [[nodiscard]] bool add(std::int64_t modelId, const IndexedWords& words);
  // Completes the file under its path. stamp: what it was made of.
  [[nodiscard]] bool finish(const std::string& stamp, std::span<const IndexedPlace> places = {});

 private:
  bool run(const char* sql);
  bool writeStamp(const std::string& stamp);
  bool writePlaces(std::span<const IndexedPlace> places);
  bool prepare(std::uint64_t mostBytes);
  void close();

  const std::string path_;
  const std::string unfinished_;
  sqlite3* database_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
};

class PhotoIndex final {
 public:
  // Null when there is no such file or it is not usable. stamp: that of finish(); empty for any.
  static std::unique_ptr<PhotoIndex> open(const std::string& path, std::string_view stamp);
  ~PhotoIndex();
  PhotoIndex(const PhotoIndex&) = delete;
  PhotoIndex& operator=(const PhotoIndex&) = delete;

  const std::string& stamp() const { return stamp_; }

  // The places of finish(), up to kMostPlaces.
  static constexpr std::size_t kMostPlaces = 10'000;
  std::vector<IndexedPlace> places();

  enum class Outcome : std::uint8_t { Complete, Stopped, Damaged };
  // Hands on the model ids of the photos that have all the terms, ascending. stop is asked now and then
  // whether to end. Damaged: the file is to be made again.
  Outcome find(std::span<const IndexTerm> terms, const std::function<void(std::int64_t modelId)>& take,
               const std::function<bool()>& stop);

 private:
  explicit PhotoIndex(sqlite3* database) : database_(database) {}
  bool readStamp();

  sqlite3* database_;
  std::string stamp_;
};

// FTS5's expression for the terms; nothing if a word has bytes that are not allowed, or there are no terms.
std::optional<std::string> matchExpression(std::span<const IndexTerm> terms);

}  // namespace moxtel
