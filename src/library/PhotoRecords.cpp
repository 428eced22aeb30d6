#include "library/PhotoRecords.h"

#include <array>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>

#include "library/RecordKeys.h"
#include "library/VersionTexts.h"
#include "library/albumdata/AlbumEntries.h"
#include "library/database/DatabaseUse.h"
#include "library/database/SqlPlaces.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

// Generous on purpose, and the same for both: a latitude may be anything that an angle may be.
constexpr double kLargestCoordinate = 360.0;

const Value& mediaType(const Value& videoPosterFrame) {
  static const Value kImage(record::kImage);
  static const Value kMovie(record::kMovie);
  return videoPosterFrame.string().empty() ? kImage : kMovie;
}

// "SQL" and "AppleScript" as they stand in every record.
const Value& foundBySQL() {
  static const Value kText(record::kSQL);
  return kText;
}
const Value& foundByAppleScript() {
  static const Value kText(record::kAppleScript);
  return kText;
}

void appendCoordinates(Dictionary& photo, Value latitude, Value longitude) {
  record::appendNonNil(photo, record::kLatitude, std::move(latitude));
  record::appendNonNil(photo, record::kLongitude, std::move(longitude));
}

// What only some records of a list have.
enum Part : unsigned {
  kLatitudePart = 1,
  kLongitudePart = 2,
  kCaptionPart = 4,
  kCommentPart = 8,
  kKinds = 16
};
constexpr unsigned kTextParts = kCaptionPart | kCommentPart;

Dictionary exampleOf(unsigned parts) {
  Dictionary photo(Mutability::Mutable);
  for (const Text& key : {record::kPhotoKey, record::kModelId, record::kMediaType, record::kFoundBy}) {
    photo.append(key, {});
  }
  const std::array<const Text*, 4> keys = {&record::kLatitude, &record::kLongitude, &record::kCaption,
                                           &record::kComment};
  for (unsigned i = 0; i < keys.size(); ++i) {
    if (parts & 1u << i) photo.append(*keys[i], {});
  }
  return photo;
}

// An empty record, with room for these parts at most. Records with the same parts share one list of keys,
// which would take a third of a record's memory.
Dictionary recordWith(unsigned parts) {
  static const auto kExamples = [] {
    std::vector<Dictionary> examples;
    for (unsigned kind = 0; kind < kKinds; ++kind) examples.push_back(exampleOf(kind));
    return examples;
  }();
  return Dictionary::like(kExamples[parts]);
}

// From a row of modelId and, from a column on, exifLatitude, exifLongitude and videoPosterFramePoint. To
// such a record `later` parts may be added.
Dictionary photoRecord(const Query& row, Value uuid, const Value& foundBy, int coordinates, unsigned later) {
  Value latitude = row.realNumberColumn(coordinates);
  Value longitude = row.realNumberColumn(coordinates + 1);
  Dictionary photo =
      recordWith((latitude.isNil() ? 0u : kLatitudePart) | (longitude.isNil() ? 0u : kLongitudePart) | later);
  photo.append(record::kPhotoKey, std::move(uuid));
  photo.append(record::kModelId, row.integerNumberColumn(0));
  photo.append(record::kMediaType, mediaType(row.stringColumn(coordinates + 2)));
  photo.append(record::kFoundBy, foundBy);
  appendCoordinates(photo, std::move(latitude), std::move(longitude));
  return photo;
}

// All rows of a query for modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint. A photo without a
// uuid could never be asked for.
Array photosOf(Query query, unsigned later) {
  Array photos(Mutability::Mutable);
  while (query.step()) {
    Value uuid = query.stringColumn(1);
    if (!uuid.isNil()) photos.append(photoRecord(query, std::move(uuid), foundBySQL(), 2, later));
  }
  return photos;
}

constexpr SqlText kPhotosOfProject =
    "SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE projectUuid = "
    "'%@' AND versionNumber != 0 AND isInTrash = 0";
constexpr SqlText kPlanForProject =
    "EXPLAIN QUERY PLAN SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion "
    "WHERE projectUuid = '%@' AND versionNumber != 0 AND isInTrash = 0";
constexpr SqlText kPhotosOfProjectByIndex =
    "SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion INDEXED BY "
    "RKVersion_projectUuid_imageDate_index WHERE projectUuid = '%@' AND versionNumber != 0 AND isInTrash = 0 "
    "ORDER BY rowid";

// SQLite's words for its first step of a query, empty where it has none.
std::string planOf(LibraryDatabases& databases, SqlText explain, const Value& value) {
  Query plan = databases.runUnlogged(DatabaseFile::Library, explain, {value});
  return plan.step() ? std::string(plan.stringColumn(3).string()) : std::string();
}

// In a library without statistics SQLite takes the index on isInTrash and reads the whole table for the
// photos of one project, in the order of their rows. Only then can they be read by their project instead and
// brought into that order: where SQLite chooses otherwise its order is another, and stands.
bool wouldReadWholeTable(LibraryDatabases& databases, const Value& project) {
  return planOf(databases, kPlanForProject, project)
      .ends_with(" RKVersion USING INDEX RKVersion_isInTrash_index (isInTrash=?)");
}

constexpr SqlText kPlanForMembers =
    "EXPLAIN QUERY PLAN SELECT uuid FROM RKVersion WHERE modelId IN (SELECT versionId FROM RKAlbumVersion "
    "WHERE albumId = %d)";
constexpr SqlText kRowsOfMembers =
    "SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE modelId IN "
    "(SELECT versionId FROM RKAlbumVersion WHERE albumId = %d)";

// The first column of the first row; 0 without one.
std::int64_t numberOf(Query query) { return query.step() ? query.integer64Column(0) : 0; }

// The uuids that several versions have; nothing when they cannot be read.
std::optional<std::unordered_set<std::string>> repeatedUuids(LibraryDatabases& databases) {
  Query query = databases.runUnlogged(DatabaseFile::Library,
                                      "SELECT uuid FROM RKVersion GROUP BY uuid HAVING COUNT(uuid) > 1", {});
  std::unordered_set<std::string> uuids;
  while (query.step()) {
    if (const auto uuid = query.storedText(0)) uuids.emplace(*uuid);
  }
  return query.failed() ? std::nullopt : std::optional(std::move(uuids));
}

// The record with the keys of one that has a comment and no caption.
void expectCommentAlone(Dictionary& photo) {
  Dictionary copy = recordWith((photo.contains(record::kLatitude) ? kLatitudePart : 0u) |
                               (photo.contains(record::kLongitude) ? kLongitudePart : 0u) | kCommentPart);
  for (const auto& entry : photo) copy.append(entry.key, entry.value);
  photo = std::move(copy);
}

void appendTexts(Value& photo, Value caption, Value comment) {
  if (caption.isNil() && comment.isNil()) return;
  Dictionary& dictionary = photo.editDictionary();
  if (caption.isNil()) expectCommentAlone(dictionary);
  record::appendNonNil(dictionary, record::kCaption, std::move(caption));
  record::appendNonNil(dictionary, record::kComment, std::move(comment));
}

bool isPlausible(double latitude, double longitude) {
  const bool inRange = latitude >= -kLargestCoordinate && latitude <= kLargestCoordinate &&
                       longitude >= -kLargestCoordinate && longitude <= kLargestCoordinate;
  return inRange && !(latitude == 0.0 && longitude == 0.0);
}

}  // namespace

PhotoRecords::PhotoRecords(LibraryDatabases& databases, const AlbumEntries& albumData,
                           PhotoApplicationQueries& application)
    : databases_(databases), albumData_(albumData), application_(application) {}

Value PhotoRecords::photosInContainer(const Value& uuid) {
  DatabaseUse library(databases_, DatabaseFile::Library);
  if (!library.isOpen()) return {};
  if (uuid.string() == "allPhotosAlbum") return wholeLibrary();
  Array photos = isFolder(uuid) ? photosOfProject(uuid) : photosOfAlbum(uuid);
  library.close();
  addCaptions(photos);
  return photos;
}

Array PhotoRecords::wholeLibrary() {
  return photosOf(databases_.run(DatabaseFile::Library,
                                 "SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM "
                                 "RKVersion WHERE isInTrash = 0 AND versionNumber != 0",
                                 {}),
                  0);
}

bool PhotoRecords::isFolder(const Value& uuid) {
  Query query =
      databases_.run(DatabaseFile::Library, "SELECT uuid,modelId FROM RKFolder WHERE uuid = '%@'", {uuid});
  bool found = false;
  while (query.step()) found = found || !query.stringColumn(0).isNil();
  return found;
}

Array PhotoRecords::photosOfProject(const Value& uuid) {
  if (wouldReadWholeTable(databases_, uuid)) {
    Query photos = databases_.runUnlogged(DatabaseFile::Library, kPhotosOfProjectByIndex, {uuid});
    if (photos.prepared()) return photosOf(std::move(photos), kTextParts);
  }
  return photosOf(databases_.run(DatabaseFile::Library, kPhotosOfProject, {uuid}), kTextParts);
}

Array PhotoRecords::photosOfAlbum(const Value& uuid) {
  const std::int32_t modelId = modelIdOfAlbum(uuid);
  if (isLargePartOfLibrary(modelId)) {
    if (auto photos = photosOfLargeAlbum(modelId)) return std::move(*photos);
  }
  std::vector<Text> members = membersOf(modelId);
  // A smart album has no members of its own.
  if (members.empty()) members = application_.imageUuidsOf("album", uuid, modelId);
  Array photos(Mutability::Mutable);
  photos.reserve(members.size());
  for (Text& member : members) appendPhotosWithUuid(photos, std::move(member), true);
  return photos;
}

// Every version that has the uuid. False, when it is not logged, for one that cannot be asked for.
bool PhotoRecords::appendPhotosWithUuid(Array& photos, const Value& uuid, bool logged) {
  constexpr SqlText kPhotoWithUuid =
      "SELECT modelId,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE uuid = '%@'";
  Query query = logged ? databases_.run(DatabaseFile::Library, kPhotoWithUuid, {uuid})
                       : databases_.runUnlogged(DatabaseFile::Library, kPhotoWithUuid, {uuid});
  // "AppleScript" on purpose, whoever named the members: clients know an album's photos by it.
  while (query.step()) photos.append(photoRecord(query, uuid, foundByAppleScript(), 1, kTextParts));
  return !query.failed();
}

// Whether looking through all uuids of the library costs less than looking for each member's.
bool PhotoRecords::isLargePartOfLibrary(std::int32_t albumModelId) {
  constexpr std::int64_t kPart = 8;
  const std::int64_t members = numberOf(databases_.runUnlogged(
      DatabaseFile::Library, "SELECT COUNT(versionId) FROM RKAlbumVersion WHERE albumId = %d",
      {albumModelId}));
  const std::int64_t versions = numberOf(databases_.runUnlogged(
      DatabaseFile::Library, "SELECT modelId FROM RKVersion ORDER BY modelId DESC LIMIT 1", {}));
  return members > 0 && members >= versions / kPart;
}

// The members' own rows are what asking for their uuids would give, in the same order, as long as no other
// version has the same uuid and SQLite reads the members by their model ids. Nothing where that cannot be
// told, or where there would be something to log.
std::optional<Array> PhotoRecords::photosOfLargeAlbum(std::int32_t albumModelId) {
  if (!planOf(databases_, kPlanForMembers, albumModelId)
           .ends_with(" RKVersion USING INTEGER PRIMARY KEY (rowid=?)"))
    return std::nullopt;
  const auto repeated = repeatedUuids(databases_);
  if (!repeated) return std::nullopt;
  Query members = databases_.runUnlogged(DatabaseFile::Library, kRowsOfMembers, {albumModelId});
  Array photos(Mutability::Mutable);
  while (members.step()) {
    Value uuid = members.stringColumn(1);
    if (uuid.isNil()) continue;
    const auto stored = members.storedText(1);
    if (breaksOutOfLiteral(uuid.string())) return std::nullopt;
    if (stored == uuid.string() && !repeated->contains(std::string(*stored))) {
      photos.append(photoRecord(members, std::move(uuid), foundByAppleScript(), 2, kTextParts));
    } else if (!appendPhotosWithUuid(photos, uuid, false)) {
      return std::nullopt;
    }
  }
  // An empty album is a smart one, whose photos are asked for elsewhere.
  return members.failed() || photos.empty() ? std::nullopt : std::optional(std::move(photos));
}

// The album file is asked for an entry of a fixed name, which no file holds in practice, and then the
// database. Kept on purpose: an entry of that name would be heeded.
std::int32_t PhotoRecords::modelIdOfAlbum(const Value& uuid) {
  const Value& entry = albumData_.containerDict("containerUuid");
  if (entry["Album Type"].string() == "Smart") NSLog("found smart album %@", entry);
  const std::int32_t modelId = entry["AlbumId"].intValue();
  if (modelId != 0) return modelId;
  Query query =
      databases_.run(DatabaseFile::Library, "SELECT modelId FROM RKAlbum WHERE uuid = '%@'", {uuid});
  return query.step() ? query.integerColumn(0) : 0;
}

std::vector<Text> PhotoRecords::membersOf(std::int32_t albumModelId) {
  Query query = databases_.run(DatabaseFile::Library,
                               "SELECT uuid FROM RKVersion WHERE modelId IN (SELECT versionId FROM "
                               "RKAlbumVersion WHERE albumId = %d)",
                               {albumModelId});
  std::vector<Text> members;
  while (query.step()) {
    const Value uuid = query.stringColumn(0);
    if (!uuid.isNil()) members.push_back(uuid.text());
  }
  return members;
}

void PhotoRecords::addCaptions(Array& photos) {
  DatabaseUse properties(databases_, DatabaseFile::Properties);
  if (!properties.isOpen()) {
    NSLog("could not open Properties DB");
    return;
  }
  VersionTexts captions(databases_, VersionTexts::kCaptions);
  VersionTexts comments(databases_, VersionTexts::kComments);
  for (Value& photo : photos) {
    const std::int32_t modelId = photo[record::kModelId].intValue();
    if (modelId == 0) {
      NSLog("no modelid");
    } else {
      Value caption = captions.textOf(modelId);
      appendTexts(photo, std::move(caption), comments.textOf(modelId));
    }
  }
}

Value PhotoRecords::photoDictWithVersionId(const Value& uuid) {
  DatabaseUse library(databases_, DatabaseFile::Library, DatabaseUse::AfterFailure::Close);
  Query query = databases_.run(DatabaseFile::Library,
                               "SELECT modelId,exifLatitude,exifLongitude,videoPosterFramePoint,fileName,"
                               "rotation FROM RKVersion WHERE uuid = '%@'",
                               {uuid});
  Value last;
  while (query.step()) {
    Dictionary photo(Mutability::Mutable);
    record::appendNonNil(photo, record::kPhotoKey, record::uuidText(uuid));
    photo.append(record::kModelId, query.integerNumberColumn(0));
    record::appendNonNil(photo, record::kFileName, query.stringColumn(4));
    photo.append(record::kRotation, query.integerNumberColumn(5));
    photo.append(record::kMediaType, mediaType(query.stringColumn(3)));
    photo.append(record::kFoundBy, foundBySQL());
    appendCoordinates(photo, query.realNumberColumn(1), query.realNumberColumn(2));
    last = std::move(photo);
  }
  return last;
}

void PhotoRecords::repairCoordinatesOf(Dictionary& photo) {
  const Value latitudeObject = photo[record::kLatitude];
  if (latitudeObject.isNil() && photo[record::kLongitude].isNil()) return;
  if (!latitudeObject.isNil() && !latitudeObject.isNumber()) NSLog("strange number: %@", latitudeObject);
  const double latitude = latitudeObject.doubleValue();
  const double longitude = photo[record::kLongitude].doubleValue();
  if (isPlausible(latitude, longitude)) return;
  if (latitude != 0.0 || longitude != 0.0) {
    NSLog("found strange coordinates: %lf / %lf", latitude, longitude);
  }
  photo.remove(record::kLatitude);
  photo.remove(record::kLongitude);
}

}  // namespace moxtel
