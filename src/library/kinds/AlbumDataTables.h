// Fills iPhoto's tables from the entries of AlbumData.xml. One thread.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// The keys at the top of the file that are used.
inline constexpr std::string_view kArchivePath = "Archive Path";
inline constexpr std::string_view kMasterImageList = "Master Image List";
inline constexpr std::string_view kListOfKeywords = "List of Keywords";

class AlbumDataTables final {
 public:
  AlbumDataTables();
  ~AlbumDataTables();
  AlbumDataTables(const AlbumDataTables&) = delete;
  AlbumDataTables& operator=(const AlbumDataTables&) = delete;

  // One entry of a list, or a value at the top.
  void take(const std::string& list, const std::string& key, const Value& entry);
  // After the last entry: the whole database, or nothing when memory ran out.
  std::vector<std::uint8_t> finish();
  std::size_t photos() const { return photos_.size(); }

 private:
  struct Statement;
  struct Photo {
    std::int64_t id = 0;
    std::string uuid;
  };
  struct Album {
    std::int64_t id = 0;
    std::string uuid;
    std::string name;
    std::int64_t parent = 0;  // an album's number
    bool isFolder = false;
    bool isSmart = false;
    std::vector<std::string> keys;
  };

  void takeImage(const std::string& key, const Value& entry);
  void writeImageFiles(const Photo& photo, const Value& entry);
  void writeImageFaces(const Photo& photo, const Value& entry);
  void writeImageKeywords(const Photo& photo, const Value& entry);
  void takeAlbum(const Value& entry);
  void takeRoll(const Value& entry);
  void takeFace(const std::string& key, const Value& entry);
  void writeAlbums();
  void writeAlbum(const Album& album, std::int64_t place);
  void writeRolls();
  void writeFaces();
  std::int64_t idOf(const std::string& key);
  std::string uuidOfKey(const std::string& key) const;
  std::string parentUuidOf(std::int64_t number) const;
  // The path below the library's folder; an absolute one for a file that is not in it.
  std::string relative(const Value& path) const;
  void insert(const char* table, std::initializer_list<Value> values);

  sqlite3* database_ = nullptr;
  std::unordered_map<std::string, std::unique_ptr<Statement>> statements_;
  std::vector<std::string> archivePath_;           // its components, folded
  std::unordered_map<std::string, Photo> photos_;  // by the file's key
  std::unordered_map<std::int64_t, std::string> folders_;
  std::unordered_set<std::int64_t> albumIds_;
  std::vector<Album> albums_;
  std::vector<Value> rolls_;
  std::vector<std::pair<std::string, Value>> faces_;
  std::int64_t lastId_ = 0;
};

}  // namespace moxtel
