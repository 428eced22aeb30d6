#include "library/PhotoRecords.h"

#include <array>
#include <cstdint>
#include <utility>

#include "library/RecordKeys.h"
#include "library/VersionTexts.h"
#include "library/albumdata/AlbumEntries.h"
#include "library/database/DatabaseUse.h"
#include "library/database/SqlPlaces.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

// The same for latitude and longitude, on purpose.
constexpr double kLargestCoordinate = 360.0;

const Value& mediaType(const Value& videoPosterFrame) {
  static const Value kImage(record::kImage);
  static const Value kMovie(record::kMovie);
  return videoPosterFrame.string().empty() ? kImage : kMovie;
}

const Value& foundBySQL() {
  static const Value kText(record::kSQL);
  return kText;
}
const Value& foundByAppleScript() {
  static const Value kText(record::kAppleScript);
  return kText;
}

// The keys of a container's photos, in the order in which their records have them.
const std::array<Text, 8> kKeys{record::kPhotoKey, record::kModelId,   record::kMediaType, record::kFoundBy,
                                record::kLatitude, record::kLongitude, record::kCaption,   record::kComment};
// Caption and comment are added last.
constexpr std::size_t kFirstText = 6;
constexpr std::size_t kTexts = 2;

constexpr SqlText kPhotosOfProject =
    "SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE projectUuid = "
    "'%@' AND versionNumber != 0 AND isInTrash = 0";
// The same photos in the same order. Without statistics, which no known library has, SQLite runs the query
// above along the index on isInTrash: it reads the whole table, in the order of its rows.
constexpr SqlText kPhotosOfProjectByIndex =
    "SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion INDEXED BY "
    "RKVersion_projectUuid_imageDate_index WHERE projectUuid = '%@' AND versionNumber != 0 AND isInTrash = 0 "
    "ORDER BY rowid";

constexpr SqlText kMembers =
    "SELECT uuid FROM RKVersion WHERE modelId IN (SELECT versionId FROM RKAlbumVersion WHERE albumId = %d)";
constexpr SqlText kPhotoWithUuid =
    "SELECT modelId,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE uuid = '%@'";
// Both in one: for each member, in the order of its row, all versions with its uuid.
constexpr SqlText kPhotosOfMembers =
    "SELECT v.modelId,m.uuid,v.exifLatitude,v.exifLongitude,v.videoPosterFramePoint FROM RKVersion m CROSS "
    "JOIN RKVersion v WHERE m.modelId IN (SELECT versionId FROM RKAlbumVersion WHERE albumId = %d) AND "
    "v.uuid = m.uuid ORDER BY m.rowid,v.rowid";

// The same where no two versions have one uuid: without looking each uuid up, which costs a large album three
// times as much.
constexpr SqlText kMembersAlone =
    "SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE modelId IN "
    "(SELECT versionId FROM RKAlbumVersion WHERE albumId = %d) AND uuid IS NOT NULL ORDER BY rowid";
constexpr SqlText kIsLargePartOfLibrary =
    "SELECT 8 * (SELECT COUNT(*) FROM RKAlbumVersion WHERE albumId = %d) > (SELECT rowid FROM RKVersion "
    "ORDER BY rowid DESC LIMIT 1)";
constexpr SqlText kUuidsDiffer =
    "SELECT NOT EXISTS (SELECT 1 FROM RKVersion GROUP BY uuid HAVING COUNT(uuid) > 1)";

bool isPlausible(double latitude, double longitude) {
  const bool inRange = latitude >= -kLargestCoordinate && latitude <= kLargestCoordinate &&
                       longitude >= -kLargestCoordinate && longitude <= kLargestCoordinate;
  return inRange && !(latitude == 0.0 && longitude == 0.0);
}

}  // namespace

PhotoRecords::PhotoRecords(LibraryDatabases& databases, const AlbumEntries& albumData,
                           PhotoApplicationQueries& application, std::uint64_t largestList)
    : databases_(databases),
      albumData_(albumData),
      application_(application),
      largestList_(largestList),
      builder_(kKeys) {}

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

// With statistics SQLite may choose other indexes, and so another order of rows: then the queries run as they
// are quoted.
bool PhotoRecords::hasStatistics() {
  return databases_
      .runUnlogged(DatabaseFile::Library, "SELECT name FROM sqlite_master WHERE name = 'sqlite_stat1'", {})
      .step();
}

Array PhotoRecords::photosOfProject(const Value& uuid) {
  if (!hasStatistics()) {
    Query photos = databases_.runUnlogged(DatabaseFile::Library, kPhotosOfProjectByIndex, {uuid});
    if (photos.prepared()) return photosOf(std::move(photos), kTexts);
  }
  return photosOf(databases_.run(DatabaseFile::Library, kPhotosOfProject, {uuid}), kTexts);
}

// All rows of a query for modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint. A photo without a
// uuid could never be asked for.
Array PhotoRecords::photosOf(Query query, std::size_t later) {
  Array photos(Mutability::Mutable);
  ListSize size(largestList_);
  while (query.step()) {
    Value uuid = query.stringColumn(1);
    if (uuid.isNil()) continue;
    Dictionary photo = photoRecord(query, std::move(uuid), foundBySQL(), 2, later);
    size.add(photo);
    photos.append(std::move(photo));
  }
  return photos;
}

// From a row of modelId and, from a column on, exifLatitude, exifLongitude and videoPosterFramePoint. `later`
// texts may be added to the record.
Dictionary PhotoRecords::photoRecord(const Query& row, Value uuid, const Value& foundBy, int coordinates,
                                     std::size_t later) {
  return builder_.record({std::move(uuid),
                          row.integerNumberColumn(0),
                          mediaType(row.stringColumn(coordinates + 2)),
                          foundBy,
                          row.realNumberColumn(coordinates),
                          row.realNumberColumn(coordinates + 1),
                          {},
                          {}},
                         later);
}

// "AppleScript" on purpose, however the members were found: clients know an album's photos by it.
Array PhotoRecords::photosOfAlbum(const Value& uuid) {
  const std::int32_t modelId = modelIdOfAlbum(uuid);
  if (!hasStatistics()) {
    if (auto photos = photosOfMembers(modelId)) return std::move(*photos);
  }
  std::vector<Text> members = membersOf(modelId);
  // The database lists no members of a smart album.
  if (members.empty()) members = application_.imageUuidsOf("album", uuid, modelId);
  Array photos(Mutability::Mutable);
  photos.reserve(members.size());
  ListSize size(largestList_);
  for (const Text& member : members) {
    Query query = databases_.run(DatabaseFile::Library, kPhotoWithUuid, {member});
    while (query.step()) {
      Dictionary photo = photoRecord(query, member, foundByAppleScript(), 1, kTexts);
      size.add(photo);
      photos.append(std::move(photo));
    }
  }
  return photos;
}

// Whether the members' own rows are all photos with their uuids, for an album whose size makes it worth while
// to find that out by reading the index of all uuids.
bool PhotoRecords::readsMembersAlone(std::int32_t albumModelId) {
  if (databases_.layout().rowsAreUnique) return true;
  const auto isTrue = [](Query query) { return query.step() && query.integerColumn(0) != 0; };
  return isTrue(databases_.runUnlogged(DatabaseFile::Library, kIsLargePartOfLibrary, {albumModelId})) &&
         isTrue(databases_.runUnlogged(DatabaseFile::Library, kUuidsDiffer, {}));
}

// Nothing for an album without members, for one that cannot be read, and for one with a uuid that is not
// stored as a text, or that a query cannot contain: those are asked for one by one, and logged.
std::optional<Array> PhotoRecords::photosOfMembers(std::int32_t albumModelId) {
  Query query = databases_.runUnlogged(DatabaseFile::Library,
                                       readsMembersAlone(albumModelId) ? kMembersAlone : kPhotosOfMembers,
                                       {albumModelId});
  Array photos(Mutability::Mutable);
  ListSize size(largestList_);
  while (query.step()) {
    Value uuid = query.stringColumn(1);
    if (query.storedText(1) != uuid.string() || breaksOutOfLiteral(uuid.string())) return std::nullopt;
    Dictionary photo = photoRecord(query, std::move(uuid), foundByAppleScript(), 2, kTexts);
    size.add(photo);
    photos.append(std::move(photo));
  }
  return query.failed() || photos.empty() ? std::nullopt : std::optional(std::move(photos));
}

// The album file is searched for an entry with this fixed key, which no file contains in practice, and then
// the database. Kept on purpose: such an entry would count.
std::int32_t PhotoRecords::modelIdOfAlbum(const Value& uuid) {
  const Value& entry = albumData_.containerDict("containerUuid");
  if (entry["Album Type"].string() == "Smart") writeSystemLog(format("found smart album %@", entry));
  const std::int32_t modelId = entry["AlbumId"].intValue();
  if (modelId != 0) return modelId;
  Query query =
      databases_.run(DatabaseFile::Library, "SELECT modelId FROM RKAlbum WHERE uuid = '%@'", {uuid});
  return query.step() ? query.integerColumn(0) : 0;
}

std::vector<Text> PhotoRecords::membersOf(std::int32_t albumModelId) {
  Query query = databases_.run(DatabaseFile::Library, kMembers, {albumModelId});
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
  ListSize size(largestList_);  // of the texts alone
  for (Value& photo : photos) {
    const std::int32_t modelId = photo[record::kModelId].intValue();
    if (modelId == 0) {
      NSLog("no modelid");
      continue;
    }
    Value caption = captions.textOf(modelId);
    Value comment = comments.textOf(modelId);
    if (caption.isNil() && comment.isNil()) continue;
    size.addText(caption);
    size.addText(comment);
    std::array<Value, kTexts> texts{std::move(caption), std::move(comment)};
    builder_.append(photo.editDictionary(), kFirstText, texts);
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
    record::appendNonNil(photo, record::kLatitude, query.realNumberColumn(1));
    record::appendNonNil(photo, record::kLongitude, query.realNumberColumn(2));
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
