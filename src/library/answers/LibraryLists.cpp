#include "library/answers/LibraryLists.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "library/answers/AlbumMembership.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"

namespace moxtel {

namespace {

constexpr SqlText kMembers = "SELECT albumId,versionId FROM RKAlbumVersion";
constexpr SqlText kPosterOfFolder = "SELECT posterVersionUuid FROM RKFolder WHERE uuid = '%@'";
constexpr SqlText kPosterOfAlbum = "SELECT posterVersionUuid FROM RKAlbum WHERE uuid = '%@'";
constexpr SqlText kIdOfPhoto = "SELECT modelId FROM RKVersion WHERE uuid = '%@'";
constexpr SqlText kPersons = "SELECT modelId,faceKey,uuid,name,keyVersionUuid FROM RKFaceName";
constexpr SqlText kMasterOfPhoto = "SELECT masterUuid FROM RKVersion WHERE modelId = %lld";
constexpr SqlText kFaceIndex =
    "SELECT faceIndex FROM RKDetectedFace WHERE faceKey = %lld AND masterUuid = '%@'";

constexpr std::size_t kMostPersons = 100'000;

// Counts the photos of each container, and finds their first and last dates and their first photo.
class Counting final {
 public:
  Counting(LibraryDatabases& databases, AlbumMembership& membership,
           std::vector<LibraryContainer>& containers)
      : databases_(databases),
        membership_(membership),
        photos_(membership.columns()),
        containers_(containers) {}

  void count() {
    countEvents();
    countRegularAlbums();
    for (LibraryContainer& each : containers_) {
      if (each.kind == LibraryContainer::Kind::Folder) countMembers(each);
      // The rows of a smart album, if it has any, were counted.
      if (each.kind == LibraryContainer::Kind::SmartAlbum && each.count == 0) countMembers(each);
    }
    for (LibraryContainer& each : containers_) usePoster(each);
    // From the last one on, so that the first one below a folder counts.
    for (std::size_t i = containers_.size(); i-- > 0;) {
      const std::size_t parent = containers_[i].parent;
      if (parent == LibraryContainer::kNoParent || containers_[i].keyPhoto == 0) continue;
      if (containers_[parent].kind == LibraryContainer::Kind::Folder)
        containers_[parent].keyPhoto = containers_[i].keyPhoto;
    }
  }

 private:
  void add(LibraryContainer& container, std::size_t photo) {
    if (!photos_->isShown(photo)) return;
    const std::int64_t date = photos_->date[photo];
    ++container.count;
    if (container.keyPhoto == 0) container.keyPhoto = photos_->modelId[photo];
    if (date == PhotoColumns::kNoDate) return;
    if (!container.firstDate || date < *container.firstDate) {
      container.firstDate = date;
      container.keyPhoto = photos_->modelId[photo];
    }
    container.lastDate = std::max(container.lastDate.value_or(date), date);
  }

  void countEvents() {
    std::unordered_map<std::int64_t, LibraryContainer*> byId;
    for (LibraryContainer& each : containers_)
      if (each.kind == LibraryContainer::Kind::Event) byId.try_emplace(each.modelId, &each);
    std::vector<LibraryContainer*> byIndex(photos_->events.size());
    for (std::size_t i = 0; i < byIndex.size(); ++i) {
      const auto found = byId.find(photos_->events[i]);
      if (found != byId.end()) byIndex[i] = found->second;
    }
    for (std::size_t i = 0; i < photos_->size(); ++i) {
      const std::uint32_t event = photos_->event[i];
      if (event != PhotoColumns::kNoEvent && byIndex[event]) add(*byIndex[event], i);
    }
  }

  // A photo that is listed twice is counted twice here: iPhoto lists each once.
  void countRegularAlbums() {
    std::unordered_map<std::int64_t, LibraryContainer*> byId;
    for (LibraryContainer& each : containers_)
      if (each.list().kind == PhotoList::Kind::Album) byId.try_emplace(each.modelId, &each);
    Query row = databases_.runUnlogged(DatabaseFile::Library, kMembers, {});
    while (row.step()) {
      const auto album = byId.find(row.integer64Column(0));
      if (album == byId.end()) continue;
      if (const auto photo = photos_->find(row.integer64Column(1))) add(*album->second, *photo);
    }
  }

  void countMembers(LibraryContainer& container) {
    const auto members = membership_.membersOf(container.list());
    if (!members) return;
    for (const std::int64_t id : *members)
      if (const auto photo = photos_->find(id)) add(container, *photo);
  }

  void usePoster(LibraryContainer& container) {
    const bool isAlbum = container.list().kind == PhotoList::Kind::Album;
    Value uuid;
    {
      Query row = databases_.runUnlogged(DatabaseFile::Library, isAlbum ? kPosterOfAlbum : kPosterOfFolder,
                                         {container.uuid});
      if (row.step()) uuid = row.stringColumn(0);
    }
    if (uuid.isNil()) return;
    Query row = databases_.runUnlogged(DatabaseFile::Library, kIdOfPhoto, {uuid});
    const auto photo = row.step() ? photos_->find(row.integer64Column(0)) : std::nullopt;
    if (photo && !photos_->has(*photo, PhotoColumns::kHidden)) container.keyPhoto = photos_->modelId[*photo];
  }

  LibraryDatabases& databases_;
  AlbumMembership& membership_;
  const std::shared_ptr<const PhotoColumns> photos_;
  std::vector<LibraryContainer>& containers_;
};

}  // namespace

LibraryLists::LibraryLists(LibraryDatabases& databases, AlbumMembership& membership)
    : databases_(databases), membership_(membership) {}

void LibraryLists::dropCaches() {
  containers_.reset();
  people_.reset();
  keywords_.reset();
}

const std::vector<LibraryContainer>& LibraryLists::containers() {
  if (!containers_) {
    containers_ = membership_.containers();
    Counting(databases_, membership_, *containers_).count();
  }
  return *containers_;
}

const std::vector<LibraryPerson>& LibraryLists::people() {
  if (people_) return *people_;
  std::vector<LibraryPerson> people;
  std::vector<Value> keyPhotos;
  {
    Query row = databases_.runUnlogged(DatabaseFile::Faces, kPersons, {});
    while (people.size() < kMostPersons && row.step()) {
      LibraryPerson person;
      person.modelId = row.integer64Column(0);
      person.faceKey = row.integer64Column(1);
      person.uuid = textOf(row, 2);
      person.name = textOf(row, 3);
      if (person.name.empty()) continue;
      people.push_back(std::move(person));
      keyPhotos.push_back(row.stringColumn(4));
    }
  }
  for (std::size_t i = 0; i < people.size(); ++i) describe(people[i], keyPhotos[i]);
  std::erase_if(people, [](const LibraryPerson& person) { return person.keyPhoto == 0; });
  std::stable_sort(people.begin(), people.end(),
                   [](const LibraryPerson& a, const LibraryPerson& b) { return a.name < b.name; });
  people_ = std::move(people);
  return *people_;
}

void LibraryLists::describe(LibraryPerson& person, const Value& keyPhoto) {
  const auto members = membership_.membersOf({PhotoList::Kind::Person, person.modelId});
  if (!members || members->empty()) return;
  const auto columns = membership_.columns();
  const auto isShown = [&](std::int64_t id) {
    const auto photo = columns->find(id);
    return photo && columns->isShown(*photo);
  };
  person.count = static_cast<std::size_t>(std::count_if(members->begin(), members->end(), isShown));
  const auto first = std::find_if(members->begin(), members->end(), isShown);
  person.keyPhoto = first == members->end() ? members->front() : *first;
  if (!keyPhoto.isNil()) {
    Query row = databases_.runUnlogged(DatabaseFile::Library, kIdOfPhoto, {keyPhoto});
    const std::int64_t id = row.step() ? row.integer64Column(0) : 0;
    if (std::find(members->begin(), members->end(), id) != members->end()) person.keyPhoto = id;
  }
  Value master;
  {
    Query row = databases_.runUnlogged(DatabaseFile::Library, kMasterOfPhoto, {person.keyPhoto});
    if (row.step()) master = row.stringColumn(0);
  }
  Query row = databases_.runUnlogged(DatabaseFile::Faces, kFaceIndex, {person.faceKey, master});
  if (row.step()) person.faceIndex = row.integer64Column(0);
}

const KeywordTree& LibraryLists::keywords() {
  if (!keywords_) {
    keywords_ = membership_.keywords();
    keywords_->count(databases_, *membership_.columns());
  }
  return *keywords_;
}

std::vector<std::size_t> LibraryLists::containersOf(std::int64_t photo) {
  const std::vector<std::int64_t> albums = membership_.albumsOf(photo);
  const auto photos = membership_.columns();
  const auto place = photos->find(photo);
  const bool hasEvent = place && photos->event[*place] != PhotoColumns::kNoEvent;
  const std::int64_t event = hasEvent ? photos->events[photos->event[*place]] : 0;
  std::vector<std::size_t> found;
  const std::vector<LibraryContainer>& all = containers();
  for (std::size_t i = 0; i < all.size(); ++i) {
    const PhotoList list = all[i].list();
    const bool isAlbum =
        list.kind == PhotoList::Kind::Album && std::binary_search(albums.begin(), albums.end(), list.modelId);
    const bool isEvent = hasEvent && list.kind == PhotoList::Kind::Event && list.modelId == event;
    if (isAlbum || isEvent) found.push_back(i);
  }
  return found;
}

}  // namespace moxtel
