#include "library/Faces.h"

#include <string>
#include <utility>

#include "library/FacePhotoCounts.h"
#include "library/RecordBuilder.h"
#include "library/RecordKeys.h"
#include "library/database/DatabaseUse.h"
#include "library/database/LibraryDatabases.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

void logUnpreparedWithResult(const LibraryDatabases& databases) {
  writeSystemLog(
      format("could not prepare query '%@', result: %d", databases.queryForLog(), databases.result()));
}

}  // namespace

Faces::Faces(LibraryDatabases& databases, std::uint64_t largestList)
    : databases_(databases), largestList_(largestList) {}

Value Faces::facesAlbums() {
  if (!topFacesAlbums_.isNil()) return topFacesAlbums_;
  std::vector<Dictionary> faces;
  {
    DatabaseUse facesDB(databases_, DatabaseFile::Faces);
    if (!facesDB.isOpen()) return Array();
    faces = readFaceNames();
  }
  addMasterKeys(faces);
  addFaceIndexes(faces);
  addPhotoCounts(faces);
  Array list;
  list.reserve(faces.size());
  for (Dictionary& face : faces) list.append(std::move(face));
  Value albums(std::move(list));
  if (!databases_.sawFailure()) topFacesAlbums_ = albums;
  return albums;
}

std::vector<Dictionary> Faces::readFaceNames() {
  Query query = databases_.runUnlogged(DatabaseFile::Faces,
                                       "SELECT uuid,name,keyVersionUuid,faceKey FROM RKFaceName", {});
  if (!query.prepared()) logUnpreparedWithResult(databases_);
  std::vector<Dictionary> faces;
  while (query.step()) {
    Dictionary face(Mutability::Mutable);
    face.append(record::kAlbumType, record::kFace);
    record::appendNonNil(face, record::kAlbumId, query.stringColumn(0));
    record::appendNonNil(face, record::kAlbumName, query.stringColumn(1));
    record::appendNonNil(face, record::kKeyPhotoKey, query.stringColumn(2));
    face.append(record::kFaceKey, query.integerNumberColumn(3));
    faces.push_back(std::move(face));
  }
  return faces;
}

// Continues without the library database: then no face has a master.
void Faces::addMasterKeys(std::vector<Dictionary>& faces) {
  DatabaseUse library(databases_, DatabaseFile::Library, DatabaseUse::AfterFailure::Close);
  for (Dictionary& face : faces) {
    Query query = databases_.run(DatabaseFile::Library, "SELECT masterUuid FROM RKVersion WHERE uuid = '%@'",
                                 {face[record::kKeyPhotoKey]});
    if (query.step()) record::appendNonNil(face, record::kMasterKey, query.stringColumn(0));
  }
}

void Faces::addFaceIndexes(std::vector<Dictionary>& faces) {
  DatabaseUse facesDB(databases_, DatabaseFile::Faces, DatabaseUse::AfterFailure::Close);
  for (Dictionary& face : faces) {
    Query query = databases_.runUnlogged(
        DatabaseFile::Faces, "SELECT faceIndex FROM RKDetectedFace WHERE faceKey = %d AND masterUuid = '%@'",
        {face[record::kFaceKey], face[record::kMasterKey]});
    const bool row = query.step();
    if (!query.prepared()) logUnpreparedWithResult(databases_);
    face.append(record::kFaceIndex, row ? query.integerNumberColumn(0) : Value(0));
  }
}

void Faces::addPhotoCounts(std::vector<Dictionary>& faces) {
  if (faces.empty()) return;
  const FacePhotoCounts counts(databases_);
  for (Dictionary& face : faces) {
    const Value& faceId = face[record::kAlbumId];
    const std::optional<std::int32_t> count = counts.countFor(faceId);
    face.set(record::kPhotoCount, count ? *count : photoCountForFaceID(faceId));
  }
}

std::vector<Text> Faces::masterUuidsForFaceID(const Value& faceId) {
  std::vector<Text> masters;
  DatabaseUse facesDB(databases_, DatabaseFile::Faces);
  if (!facesDB.isOpen()) return masters;
  Query query = databases_.run(DatabaseFile::Faces,
                               "SELECT masterUuid FROM RKDetectedFace WHERE faceKey IN (SELECT faceKey FROM "
                               "RKFaceName WHERE uuid = '%@')",
                               {faceId});
  while (query.step()) {
    const Value master = query.stringColumn(0);
    if (!master.isNil()) masters.push_back(master.text());
  }
  if (!query.prepared()) {
    writeStandardOutput(std::string("SQL error: ") + databases_.errorMessage(DatabaseFile::Faces));
  }
  return masters;
}

std::int32_t Faces::photoCountForFaceID(const Value& faceId) {
  const std::vector<Text> masters = masterUuidsForFaceID(faceId);
  DatabaseUse library(databases_, DatabaseFile::Library);
  if (!library.isOpen()) return 0;
  std::int64_t count = 0;
  for (const Text& master : masters) {
    Query query = databases_.run(
        DatabaseFile::Library,
        "SELECT COUNT(uuid) FROM RKVersion WHERE masterUuid = '%@' AND versionNumber = 1", {master});
    if (query.step()) count += query.integerColumn(0);
  }
  return static_cast<std::int32_t>(count);
}

Value Faces::photosForFaceID(const Value& faceId) {
  const std::vector<Text> masters = masterUuidsForFaceID(faceId);
  Array photos(Mutability::Mutable);
  DatabaseUse library(databases_, DatabaseFile::Library);
  if (!library.isOpen()) return photos;
  RecordBuilder<3> builder({record::kPhotoKey, record::kMediaType, record::kFoundBy});
  ListSize size(largestList_);
  for (const Text& master : masters) {
    Query query =
        databases_.run(DatabaseFile::Library,
                       "SELECT uuid FROM RKVersion WHERE masterUuid = '%@' AND versionNumber = 1", {master});
    while (query.step()) {
      Value uuid = query.stringColumn(0);
      if (uuid.isNil()) continue;  // a photo without a uuid cannot be requested
      Dictionary photo = builder.record({std::move(uuid), record::kImage, record::kSQL});
      size.add(photo);
      photos.append(std::move(photo));
    }
  }
  return photos;
}

}  // namespace moxtel
