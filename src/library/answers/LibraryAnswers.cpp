#include "library/answers/LibraryAnswers.h"

#include <optional>
#include <utility>

#include "library/FolderPhotos.h"
#include "library/RecordKeys.h"
#include "library/answers/PhotoOrder.h"
#include "library/answers/SmartAlbums.h"
#include "library/answers/SortedPhotoReader.h"
#include "library/database/LibraryDatabases.h"

namespace moxtel {

namespace {

// The plus signs keep SQLite, which has no statistics here, from reading whole tables along other indexes.
constexpr SqlText kLive =
    "SELECT uuid FROM RKVersion WHERE uuid = '%@' AND +showInLibrary = 1 AND +isInTrash = 0 AND NOT (%d AND "
    "+isHidden IS TRUE)";
constexpr SqlText kMemberCount =
    "SELECT COUNT(uuid) FROM RKVersion WHERE modelId IN (SELECT versionId FROM RKAlbumVersion WHERE albumId "
    "= %d)";
constexpr SqlText kAlbum =
    "SELECT modelId,posterVersionUuid,sortKeyPath,sortAscending FROM RKAlbum WHERE uuid = '%@'";
// Two queries: a join with a view of folders, which other kinds of libraries have, would read all of them.
constexpr SqlText kProject = "SELECT posterVersionUuid,implicitAlbumUuid FROM RKFolder WHERE uuid = '%@'";
constexpr SqlText kOrderOfAlbum = "SELECT sortKeyPath,sortAscending FROM RKAlbum WHERE uuid = '%@'";

// The columns of photos to be sorted.
constexpr SqlText kMembers =
    "SELECT modelId,uuid,imageDate,mainRating,name,projectUuid FROM RKVersion WHERE modelId IN (SELECT "
    "versionId FROM RKAlbumVersion WHERE albumId = %d) AND NOT (%d AND +isHidden IS TRUE)";
constexpr SqlText kPhotosOfProject =
    "SELECT modelId,uuid,imageDate,mainRating,name,projectUuid FROM RKVersion WHERE projectUuid = '%@' AND "
    "+versionNumber != 0 AND +isInTrash = 0 AND NOT (%d AND +isHidden IS TRUE)";
// The first one by date, with the index on both: a library has thousands of projects.
constexpr SqlText kEarliestOfProject =
    "SELECT uuid FROM RKVersion WHERE projectUuid = '%@' AND +versionNumber != 0 AND +isInTrash = 0 AND "
    "NOT (%d AND +isHidden IS TRUE) AND uuid IS NOT NULL ORDER BY imageDate,modelId LIMIT 1";

// The first of the photos that a query lists, with the columns of SortedPhotoReader. A row without a uuid is
// no photo.
Value firstOf(Query photos, const PhotoOrder& order, const SortedPhotoReader& reader) {
  std::optional<SortedPhoto> first;
  while (photos.step()) {
    SortedPhoto photo = reader.photoOf(photos);
    if (!photo.uuid.view().empty() && (!first || order.precedes(photo, *first))) first = std::move(photo);
  }
  return first ? Value(first->uuid) : Value();
}

PhotoOrder orderOf(const Query& row, int column) {
  return {row.stringColumn(column).string(), row.integerColumn(column + 1) != 0};
}

}  // namespace

int LibraryAnswers::hides() const { return smartAlbums_.hidesHidden() ? 1 : 0; }

Value LibraryAnswers::posterIfLive(const Value& uuid) {
  if (uuid.isNil()) return {};
  Query poster = databases_.runUnlogged(DatabaseFile::Library, kLive, {uuid, hides()});
  return poster.step() ? poster.stringColumn(0) : Value();
}

// By date where no album says how.
PhotoOrder LibraryAnswers::orderOfProject(const Value& album) {
  if (album.isNil()) return {"", false};
  Query row = databases_.runUnlogged(DatabaseFile::Library, kOrderOfAlbum, {album});
  return row.step() ? orderOf(row, 0) : PhotoOrder{"", false};
}

Value LibraryAnswers::keyPhotoOfProject(const Dictionary& container, bool /*byAppleScript*/) {
  const Value& uuid = container[record::kAlbumId];
  Value poster, album;
  if (Query project = databases_.runUnlogged(DatabaseFile::Library, kProject, {uuid}); project.step()) {
    poster = project.stringColumn(0);
    album = project.stringColumn(1);
  }
  const PhotoOrder order = orderOfProject(album);
  if (poster = posterIfLive(poster); !poster.isNil()) return poster;
  if (order.isByDateInProject()) {
    Query earliest = databases_.runUnlogged(DatabaseFile::Library, kEarliestOfProject, {uuid, hides()});
    return earliest.step() ? earliest.stringColumn(0) : Value();
  }
  const SortedPhotoReader reader(databases_, order, uuid);
  return firstOf(databases_.runUnlogged(DatabaseFile::Library, kPhotosOfProject, {uuid, hides()}), order,
                 reader);
}

Value LibraryAnswers::keyPhotoOfAlbum(const Dictionary& container, bool /*byAppleScript*/) {
  const Value& uuid = container[record::kAlbumId];
  Query album = databases_.runUnlogged(DatabaseFile::Library, kAlbum, {uuid});
  if (!album.step()) return {};
  const std::int32_t modelId = album.integerColumn(0);
  const PhotoOrder order = orderOf(album, 2);
  Value poster = posterIfLive(album.stringColumn(1));
  if (!poster.isNil()) return poster;
  const SortedPhotoReader reader(databases_, order, uuid);
  Value first =
      firstOf(databases_.runUnlogged(DatabaseFile::Library, kMembers, {modelId, hides()}), order, reader);
  if (!first.isNil()) return first;
  const SmartAlbumMembers* members = smartAlbums_.membersOf(uuid);
  return members && !members->photos.empty() ? Value(members->photos.front()) : Value();
}

std::int32_t LibraryAnswers::photoCountOf(std::string_view kind, const Value& uuid, std::int32_t modelId) {
  if (kind == "folder") {
    const auto photos = photosOfFolder(
        databases_, uuid, smartAlbums_.hidesHidden() ? HiddenMembers::LeftOut : HiddenMembers::Included);
    return photos ? static_cast<std::int32_t>(photos->size()) : 0;
  }
  Query listed = databases_.runUnlogged(DatabaseFile::Library, kMemberCount, {modelId});
  if (listed.step() && listed.integerColumn(0) != 0) return listed.integerColumn(0);
  const SmartAlbumMembers* members = smartAlbums_.membersOf(uuid);
  return members ? static_cast<std::int32_t>(members->photos.size()) : 0;
}

std::vector<Text> LibraryAnswers::imageUuidsOf(std::string_view /*kind*/, const Value& uuid,
                                               std::int32_t /*modelId*/) {
  const SmartAlbumMembers* members = smartAlbums_.membersOf(uuid);
  return members ? members->photos : std::vector<Text>();
}

std::uint64_t LibraryAnswers::doubtfulAnswers() const { return smartAlbums_.doubtfulAnswers(); }

}  // namespace moxtel
