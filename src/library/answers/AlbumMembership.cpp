#include "library/answers/AlbumMembership.h"

#include <algorithm>
#include <string>
#include <unordered_set>
#include <utility>

#include "library/answers/ContainerReading.h"
#include "library/answers/PhotoOrder.h"
#include "library/answers/SmartAlbums.h"
#include "library/answers/SortedPhotoReader.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"

namespace moxtel {

namespace {

using Ids = std::vector<std::int64_t>;

// The plus signs keep SQLite, which has no statistics here, from reading whole tables along other indexes.
constexpr SqlText kAlbum =
    "SELECT uuid,albumSubclass,sortKeyPath,sortAscending FROM RKAlbum WHERE modelId = %lld AND +isInTrash = "
    "0";
constexpr SqlText kMembers = "SELECT versionId FROM RKAlbumVersion WHERE albumId = %lld ORDER BY modelId";
constexpr SqlText kAlbumsOfPhoto = "SELECT albumId FROM RKAlbumVersion WHERE versionId = %lld";
constexpr SqlText kSortedMembers =
    "SELECT modelId,uuid,imageDate,mainRating,name,projectUuid FROM RKVersion WHERE modelId IN (SELECT "
    "versionId FROM RKAlbumVersion WHERE albumId = %lld)";
constexpr SqlText kEvent =
    "SELECT uuid,implicitAlbumUuid FROM RKFolder WHERE modelId = %lld AND +folderType = 2 AND +isInTrash = 0";
constexpr SqlText kOrderOfAlbum = "SELECT sortKeyPath,sortAscending,uuid FROM RKAlbum WHERE uuid = '%@'";
constexpr SqlText kSortedPhotosOfEvent =
    "SELECT modelId,uuid,imageDate,mainRating,name,projectUuid FROM RKVersion WHERE projectUuid = '%@' AND "
    "+versionNumber != 0 AND +isInTrash = 0";
constexpr SqlText kIdOfPhoto = "SELECT modelId FROM RKVersion WHERE uuid = '%@'";
constexpr SqlText kPerson = "SELECT faceKey FROM RKFaceName WHERE modelId = %lld";
constexpr SqlText kMastersOfPerson =
    "SELECT masterUuid FROM RKDetectedFace WHERE faceKey = %lld AND +rejected IS NOT 1 AND +ignore IS NOT 1";
constexpr SqlText kMastersOfOtherPerson = "SELECT masterUuid FROM RKDetectedFace WHERE faceKey = %lld";
constexpr SqlText kVersionsOfMaster =
    "SELECT modelId FROM RKVersion WHERE masterUuid = '%@' AND +versionNumber != 0";
constexpr SqlText kPhotosOfKeyword = "SELECT versionId FROM RKKeywordForVersion WHERE keywordId = %lld";

constexpr std::int32_t kSmartSubclass = 2;
// Of all kept lists of smart albums together.
constexpr std::size_t kMostKeptMembers = 4'000'000;

Ids idsOf(Query query) {
  Ids ids;
  while (query.step()) ids.push_back(query.integer64Column(0));
  return ids;
}

Ids sortedIds(Query row, const SortedPhotoReader& reader, const PhotoOrder& order) {
  std::vector<SortedPhoto> photos;
  while (row.step()) photos.push_back(reader.photoOf(row));
  order.sort(photos);
  Ids ids;
  ids.reserve(photos.size());
  for (const SortedPhoto& photo : photos) ids.push_back(photo.modelId);
  return ids;
}

}  // namespace

AlbumMembership::AlbumMembership(LibraryDatabases& databases, SmartAlbums& smartAlbums,
                                 std::function<void()> beforeSmartAlbums)
    : databases_(databases), smartAlbums_(smartAlbums), beforeSmartAlbums_(std::move(beforeSmartAlbums)) {}

AlbumMembership::~AlbumMembership() = default;

std::shared_ptr<const PhotoColumns> AlbumMembership::columns() {
  if (columns_) return columns_;
  auto read = readPhotoColumns(databases_);
  if (!read) return std::make_shared<const PhotoColumns>();
  columns_ = std::make_shared<const PhotoColumns>(std::move(*read));
  return columns_;
}

const std::vector<LibraryContainer>& AlbumMembership::containers() {
  if (!containers_) containers_ = readContainers(databases_);
  return *containers_;
}

const KeywordTree& AlbumMembership::keywords() {
  if (!keywords_) keywords_.emplace(databases_);
  return *keywords_;
}

void AlbumMembership::dropCaches() {
  columns_.reset();
  containers_.reset();
  keywords_.reset();
  smartMembers_.clear();
  keptMembers_ = 0;
}

std::optional<Ids> AlbumMembership::membersOf(const PhotoList& list, HiddenMembers hidden) {
  std::optional<Ids> photos;
  switch (list.kind) {
    case PhotoList::Kind::Album:
      photos = membersOfAlbum(list.modelId);
      break;
    case PhotoList::Kind::Folder:
      photos = membersOfFolder(list.modelId);
      break;
    case PhotoList::Kind::Event:
      photos = membersOfEvent(list.modelId);
      break;
    case PhotoList::Kind::Person:
      photos = membersOfPerson(list.modelId);
      break;
    case PhotoList::Kind::Keyword:
      photos = membersOfKeyword(list.modelId);
      break;
  }
  std::uint16_t leftOut = list.kind == PhotoList::Kind::Album ? 0 : PhotoColumns::kOnlyInAlbums;
  if (hidden == HiddenMembers::LeftOut) leftOut |= PhotoColumns::kHidden;
  if (photos) keepListed(*photos, leftOut);
  const bool hasOwnOrder = list.kind == PhotoList::Kind::Album || list.kind == PhotoList::Kind::Event;
  if (photos && !hasOwnOrder) sortByDate(*photos);
  return photos;
}

// Each photo that is listed, once, but for those with one of some flags.
void AlbumMembership::keepListed(Ids& photos, std::uint16_t leftOut) {
  const auto all = columns();
  std::vector<bool> seen(all->size());
  std::erase_if(photos, [&](std::int64_t id) {
    const auto place = all->find(id);
    if (!place || seen[*place]) return true;
    seen[*place] = true;
    return all->has(*place, leftOut);
  });
}

void AlbumMembership::sortByDate(Ids& photos) {
  const auto all = columns();
  std::vector<std::pair<std::int64_t, std::int64_t>> dated;
  dated.reserve(photos.size());
  for (const std::int64_t id : photos) {
    const auto place = all->find(id);
    const std::int64_t date = place ? all->date[*place] : PhotoColumns::kNoDate;
    dated.emplace_back(date == PhotoColumns::kNoDate ? INT64_MAX : date, id);
  }
  std::sort(dated.begin(), dated.end());
  for (std::size_t i = 0; i < photos.size(); ++i) photos[i] = dated[i].second;
}

std::optional<Ids> AlbumMembership::membersOfAlbum(std::int64_t modelId) {
  Value uuid;
  bool isSmart = false;
  PhotoOrder order;
  {
    Query row = databases_.runUnlogged(DatabaseFile::Library, kAlbum, {modelId});
    if (!row.step()) return std::nullopt;
    uuid = row.stringColumn(0);
    isSmart = row.integerColumn(1) == kSmartSubclass;
    order = PhotoOrder(row.stringColumn(2).string(), row.integerColumn(3) != 0);
  }
  if (order.hasKeys()) {
    const SortedPhotoReader reader(databases_, order, uuid);
    Ids ids =
        sortedIds(databases_.runUnlogged(DatabaseFile::Library, kSortedMembers, {modelId}), reader, order);
    if (!ids.empty() || !isSmart) return ids;
  }
  Ids ids = idsOf(databases_.runUnlogged(DatabaseFile::Library, kMembers, {modelId}));
  if (ids.empty() && isSmart) return membersOfSmartAlbum(uuid);
  return ids;
}

Ids AlbumMembership::membersOfSmartAlbum(const Value& uuid) {
  Ids ids;
  beforeSmartAlbums_();
  const SmartAlbumMembers* members = smartAlbums_.membersOf(uuid);
  if (!members) return ids;
  ids.reserve(members->photos.size());
  for (const Text& photo : members->photos) {
    Query row = databases_.runUnlogged(DatabaseFile::Library, kIdOfPhoto, {photo});
    if (row.step()) ids.push_back(row.integer64Column(0));
  }
  return ids;
}

std::optional<Ids> AlbumMembership::membersOfEvent(std::int64_t modelId) {
  Value uuid, album;
  {
    Query row = databases_.runUnlogged(DatabaseFile::Library, kEvent, {modelId});
    if (!row.step()) return std::nullopt;
    uuid = row.stringColumn(0);
    album = row.stringColumn(1);
  }
  PhotoOrder order;
  if (!album.isNil()) {
    Query row = databases_.runUnlogged(DatabaseFile::Library, kOrderOfAlbum, {album});
    if (row.step()) order = PhotoOrder(row.stringColumn(0).string(), row.integerColumn(1) != 0);
  }
  if (order.hasKeys()) {
    const SortedPhotoReader reader(databases_, order, album);
    return sortedIds(databases_.runUnlogged(DatabaseFile::Library, kSortedPhotosOfEvent, {uuid}), reader,
                     order);
  }
  Ids ids = photosOfEvent(modelId);
  sortByDate(ids);
  return ids;
}

Ids AlbumMembership::photosOfEvent(std::int64_t modelId) {
  const auto all = columns();
  Ids ids;
  const auto found = std::find(all->events.begin(), all->events.end(), modelId);
  const auto event = static_cast<std::uint32_t>(found - all->events.begin());
  if (found == all->events.end()) return ids;
  for (std::size_t i = 0; i < all->size(); ++i)
    if (all->event[i] == event) ids.push_back(all->modelId[i]);
  return ids;
}

// The contents of a container follow it in the tree, up to the next one that is not below it.
std::optional<Ids> AlbumMembership::membersOfFolder(std::int64_t modelId) {
  const std::vector<LibraryContainer>& tree = containers();
  const auto isFolder = [&](const LibraryContainer& each) {
    return each.kind == LibraryContainer::Kind::Folder && each.modelId == modelId;
  };
  const auto folder = std::find_if(tree.begin(), tree.end(), isFolder);
  if (folder == tree.end()) return std::nullopt;
  const auto place = static_cast<std::size_t>(folder - tree.begin());
  std::unordered_set<std::int64_t> events;
  Ids ids;
  for (std::size_t i = place + 1; i < tree.size(); ++i) {
    if (tree[i].parent == LibraryContainer::kNoParent || tree[i].parent < place) break;
    if (tree[i].kind == LibraryContainer::Kind::Event) events.insert(tree[i].modelId);
    if (tree[i].list().kind != PhotoList::Kind::Album) continue;
    if (const auto members = membersOfAlbum(tree[i].modelId))
      ids.insert(ids.end(), members->begin(), members->end());
  }
  const auto all = columns();
  std::vector<bool> isBelow(all->events.size());
  for (std::size_t i = 0; i < isBelow.size(); ++i) isBelow[i] = events.contains(all->events[i]);
  for (std::size_t i = 0; i < all->size() && !events.empty(); ++i)
    if (all->event[i] != PhotoColumns::kNoEvent && isBelow[all->event[i]]) ids.push_back(all->modelId[i]);
  return ids;
}

std::optional<Ids> AlbumMembership::membersOfPerson(std::int64_t modelId) {
  std::int64_t faceKey = 0;
  {
    Query row = databases_.runUnlogged(DatabaseFile::Faces, kPerson, {modelId});
    if (!row.step()) return std::nullopt;
    faceKey = row.integer64Column(0);
  }
  const bool isIPhoto = databases_.layout().kind == LibraryKind::IPhoto;
  Ids ids;
  Query master = databases_.runUnlogged(DatabaseFile::Faces,
                                        isIPhoto ? kMastersOfPerson : kMastersOfOtherPerson, {faceKey});
  while (master.step()) {
    Query row = databases_.runUnlogged(DatabaseFile::Library, kVersionsOfMaster, {master.stringColumn(0)});
    while (row.step()) ids.push_back(row.integer64Column(0));
  }
  return ids;
}

std::optional<Ids> AlbumMembership::membersOfKeyword(std::int64_t modelId) {
  if (!keywords().find(modelId)) return std::nullopt;
  Ids ids;
  for (const std::int64_t keyword : keywords().withThoseBelow(modelId)) {
    Query row = databases_.runUnlogged(DatabaseFile::Library, kPhotosOfKeyword, {keyword});
    while (row.step()) ids.push_back(row.integer64Column(0));
  }
  return ids;
}

const Ids& AlbumMembership::sortedMembersOfSmart(const LibraryContainer& album) {
  const auto found = smartMembers_.find(album.modelId);
  if (found != smartMembers_.end()) return found->second;
  if (keptMembers_ > kMostKeptMembers) {
    smartMembers_.clear();
    keptMembers_ = 0;
  }
  Ids ids = membersOfAlbum(album.modelId).value_or(Ids());
  std::sort(ids.begin(), ids.end());
  keptMembers_ += ids.size();
  return smartMembers_.emplace(album.modelId, std::move(ids)).first->second;
}

Ids AlbumMembership::albumsOf(std::int64_t photo) {
  const Ids regular = idsOf(databases_.runUnlogged(DatabaseFile::Library, kAlbumsOfPhoto, {photo}));
  Ids albums;
  for (const LibraryContainer& each : containers()) {
    if (each.list().kind != PhotoList::Kind::Album) continue;
    bool isMember = std::find(regular.begin(), regular.end(), each.modelId) != regular.end();
    if (!isMember && each.kind == LibraryContainer::Kind::SmartAlbum) {
      const Ids& members = sortedMembersOfSmart(each);
      isMember = std::binary_search(members.begin(), members.end(), photo);
    }
    if (isMember) albums.push_back(each.modelId);
  }
  std::sort(albums.begin(), albums.end());
  return albums;
}

}  // namespace moxtel
