#include "library/answers/SavedLists.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "library/FolderPhotos.h"
#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/PathNames.h"

namespace moxtel {

namespace {

constexpr SqlText kLivePhotos =
    "SELECT modelId,projectUuid,isHidden FROM RKVersion WHERE +showInLibrary = 1 AND +isInTrash = 0 ORDER BY "
    "modelId";
constexpr SqlText kProjects = "SELECT uuid FROM RKFolder WHERE folderType = 2";
constexpr SqlText kRegularAlbums =
    "SELECT uuid,modelId FROM RKAlbum WHERE albumType = 1 AND albumSubclass = 3";
constexpr SqlText kMembers = "SELECT versionId FROM RKAlbumVersion WHERE albumId = %lld ORDER BY versionId";

using Ids = std::vector<std::int64_t>;

Ids sortedOnce(Ids ids) {
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

Ids without(const Ids& ids, const Ids& others) {
  Ids rest;
  std::set_difference(ids.begin(), ids.end(), others.begin(), others.end(), std::back_inserter(rest));
  return rest;
}

// The live photos of the databases, without the hidden ones; all lists ascending.
struct LivePhotos {
  Ids all;
  Ids hidden;
  std::unordered_map<std::string, Ids> ofProjects;
};

std::optional<LivePhotos> readLivePhotos(LibraryDatabases& databases) {
  LivePhotos photos;
  const auto trashed = foldersInTrash(databases);
  Query row = databases.runUnlogged(DatabaseFile::Library, kLivePhotos, {});
  while (row.step()) {
    const std::int64_t id = row.integer64Column(0);
    std::string project(row.stringColumn(1).string());
    if (trashed.contains(project)) continue;
    if (row.integerColumn(2) != 0) {
      photos.hidden.push_back(id);
      continue;
    }
    photos.all.push_back(id);
    photos.ofProjects[std::move(project)].push_back(id);
  }
  return row.failed() ? std::nullopt : std::optional(std::move(photos));
}

}  // namespace

void SavedLists::refresh() {
  const bool fileHasLists = !albumData_.photoLists().empty();
  const auto& library = location_.libraryPath();
  const FileStamp other = fileHasLists || !library
                              ? FileStamp()
                              : moxtel::stampOf(appendingPathComponent(*library, AlbumData::kOtherFileName));
  if (albumDataGeneration_ == albumData_.generation() && otherStamp_ == other) return;
  albumDataGeneration_ = albumData_.generation();
  otherStamp_ = other;
  usesOtherFile_ = !fileHasLists && other.isRegular();
  otherLists_.clear();
  if (usesOtherFile_) readOtherFile();
  indexLists(usesOtherFile_ ? otherLists_ : albumData_.photoLists());
  ++generation_;
}

// A file that cannot be read to its end has the lists before that, which then are not in step.
void SavedLists::readOtherFile() {
  const std::string path = appendingPathComponent(*location_.libraryPath(), AlbumData::kOtherFileName);
  if (files_.permits(*location_.libraryPath(), path)) otherLists_ = readAlbumDataFile(path).photoLists;
}

// Of several lists with one uuid the last one counts.
void SavedLists::indexLists(const std::vector<SavedPhotoList>& lists) {
  byUuid_.clear();
  for (const SavedPhotoList& list : lists) byUuid_.insert_or_assign(list.uuid, &list);
}

const SavedPhotoList* SavedLists::listOf(std::string_view uuid) const {
  const auto found = byUuid_.find(uuid);
  return found == byUuid_.end() ? nullptr : found->second;
}

bool SavedLists::isInStep() {
  LibraryStamp stamp = stampOf(databases_);
  if (!compared_ || compared_->stamp != stamp || compared_->generation != generation_) {
    const bool inStep = compare();
    compared_ = Compared{std::move(stamp), generation_, inStep};
  }
  return compared_->inStep;
}

bool SavedLists::compare() {
  if (!listOf("allPhotosAlbum")) return false;
  const auto photos = readLivePhotos(databases_);
  if (!photos) return false;
  const auto isSaved = [&](std::string_view uuid, const Ids& live) {
    const SavedPhotoList* list = listOf(uuid);
    return !list || without(sortedOnce(list->photos), photos->hidden) == live;
  };
  if (!isSaved("allPhotosAlbum", photos->all)) return false;
  Query project = databases_.runUnlogged(DatabaseFile::Library, kProjects, {});
  while (project.step()) {
    const std::string uuid(project.stringColumn(0).string());
    const auto found = photos->ofProjects.find(uuid);
    if (!isSaved(uuid, found == photos->ofProjects.end() ? Ids() : found->second)) return false;
  }
  Query album = databases_.runUnlogged(DatabaseFile::Library, kRegularAlbums, {});
  while (album.step()) {
    const std::string uuid(album.stringColumn(0).string());
    if (!listOf(uuid)) continue;
    Ids members;
    Query member = databases_.runUnlogged(DatabaseFile::Library, kMembers, {album.integer64Column(1)});
    while (member.step()) members.push_back(member.integer64Column(0));
    Ids live;
    std::set_intersection(members.begin(), members.end(), photos->all.begin(), photos->all.end(),
                          std::back_inserter(live));
    if (member.failed() || !isSaved(uuid, sortedOnce(std::move(live)))) return false;
  }
  return !project.failed() && !album.failed();
}

}  // namespace moxtel
