#include "library/ContainerTree.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "library/BuiltInAlbums.h"
#include "library/DayName.h"
#include "library/RecordBuilder.h"
#include "library/RecordKeys.h"
#include "library/database/DatabaseUse.h"
#include "library/database/LibraryDatabases.h"
#include "platform/settings/UserDefaults.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

constexpr std::string_view kTopLevelAlbums = "TopLevelAlbums";
constexpr std::string_view kAllProjectsItem = "AllProjectsItem";

constexpr std::int32_t kPlainFolder = 1;
constexpr std::int32_t kProjectFolder = 2;
constexpr std::int32_t kUserAlbum = 1;
constexpr std::int32_t kSmartSubclass = 2;
constexpr std::int32_t kRegularSubclass = 3;

// A smaller stored count is not trusted, and counted again.
constexpr std::int32_t kTrustedPhotoCount = 3;

// The last built-in name is excluded from the tree only: albumsFromDB lists such an album, on purpose.
constexpr std::size_t kBuiltInNamesOfTheFlatList = 13;

bool isBuiltIn(const Value& uuid, std::size_t names) {
  const auto end = kBuiltInAlbums.begin() + static_cast<std::ptrdiff_t>(names);
  return std::find(kBuiltInAlbums.begin(), end, uuid.string()) != end;
}

bool isListedAlbum(std::int32_t albumType, std::int32_t albumSubclass, const Value& uuid, std::size_t names) {
  const bool kind = albumSubclass == kSmartSubclass || albumSubclass == kRegularSubclass;
  return albumType == kUserAlbum && kind && !isBuiltIn(uuid, names);
}

const Text& albumKind(std::int32_t albumSubclass) {
  return albumSubclass == kRegularSubclass ? record::kRegular : record::kSmart;
}

Date dateOf(std::int64_t secondsSinceReferenceDate) {
  return Date{static_cast<double>(secondsSinceReferenceDate)};
}

// Dates in seconds since 2001-01-01 UTC; a minimum of 0 (or NULL) means that there is none.
Value displayName(const Value& name, std::int64_t minDate, std::int64_t maxDate, bool showMaximum) {
  if (!name.string().empty()) return name;
  if (minDate == 0) return "-";
  const std::string first = dayName(dateOf(minDate));
  if (!showMaximum || minDate == maxDate) return first;
  return format("%@ … %@", first, dayName(dateOf(maxDate)));
}

// One container with its place in the user's order.
struct Container {
  Dictionary record{Mutability::Mutable};
  std::int32_t order = 0;
};

Value arrayOf(std::vector<Container> containers) {
  Array array(Mutability::Mutable);
  array.reserve(containers.size());
  SharedKeyLists keys;
  for (Container& container : containers) array.append(keys.shared(std::move(container.record)));
  return array;
}

// Collects the containers below one parent. The library database is open meanwhile.
class Listing final {
 public:
  Listing(LibraryDatabases& databases, const Value& parent, bool showMaximumDate, std::uint64_t largest)
      : databases_(databases), parent_(parent), showMaximumDate_(showMaximumDate), size_(largest) {}

  void readFolders();
  void readAlbums();
  void readCustomOrder();
  void logTotals() const;

  std::vector<Container>& containers() { return containers_; }

 private:
  void addFolder(const Query& row, bool belowTopLevelAlbums);
  void countFolder(std::int32_t folderType, const Value& name);
  void addAlbum(const Query& row);
  void add(Dictionary container);
  std::unordered_map<std::string_view, std::size_t> positionsByUuid() const;

  LibraryDatabases& databases_;
  const Value& parent_;
  const bool showMaximumDate_;
  ListSize size_;
  SharedKeyLists keys_;
  std::vector<Container> containers_;
  int folders_ = 0;
  int projects_ = 0;
  int albums_ = 0;
};

void Listing::readFolders() {
  const bool belowTopLevelAlbums = parent_.string() == kTopLevelAlbums;
  Query query = databases_.run(DatabaseFile::Library,
                               "SELECT "
                               "name,uuid,folderType,modelId,posterVersionUuid,minImageDate,maxImageDate,"
                               "isHiddenWhenEmpty FROM RKFolder WHERE parentFolderUuid = '%@' AND "
                               "isInTrash = 0",
                               {parent_});
  while (query.step()) addFolder(query, belowTopLevelAlbums);
}

// Containers hidden when empty and, among the albums, projects are not listed, but they are counted.
void Listing::addFolder(const Query& row, bool belowTopLevelAlbums) {
  const std::int32_t folderType = row.integerColumn(2);
  const std::int64_t minDate = row.integer64Column(5);
  if (minDate < 0) NSLog("minImageDate '%ld': %@", minDate, Value(dateOf(minDate)));
  Value name = displayName(row.stringColumn(0), minDate, row.integer64Column(6), showMaximumDate_);
  countFolder(folderType, name);
  const bool hiddenWhenEmpty = row.integerColumn(7) != 0;
  if (hiddenWhenEmpty || (belowTopLevelAlbums && folderType == kProjectFolder)) return;

  Dictionary folder(Mutability::Mutable);
  if (folderType == kProjectFolder) folder.append(record::kAlbumType, record::kProject);
  if (folderType == kPlainFolder) folder.append(record::kAlbumType, record::kFolder);
  folder.append(record::kAlbumName, std::move(name));
  record::appendNonNil(folder, record::kAlbumId, row.stringColumn(1));
  folder.append(record::kModelId, row.integerNumberColumn(3));
  record::appendNonNil(folder, record::kKeyPhotoKey, row.stringColumn(4));
  add(std::move(folder));
}

void Listing::add(Dictionary container) {
  size_.add(container);
  containers_.emplace_back().record = keys_.shared(std::move(container));
}

void Listing::countFolder(std::int32_t folderType, const Value& name) {
  if (folderType == kProjectFolder) {
    ++projects_;
  } else if (folderType == kPlainFolder) {
    ++folders_;
  } else {
    NSLog("containersInParentUuid '%@' found new folder '%@' with folderType %d", parent_, name, folderType);
  }
}

void Listing::readAlbums() {
  Query query = databases_.run(DatabaseFile::Library,
                               "SELECT "
                               "name,uuid,modelId,albumType,albumSubclass,versionCount,posterVersionUuid "
                               "FROM RKAlbum WHERE folderUuid = '%@' AND isInTrash = 0",
                               {parent_});
  while (query.step()) addAlbum(query);
}

void Listing::addAlbum(const Query& row) {
  Value uuid = row.stringColumn(1);
  const std::int32_t subclass = row.integerColumn(4);
  if (!isListedAlbum(row.integerColumn(3), subclass, uuid, kBuiltInAlbums.size())) return;
  Dictionary album(Mutability::Mutable);
  album.append(record::kAlbumType, record::kAlbum);
  record::appendNonNil(album, record::kAlbumName, row.stringColumn(0));
  record::appendNonNil(album, record::kAlbumId, std::move(uuid));
  album.append(record::kModelId, row.integerNumberColumn(2));
  album.append(record::kPhotoCount, row.integerNumberColumn(5));
  album.append(record::kIPAlbumType, albumKind(subclass));
  record::appendNonNil(album, record::kKeyPhotoKey, row.stringColumn(6));
  add(std::move(album));
  ++albums_;
}

// Of containers with the same uuid the first one counts.
std::unordered_map<std::string_view, std::size_t> Listing::positionsByUuid() const {
  std::unordered_map<std::string_view, std::size_t> positions;
  positions.reserve(containers_.size());
  for (std::size_t i = 0; i < containers_.size(); ++i) {
    const Value& uuid = containers_[i].record[record::kAlbumId];
    if (uuid.isString()) positions.emplace(uuid.string(), i);
  }
  return positions;
}

void Listing::readCustomOrder() {
  Query query = databases_.run(
      DatabaseFile::Library,
      "SELECT objectUuid,orderNumber FROM RKCustomSortOrder WHERE containerUuid = '%@'", {parent_});
  std::unordered_map<std::string_view, std::size_t> positions;
  while (query.step()) {
    if (positions.empty()) positions = positionsByUuid();
    const Value uuid = query.stringColumn(0);
    const auto found = uuid.isNil() ? positions.end() : positions.find(uuid.string());
    if (found == positions.end()) continue;
    Container& container = containers_[found->second];
    container.order = query.integerColumn(1);
    container.record.set(record::kOrderNumber, query.integerNumberColumn(1));
  }
}

void Listing::logTotals() const {
  NSLog("In parentUuid '%@' I found %d folders, %d projects and %d albums", parent_, folders_, projects_,
        albums_);
}

// Without statistics SQLite would use the index on isInTrash and read the whole table for every project; the
// plus sign prevents that. It precedes the comparison: before the column, it would take the column's type
// from it, and a 0 stored as text would differ. The order of rows does not affect a count, so nothing else
// changes.
constexpr SqlText kCountByProject =
    "SELECT COUNT(uuid) FROM RKVersion WHERE projectUuid = '%@' AND versionNumber != 0 AND +(isInTrash = 0)";
// The query text that clients expect in the log when it cannot be prepared.
constexpr SqlText kCountAsLogged =
    "SELECT COUNT(uuid) FROM RKVersion WHERE projectUuid = '%@' AND versionNumber != 0 AND isInTrash = 0";

std::int32_t photosOfProject(LibraryDatabases& databases, const Value& uuid) {
  Query query = databases.runUnlogged(DatabaseFile::Library, kCountByProject, {uuid});
  if (!query.prepared()) query = databases.run(DatabaseFile::Library, kCountAsLogged, {uuid});
  return query.step() ? query.integerColumn(0) : 0;
}

std::int32_t countAgain(LibraryDatabases& databases, PhotoApplicationQueries& application,
                        const Dictionary& container) {
  const std::string_view type = container[record::kAlbumType].string();
  const Value& uuid = container[record::kAlbumId];
  if (type == record::kProject.view()) return photosOfProject(databases, uuid);
  return application.photoCountOf(type == record::kAlbum.view() ? "album" : "folder", uuid,
                                  container[record::kModelId].intValue());
}

void addNote(LibraryDatabases& databases, Dictionary& container) {
  Query query = databases.run(DatabaseFile::Library, "SELECT note FROM RKNote WHERE attachedToUuid = '%@'",
                              {container[record::kAlbumId]});
  if (!query.step()) return;
  Value note = query.stringColumn(0);
  if (note.string().empty()) return;
  NSLog("Found note for Album/Folder '%@': '%@'", container[record::kAlbumName], note);
  container.set(record::kNote, std::move(note));
}

Value firstWithUuid(const Value& list, const Value& id) {
  const Value uuid = record::uuidText(id);
  if (uuid.isNil()) return {};
  for (const Value& container : list.array()) {
    if (container[record::kAlbumId] == uuid) return container;
  }
  return {};
}

}  // namespace

ContainerTree::ContainerTree(LibraryDatabases& databases, PhotoApplicationQueries& application,
                             const UserDefaults& defaults, std::uint64_t largestList)
    : databases_(databases), application_(application), defaults_(defaults), largestList_(largestList) {}

Value ContainerTree::containersInParentUuid(const Value& parent) {
  DatabaseUse library(databases_, DatabaseFile::Library);
  if (!library.isOpen()) return {};
  Listing listing(databases_, parent, defaults_.boolForKey("ApertureFolderMinMaxDate"), largestList_);
  listing.readFolders();
  if (parent.string() != kAllProjectsItem) listing.readAlbums();
  SharedKeyLists keys;
  ListSize notes(largestList_);
  for (Container& container : listing.containers()) {
    decorate(container.record);
    notes.addText(container.record[record::kNote]);
    container.record = keys.shared(std::move(container.record));
  }
  listing.readCustomOrder();
  library.close();
  // Containers with the same number keep the order of the database.
  std::stable_sort(listing.containers().begin(), listing.containers().end(),
                   [](const Container& a, const Container& b) { return a.order < b.order; });
  listing.logTotals();
  return arrayOf(std::move(listing.containers()));
}

void ContainerTree::decorate(Dictionary& container) {
  std::int32_t count = container[record::kPhotoCount].intValue();
  if (count < kTrustedPhotoCount) {
    count = countAgain(databases_, application_, container);
    container.set(record::kPhotoCount, count);
  }
  if (count > 0 && container.contains(record::kAlbumName) && !container.contains(record::kKeyPhotoKey)) {
    record::appendNonNil(container, record::kKeyPhotoKey, keyPhotoOf(container));
  }
  addNote(databases_, container);
}

// Folders have no key photo.
Value ContainerTree::keyPhotoOf(const Dictionary& container) {
  const std::string_view type = container[record::kAlbumType].string();
  if (type == record::kAlbum.view()) return keyPhotoOfAlbum(container);
  if (type == record::kProject.view()) return application_.keyPhotoOfProject(container, true);
  return {};
}

Value ContainerTree::keyPhotoOfAlbum(const Dictionary& album) {
  Value photo = application_.keyPhotoOfAlbum(album, false);
  return photo.isNil() ? application_.keyPhotoOfAlbum(album, true) : photo;
}

Value ContainerTree::keptList(Value& kept, std::string_view parent) {
  if (!kept.isNil()) return kept;
  const std::uint64_t doubtful = application_.doubtfulAnswers();
  Value list = containersInParentUuid(parent);
  if (!databases_.sawFailure() && application_.doubtfulAnswers() == doubtful) kept = list;
  return list;
}

Value ContainerTree::getTopLevelAlbums() { return keptList(topLevelAlbums_, kTopLevelAlbums); }

Value ContainerTree::getTopLevelProjects() { return keptList(topLevelProjects_, kAllProjectsItem); }

Value ContainerTree::albumDictWithUuid(const Value& uuid) { return firstWithUuid(getTopLevelAlbums(), uuid); }

Value ContainerTree::projectDictWithUuid(const Value& uuid) {
  return firstWithUuid(getTopLevelProjects(), uuid);
}

void ContainerTree::dropCaches() {
  topLevelAlbums_ = {};
  topLevelProjects_ = {};
}

namespace {

// The folders of the flat list have "IPAlbumType", which only albums have elsewhere, and no "AlbumType".
void addTopLevelFolders(LibraryDatabases& databases, std::vector<Container>& list) {
  Query query = databases.run(
      DatabaseFile::Library,
      "SELECT name,uuid,versionCount FROM RKFolder WHERE parentFolderUuid = 'TopLevelAlbums'", {});
  while (query.step()) {
    Dictionary& folder = list.emplace_back().record;
    record::appendNonNil(folder, record::kAlbumName, query.stringColumn(0));
    record::appendNonNil(folder, record::kAlbumId, query.stringColumn(1));
    folder.append(record::kPhotoCount, query.integerNumberColumn(2));
    folder.append(record::kIPAlbumType, record::kRegular);
  }
}

void addFlatAlbum(const Query& row, std::vector<Container>& list) {
  Value uuid = row.stringColumn(1);
  Value name = row.stringColumn(0);
  const std::int32_t type = row.integerColumn(2);
  const std::int32_t subclass = row.integerColumn(3);
  if (uuid.string() == "allPhotosAlbum") NSLog("%@: %@, %d/%d", uuid, name, type, subclass);
  if (!isListedAlbum(type, subclass, uuid, kBuiltInNamesOfTheFlatList)) return;
  Dictionary& album = list.emplace_back().record;
  album.append(record::kAlbumType, record::kAlbum);
  record::appendNonNil(album, record::kAlbumName, std::move(name));
  record::appendNonNil(album, record::kAlbumId, std::move(uuid));
  album.append(record::kPhotoCount, row.integerNumberColumn(4));
  album.append(record::kIPAlbumType, albumKind(subclass));
}

}  // namespace

Value ContainerTree::albumsFromDB() {
  DatabaseUse library(databases_, DatabaseFile::Library);
  if (!library.isOpen()) return {};
  std::vector<Container> list;
  addTopLevelFolders(databases_, list);
  {
    Query query = databases_.run(DatabaseFile::Library,
                                 "SELECT name,uuid,albumType,albumSubclass,versionCount FROM RKAlbum", {});
    while (query.step()) addFlatAlbum(query, list);
  }
  for (Container& entry : list) {
    record::appendNonNil(entry.record, record::kKeyPhotoKey, keyPhotoOfAlbum(entry.record));
  }
  library.close();
  Value albums = arrayOf(std::move(list));
  writeSystemLog(format("albums: %@", albums));
  return albums;
}

}  // namespace moxtel
