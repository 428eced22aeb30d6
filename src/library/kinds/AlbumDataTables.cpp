#include "library/kinds/AlbumDataTables.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>

#include "library/FileNameForms.h"
#include "library/albumdata/AlbumDataFile.h"
#include "value/NumberText.h"

namespace moxtel {

namespace {

// What a list of other programs, or of later versions, would hold.
constexpr std::int64_t kFirstOwnId = 1'000'000'000;
constexpr std::int64_t kFirstFolderId = 2'000'000'000;

constexpr const char* kSchema =
    "CREATE TABLE RKFolder (modelId INTEGER PRIMARY KEY, uuid, folderType INTEGER, name, parentFolderUuid, "
    "posterVersionUuid, versionCount INTEGER, minImageDate REAL, maxImageDate REAL, folderPath, isInTrash "
    "INTEGER, "
    "isHiddenWhenEmpty INTEGER, isMagic INTEGER, implicitAlbumUuid, sortKeyPath, sortAscending INTEGER);"
    "CREATE INDEX RKFolder_uuid ON RKFolder (uuid); CREATE INDEX RKFolder_parent ON RKFolder "
    "(parentFolderUuid);"
    "CREATE TABLE RKAlbum (modelId INTEGER PRIMARY KEY, uuid, albumType INTEGER, albumSubclass INTEGER, "
    "name, "
    "folderUuid, queryFolderUuid, posterVersionUuid, versionCount INTEGER, isInTrash INTEGER, isMagic "
    "INTEGER, "
    "sortKeyPath, sortAscending INTEGER, queryData BLOB);"
    "CREATE INDEX RKAlbum_uuid ON RKAlbum (uuid); CREATE INDEX RKAlbum_folder ON RKAlbum (folderUuid);"
    "CREATE TABLE RKVersion (modelId INTEGER PRIMARY KEY, uuid, name, fileName, versionNumber INTEGER, "
    "masterUuid, "
    "masterId INTEGER, projectUuid, imageTimeZoneName, imageDate REAL, mainRating INTEGER, isHidden INTEGER, "
    "isFlagged INTEGER, colorLabelIndex INTEGER, masterHeight INTEGER, masterWidth INTEGER, processedHeight "
    "INTEGER, processedWidth INTEGER, rotation INTEGER, hasAdjustments INTEGER, createDate REAL, isInTrash "
    "INTEGER, "
    "exifLatitude REAL, exifLongitude REAL, videoPosterFramePoint, showInLibrary INTEGER);"
    "CREATE TABLE RKAlbumVersion (modelId INTEGER PRIMARY KEY, versionId INTEGER, albumId INTEGER);"
    "CREATE TABLE RKMaster (modelId INTEGER PRIMARY KEY, uuid, fileName, imagePath, fileIsReference INTEGER, "
    "fileVolumeUuid);"
    "CREATE TABLE RKNote (modelId INTEGER PRIMARY KEY, attachedToUuid, note);"
    "CREATE TABLE RKCustomSortOrder (modelId INTEGER PRIMARY KEY, containerUuid, objectUuid, orderNumber "
    "INTEGER);"
    "CREATE TABLE RKImageProxyState (modelId INTEGER PRIMARY KEY, versionId INTEGER, versionUuid, "
    "thumbnailPath, "
    "miniThumbnailPath, faceTilePath, fullSizePreviewPath);"
    "CREATE TABLE RKUniqueString (modelId INTEGER PRIMARY KEY, stringProperty);"
    "CREATE TABLE RKIptcProperty (modelId INTEGER PRIMARY KEY, versionId INTEGER, propertyKey, stringId "
    "INTEGER);"
    "CREATE TABLE RKExifStringProperty (modelId INTEGER PRIMARY KEY, versionId INTEGER, propertyKey, "
    "stringId "
    "INTEGER);"
    "CREATE TABLE RKExifNumberProperty (modelId INTEGER PRIMARY KEY, versionId INTEGER, propertyKey, "
    "numberProperty REAL);"
    "CREATE TABLE RKOtherProperty (modelId INTEGER PRIMARY KEY, versionId INTEGER, propertyKey, stringId "
    "INTEGER);"
    "CREATE TABLE RKKeyword (modelId INTEGER PRIMARY KEY, name, searchName, parentId INTEGER);"
    "CREATE TABLE RKKeywordForVersion (modelId INTEGER PRIMARY KEY, versionId INTEGER, keywordId INTEGER);"
    "CREATE TABLE RKPlaceForVersion (modelId INTEGER PRIMARY KEY, versionId INTEGER, placeId INTEGER);"
    "CREATE TABLE RKPlace (modelId INTEGER PRIMARY KEY, type INTEGER, defaultName);"
    "CREATE TABLE RKVolume (modelId INTEGER PRIMARY KEY, uuid, name);"
    "CREATE TABLE RKVersionFaceContent (modelId INTEGER PRIMARY KEY, versionId INTEGER, faceKey INTEGER, "
    "isNamed INTEGER, faceRectLeft REAL, faceRectTop REAL, faceRectWidth REAL, faceRectHeight REAL);"
    "CREATE TABLE RKFaceName (modelId INTEGER PRIMARY KEY, uuid, name, keyVersionUuid, faceKey INTEGER);"
    "CREATE TABLE RKDetectedFace (modelId INTEGER PRIMARY KEY, masterUuid, faceKey INTEGER, faceIndex "
    "INTEGER);";

// Until all rolls are known, photos have the number of theirs. In one step, because a uuid may be the number
// of another roll. Not in the database's image.
constexpr const char* kRollUuids =
    "PRAGMA temp_store=MEMORY; CREATE TEMP TABLE RollUuid (number TEXT PRIMARY KEY, uuid TEXT) WITHOUT ROWID";
constexpr const char* kRollsOfPhotos =
    "UPDATE RKVersion SET projectUuid = (SELECT uuid FROM temp.RollUuid WHERE number = projectUuid) WHERE "
    "projectUuid IS NOT NULL";

// After the rows, which is faster.
constexpr const char* kIndexes =
    "CREATE INDEX RKVersion_uuid ON RKVersion (uuid); CREATE INDEX RKVersion_project ON RKVersion "
    "(projectUuid);"
    "CREATE INDEX RKVersion_master ON RKVersion (masterUuid);"
    "CREATE INDEX RKAlbumVersion_album ON RKAlbumVersion (albumId, versionId);"
    "CREATE INDEX RKAlbumVersion_version ON RKAlbumVersion (versionId, albumId);"
    "CREATE INDEX RKMaster_uuid ON RKMaster (uuid);"
    "CREATE INDEX RKImageProxyState_version ON RKImageProxyState (versionId);"
    "CREATE INDEX RKImageProxyState_uuid ON RKImageProxyState (versionUuid);"
    "CREATE UNIQUE INDEX RKIptcProperty_version ON RKIptcProperty (propertyKey,versionId);"
    "CREATE INDEX RKKeywordForVersion_version ON RKKeywordForVersion (versionId);"
    "CREATE INDEX RKVersionFaceContent_version ON RKVersionFaceContent (versionId);"
    "CREATE INDEX RKFaceName_key ON RKFaceName (faceKey);"
    "CREATE INDEX RKFaceName_uuid ON RKFaceName (uuid);"
    "CREATE INDEX RKDetectedFace_key ON RKDetectedFace (faceKey);"
    "CREATE INDEX RKDetectedFace_master ON RKDetectedFace (masterUuid);";

// A number, or the text that older files have instead.
std::string textOf(const Value& value) {
  if (value.isString()) return std::string(value.string());
  return value.isNumber() ? std::to_string(value.integerValue()) : std::string();
}

Value orNull(const Value& number) { return number.isNumber() ? Value(number.doubleValue()) : Value(); }
Value orNull(const std::string& text) { return text.empty() ? Value() : Value(text); }

// "{{0.1, 0.2}, {0.3, 0.4}}": left, lower edge, width and height.
std::optional<std::array<double, 4>> rectangleIn(std::string_view text) {
  std::array<double, 4> numbers{};
  for (double& number : numbers) {
    const std::size_t at = text.find_first_of("0123456789.-");
    if (at == std::string_view::npos) return std::nullopt;
    text.remove_prefix(at);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  }
  return numbers;
}

// The zone of a date that the file has in UTC and as a clock showed it: "UTC+02:00"; nil without both.
Value zoneOf(const Value& entry) {
  const Value &utc = entry["DateAsTimerIntervalGMT"], &local = entry["DateAsTimerInterval"];
  if (!utc.isNumber() || !local.isNumber()) return {};
  constexpr double kMostHours = 15;
  const double minutes = std::round((local.doubleValue() - utc.doubleValue()) / 60);
  if (!(std::abs(minutes) <= kMostHours * 60)) return {};
  std::array<char, 16> text{};
  const int all = std::abs(static_cast<int>(minutes));
  std::snprintf(text.data(), text.size(), "UTC%c%02d:%02d", minutes < 0 ? '-' : '+', all / 60, all % 60);
  return Value(text.data());
}

bool isWholeNumber(const std::string& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number > 0 && number < kFirstOwnId &&
         text.front() != '0';
}

std::vector<std::string> foldedComponents(std::string_view path) {
  std::vector<std::string> components;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    if (end > 0) components.push_back(foldedFileName(path.substr(0, end)));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return components;
}

std::string_view lastComponent(std::string_view path) { return path.substr(path.rfind('/') + 1); }
std::string withoutExtension(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  return dot == std::string::npos || dot < path.rfind('/') + 1 ? path : path.substr(0, dot);
}

// "a/IMG_1_2.jpg" has its large thumbnail in "a/IMG_1_1024_2.jpg", "a/IMG_1.jpg" in "a/IMG_1_1024.jpg".
std::string largeThumbnails(const std::string& thumbnail) {
  const std::string stem = withoutExtension(thumbnail);
  const std::string extension = thumbnail.substr(stem.size());
  std::string candidates = stem + "_1024" + extension;
  const std::size_t counter = stem.find_last_not_of("0123456789");
  if (counter != std::string::npos && counter + 1 < stem.size() && stem[counter] == '_')
    candidates += "\n" + stem.substr(0, counter) + "_1024" + stem.substr(counter) + extension;
  return candidates;
}

}  // namespace

struct AlbumDataTables::Statement {
  ~Statement() { sqlite3_finalize(handle); }
  sqlite3_stmt* handle = nullptr;
};

AlbumDataTables::AlbumDataTables() {
  sqlite3_open(":memory:", &database_);
  sqlite3_exec(database_, kSchema, nullptr, nullptr, nullptr);
  sqlite3_exec(database_, kRollUuids, nullptr, nullptr, nullptr);
  sqlite3_exec(database_, "BEGIN", nullptr, nullptr, nullptr);
}

AlbumDataTables::~AlbumDataTables() {
  statements_.clear();
  sqlite3_close(database_);
}

void AlbumDataTables::insert(const char* table, std::initializer_list<Value> values) {
  auto& statement = statements_[table];
  if (!statement) {
    std::string sql = "INSERT OR IGNORE INTO " + std::string(table) + " VALUES (";
    for (std::size_t i = 0; i < values.size(); ++i) sql += i == 0 ? "?" : ",?";
    statement = std::make_unique<Statement>();
    sqlite3_prepare_v2(database_, (sql + ")").c_str(), -1, &statement->handle, nullptr);
  }
  int place = 0;
  for (const Value& value : values) {
    ++place;
    if (value.isNil())
      sqlite3_bind_null(statement->handle, place);
    else if (value.type() == Value::Type::Real)
      sqlite3_bind_double(statement->handle, place, value.doubleValue());
    else if (value.isNumber())
      sqlite3_bind_int64(statement->handle, place, value.integerValue());
    else
      sqlite3_bind_text64(statement->handle, place, value.string().data(), value.string().size(),
                          SQLITE_STATIC, SQLITE_UTF8);
  }
  sqlite3_step(statement->handle);
  sqlite3_reset(statement->handle);
}

void AlbumDataTables::take(const std::string& list, const std::string& key, const Value& entry) {
  if (list == kArchivePath && entry.isString()) archivePath_ = foldedComponents(entry.string());
  if (list == kListOfKeywords && entry.isString() && isWholeNumber(key))
    insert("RKKeyword", {std::stoll(key), entry.string(), Value(), Value()});
  if (!entry.isDictionary()) return;
  if (list == kMasterImageList)
    takeImage(key, entry);
  else if (list == kListOfAlbums)
    takeAlbum(entry);
  else if (list == kListOfRolls)
    rolls_.push_back(entry);
  else if (list == kListOfFaces)
    faces_.emplace_back(key, entry);
}

// The key as a number; for another key, the next number that no file uses.
std::int64_t AlbumDataTables::idOf(const std::string& key) {
  if (!isWholeNumber(key)) return kFirstOwnId + ++lastId_;
  return std::stoll(key);
}

std::string AlbumDataTables::relative(const Value& path) const {
  const std::string_view text = path.string();
  std::vector<std::string> components = foldedComponents(text);
  const bool inside = !archivePath_.empty() && components.size() > archivePath_.size() &&
                      std::equal(archivePath_.begin(), archivePath_.end(), components.begin());
  if (!inside) return std::string(text);
  // Folding may change lengths: skip as many components of the text itself.
  std::size_t at = 0;
  for (std::size_t skipped = 0; skipped <= archivePath_.size(); ++skipped) {
    at = text.find_first_not_of('/', at);
    if (skipped < archivePath_.size()) at = text.find('/', at);
  }
  return std::string(text.substr(at));
}

void AlbumDataTables::takeImage(const std::string& key, const Value& entry) {
  const std::string guid = textOf(entry["GUID"]);
  const auto [found, isNew] = photos_.try_emplace(key, Photo{idOf(key), guid.empty() ? key : guid});
  if (!isNew) return;
  const Photo& photo = found->second;
  const bool isMovie = entry["MediaType"].string() == "Movie";
  const bool hasOriginal = entry["OriginalPath"].isString();
  const std::string master = relative(hasOriginal ? entry["OriginalPath"] : entry["ImagePath"]);
  const Value date = entry["DateAsTimerIntervalGMT"].isNil() ? entry["DateAsTimerInterval"]
                                                             : entry["DateAsTimerIntervalGMT"];
  insert("RKVersion", {photo.id,
                       photo.uuid,
                       orNull(textOf(entry["Caption"])),
                       std::string(lastComponent(master)),
                       1,
                       photo.uuid,
                       photo.id,
                       orNull(textOf(entry["Roll"])),
                       zoneOf(entry),
                       orNull(date),
                       entry["Rating"].intValue(),
                       0,
                       entry["Flagged"].boolValue() ? 1 : 0,
                       -1,
                       Value(),
                       Value(),
                       Value(),
                       Value(),
                       0,
                       hasOriginal ? 1 : 0,
                       orNull(date),
                       0,
                       orNull(entry["latitude"]),
                       orNull(entry["longitude"]),
                       isMovie ? Value("0") : Value(),
                       1});
  insert("RKMaster", {photo.id, photo.uuid, std::string(lastComponent(master)), orNull(master),
                      master.starts_with('/') ? 1 : 0, Value()});
  const std::string comment = textOf(entry["Comment"]);
  if (comment.find_first_not_of(' ') != std::string::npos) {
    insert("RKUniqueString", {photo.id, comment});
    insert("RKIptcProperty", {photo.id, photo.id, "Caption/Abstract", photo.id});
  }
  writeImageFiles(photo, entry);
  writeImageFaces(photo, entry);
  writeImageKeywords(photo, entry);
}

void AlbumDataTables::writeImageFiles(const Photo& photo, const Value& entry) {
  const std::string image = relative(entry["ImagePath"]), thumbnail = relative(entry["ThumbPath"]);
  if (thumbnail.empty()) {
    insert("RKImageProxyState",
           {photo.id, photo.id, photo.uuid, orNull(image), orNull(image), Value(), orNull(image)});
    return;
  }
  const std::string large = largeThumbnails(thumbnail);
  insert("RKImageProxyState", {photo.id, photo.id, photo.uuid, large + "\n" + thumbnail,
                               thumbnail + "\n" + large, withoutExtension(thumbnail), orNull(image)});
}

void AlbumDataTables::writeImageFaces(const Photo& photo, const Value& entry) {
  std::int64_t place = 0;
  for (const Value& face : entry["Faces"].array()) {
    const Value& index = face["face index"];
    insert("RKDetectedFace", {Value(), photo.uuid, face["face key"].integerValue(),
                              index.isNil() ? place : index.integerValue()});
    ++place;
    const auto box = rectangleIn(face["rectangle"].string());
    if (!box) continue;
    insert("RKVersionFaceContent", {Value(), photo.id, face["face key"].integerValue(), 1, (*box)[0],
                                    (*box)[1], (*box)[2], (*box)[3]});
  }
}

void AlbumDataTables::writeImageKeywords(const Photo& photo, const Value& entry) {
  for (const Value& keyword : entry["Keywords"].array()) {
    const std::string number = textOf(keyword);
    if (isWholeNumber(number)) insert("RKKeywordForVersion", {Value(), photo.id, std::stoll(number)});
  }
}

void AlbumDataTables::takeAlbum(const Value& entry) {
  const std::string_view type = entry["Album Type"].string();
  // "Event" entries repeat the rolls; the album of all photos is not listed.
  if (type == "Event" || entry["Master"].boolValue()) return;
  Album album;
  album.id = entry["AlbumId"].integerValue();
  // No two have one number in files of iPhoto.
  if (!albumIds_.insert(album.id).second) return;
  const std::string guid = textOf(entry["GUID"]);
  album.uuid = guid.empty() ? "album " + std::to_string(album.id) : guid;
  album.name = textOf(entry["AlbumName"]);
  album.parent = entry["Parent"].integerValue();
  album.isFolder = type == "Folder";
  album.isSmart = type == "Smart";
  if (album.uuid == "allPhotosAlbum") return;
  if (!album.isFolder && !album.isSmart && !type.empty() && type != "Regular") return;
  if (album.isFolder) folders_[album.id] = album.uuid;
  for (const Value& key : entry["KeyList"].array()) album.keys.push_back(textOf(key));
  albums_.push_back(std::move(album));
}

std::string AlbumDataTables::parentUuidOf(std::int64_t number) const {
  const auto found = folders_.find(number);
  return found == folders_.end() ? "TopLevelAlbums" : found->second;
}

std::string AlbumDataTables::uuidOfKey(const std::string& key) const {
  const auto found = photos_.find(key);
  return found == photos_.end() ? std::string() : found->second.uuid;
}

void AlbumDataTables::writeAlbums() {
  std::int64_t place = 0;
  for (const Album& album : albums_) writeAlbum(album, ++place);
}

void AlbumDataTables::writeAlbum(const Album& album, std::int64_t place) {
  const std::string parent = parentUuidOf(album.parent);
  insert("RKCustomSortOrder", {Value(), parent, album.uuid, place});
  // Albums and folders share their numbers in the file, but not in the tables.
  if (album.isFolder) {
    insert("RKFolder", {kFirstFolderId + place, album.uuid, 1, orNull(album.name), parent, Value(), Value(),
                        Value(), Value(), "", 0, 0, 0, Value(), Value(), 1});
    return;
  }
  std::string poster;
  std::int64_t count = 0;
  for (const std::string& key : album.keys) {
    const auto photo = photos_.find(key);
    if (photo == photos_.end()) continue;
    if (poster.empty()) poster = photo->second.uuid;
    insert("RKAlbumVersion", {Value(), photo->second.id, album.id});
    ++count;
  }
  insert("RKAlbum", {album.id, album.uuid, 1, album.isSmart ? 2 : 3, orNull(album.name), parent, Value(),
                     orNull(poster), count, 0, 0, Value(), 1, Value()});
}

void AlbumDataTables::writeRolls() {
  std::int64_t place = 0;
  for (const Value& roll : rolls_) {
    // iPhoto 5 calls events albums.
    const Value& number = roll["RollID"].isNil() ? roll["AlbumId"] : roll["RollID"];
    const Value& name = roll["RollName"].isNil() ? roll["AlbumName"] : roll["RollName"];
    const std::string guid = textOf(roll["ProjectUuid"]);
    const std::string uuid = guid.empty() ? "event " + textOf(number) : guid;
    insert("RollUuid", {textOf(number), uuid});
    const std::string poster = uuidOfKey(textOf(roll["KeyPhotoKey"]));
    insert("RKFolder", {idOf(textOf(number)), uuid, 2, orNull(textOf(name)), "AllProjectsItem",
                        orNull(poster), Value(), orNull(roll["RollDateAsTimerInterval"]),
                        orNull(roll["RollDateAsTimerInterval"]), "", 0, 0, 0, Value(), Value(), 1});
    insert("RKCustomSortOrder", {Value(), "AllProjectsItem", uuid, ++place});
  }
}

void AlbumDataTables::writeFaces() {
  for (const auto& [key, entry] : faces_) {
    const std::string number = entry["key"].isNil() ? key : textOf(entry["key"]);
    const std::string named = textOf(entry["key image"]);
    const std::string byKey = uuidOfKey(named);
    insert("RKFaceName", {Value(), "face " + number, orNull(textOf(entry["name"])),
                          orNull(byKey.empty() ? named : byKey), Value(number).integerValue()});
  }
}

std::vector<std::uint8_t> AlbumDataTables::finish() {
  writeAlbums();
  writeRolls();
  writeFaces();
  sqlite3_exec(database_, kRollsOfPhotos, nullptr, nullptr, nullptr);
  sqlite3_exec(database_, kIndexes, nullptr, nullptr, nullptr);
  statements_.clear();
  sqlite3_exec(database_, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_int64 size = 0;
  unsigned char* image = sqlite3_serialize(database_, "main", &size, 0);
  if (!image) return {};
  std::vector<std::uint8_t> bytes(image, image + size);
  sqlite3_free(image);
  return bytes;
}

}  // namespace moxtel
