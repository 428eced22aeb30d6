#include "library/answers/ContainerReading.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "library/BuiltInAlbums.h"
#include "library/FolderPhotos.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"

namespace moxtel {

namespace {

constexpr SqlText kFolders =
    "SELECT modelId,uuid,name,folderType,parentFolderUuid,isHiddenWhenEmpty,isMagic FROM RKFolder WHERE "
    "isInTrash = 0";
constexpr SqlText kAlbums =
    "SELECT modelId,uuid,name,albumType,albumSubclass,folderUuid,isMagic FROM RKAlbum WHERE isInTrash = 0";
constexpr SqlText kOrder = "SELECT objectUuid,orderNumber FROM RKCustomSortOrder WHERE containerUuid = '%@'";
constexpr SqlText kNotes = "SELECT attachedToUuid,note FROM RKNote";

constexpr std::int32_t kPlainFolder = 1;
constexpr std::int32_t kEventFolder = 2;
constexpr std::int32_t kUserAlbum = 1;
constexpr std::int32_t kSmartSubclass = 2;
constexpr std::int32_t kRegularSubclass = 3;

// The folders at the top, and whether they hold the events.
struct Root {
  std::string_view uuid;
  bool isOfEvents;
};
constexpr std::array kRoots = {Root{"TopLevelAlbums", false}, Root{"AllProjectsItem", true},
                               Root{"LibraryFolder", false}};
constexpr std::string_view kTrash = "TrashFolder";
constexpr std::string_view kAllPhotosAlbum = "allPhotosAlbum";

bool isRoot(std::string_view uuid) {
  return uuid == kTrash ||
         std::any_of(kRoots.begin(), kRoots.end(), [uuid](const Root& root) { return root.uuid == uuid; });
}

struct Entry {
  LibraryContainer container;
  std::string parentUuid;
  bool isTaken = false;
};

class ContainerReading final {
 public:
  explicit ContainerReading(LibraryDatabases& databases) : databases_(databases) {}

  std::vector<LibraryContainer> read() {
    readFolders();
    readAlbums();
    for (std::size_t i = 0; i < entries_.size(); ++i) children_[entries_[i].parentUuid].push_back(i);
    for (const Root& root : kRoots) take(std::string(root.uuid), root.isOfEvents);
    leaveOut(std::string(kTrash));
    for (const std::string& uuid : foldersInTrash(databases_)) leaveOut(uuid);
    for (std::size_t i = 0; i < entries_.size(); ++i) takeWithContents(i, LibraryContainer::kNoParent, false);
    readNotes();
    return std::move(taken_);
  }

 private:
  struct Waiting {
    std::size_t entry;
    std::size_t parent;
  };

  void readFolders();
  void readAlbums();
  void readNotes();
  void add(LibraryContainer container, std::string parent);
  // The contents of a folder, and theirs.
  void take(const std::string& uuid, bool isAmongEvents);
  void takeWithContents(std::size_t entry, std::size_t parent, bool isAmongEvents);
  void leaveOut(const std::string& uuid);
  std::vector<std::size_t> contentsOf(const std::string& uuid);

  LibraryDatabases& databases_;
  std::vector<Entry> entries_;
  std::unordered_map<std::string, std::vector<std::size_t>> children_;  // by the parent's uuid
  std::vector<LibraryContainer> taken_;
};

void ContainerReading::add(LibraryContainer container, std::string parent) {
  if (entries_.size() < LibraryLists::kMostContainers)
    entries_.push_back({std::move(container), std::move(parent), false});
}

// What the application hides while it is empty is a place of its own, such as that of shared photos.
void ContainerReading::readFolders() {
  Query row = databases_.runUnlogged(DatabaseFile::Library, kFolders, {});
  while (row.step()) {
    LibraryContainer folder;
    folder.modelId = row.integer64Column(0);
    folder.uuid = textOf(row, 1);
    folder.name = textOf(row, 2);
    const std::int32_t type = row.integerColumn(3);
    if ((type != kPlainFolder && type != kEventFolder) || isRoot(folder.uuid)) continue;
    if (row.integerColumn(5) != 0 || row.integerColumn(6) != 0) continue;
    folder.kind = type == kEventFolder ? LibraryContainer::Kind::Event : LibraryContainer::Kind::Folder;
    add(std::move(folder), textOf(row, 4));
  }
}

void ContainerReading::readAlbums() {
  Query row = databases_.runUnlogged(DatabaseFile::Library, kAlbums, {});
  while (row.step()) {
    LibraryContainer album;
    album.modelId = row.integer64Column(0);
    album.uuid = textOf(row, 1);
    album.name = textOf(row, 2);
    album.albumType = row.integerColumn(3);
    const std::int32_t subclass = row.integerColumn(4);
    const bool isBuiltIn =
        row.integerColumn(6) != 0 || album.uuid == kAllPhotosAlbum ||
        std::find(kBuiltInAlbums.begin(), kBuiltInAlbums.end(), album.uuid) != kBuiltInAlbums.end();
    if (isBuiltIn || (subclass != kSmartSubclass && subclass != kRegularSubclass)) continue;
    if (album.albumType != kUserAlbum)
      album.kind = LibraryContainer::Kind::Other;
    else if (subclass == kSmartSubclass)
      album.kind = LibraryContainer::Kind::SmartAlbum;
    add(std::move(album), textOf(row, 5));
  }
}

// Those that the user did not move keep the order of the database, before the others.
std::vector<std::size_t> ContainerReading::contentsOf(const std::string& uuid) {
  const auto found = children_.find(uuid);
  if (found == children_.end()) return {};
  std::vector<std::size_t> contents = found->second;
  if (contents.size() < 2) return contents;
  std::unordered_map<std::string, std::int64_t> numbers;
  Query row = databases_.runUnlogged(DatabaseFile::Library, kOrder, {uuid});
  while (numbers.size() < LibraryLists::kMostContainers && row.step())
    numbers.insert_or_assign(textOf(row, 0), row.integer64Column(1));
  const auto numberOf = [&](std::size_t entry) {
    const auto number = numbers.find(entries_[entry].container.uuid);
    return number == numbers.end() ? 0 : number->second;
  };
  std::stable_sort(contents.begin(), contents.end(),
                   [&](std::size_t a, std::size_t b) { return numberOf(a) < numberOf(b); });
  return contents;
}

void ContainerReading::take(const std::string& uuid, bool isAmongEvents) {
  for (const std::size_t entry : contentsOf(uuid))
    takeWithContents(entry, LibraryContainer::kNoParent, isAmongEvents);
}

void ContainerReading::takeWithContents(std::size_t entry, std::size_t parent, bool isAmongEvents) {
  std::vector<Waiting> stack{{entry, parent}};
  while (!stack.empty()) {
    const Waiting next = stack.back();
    stack.pop_back();
    Entry& taken = entries_[next.entry];
    if (taken.isTaken) continue;
    taken.isTaken = true;
    const std::size_t place = taken_.size();
    taken_.push_back(taken.container);
    taken_.back().parent = next.parent;
    taken_.back().isAmongEvents = isAmongEvents;
    const bool isFolder = taken.container.list().kind != PhotoList::Kind::Album;
    if (!isFolder || taken.container.uuid.empty()) continue;
    const std::vector<std::size_t> contents = contentsOf(taken.container.uuid);
    for (auto child = contents.rbegin(); child != contents.rend(); ++child) stack.push_back({*child, place});
  }
}

void ContainerReading::leaveOut(const std::string& uuid) {
  std::vector<std::string> stack{uuid};
  while (!stack.empty()) {
    const auto found = children_.find(stack.back());
    stack.pop_back();
    if (found == children_.end()) continue;
    for (const std::size_t child : found->second) {
      Entry& entry = entries_[child];
      if (std::exchange(entry.isTaken, true)) continue;
      if (entry.container.list().kind != PhotoList::Kind::Album) stack.push_back(entry.container.uuid);
    }
  }
}

void ContainerReading::readNotes() {
  std::unordered_map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < taken_.size(); ++i) places.try_emplace(taken_[i].uuid, i);
  Query row = databases_.runUnlogged(DatabaseFile::Library, kNotes, {});
  while (row.step()) {
    const auto found = places.find(textOf(row, 0));
    if (found != places.end()) taken_[found->second].note = textOf(row, 1);
  }
}

}  // namespace

std::vector<LibraryContainer> readContainers(LibraryDatabases& databases) {
  return ContainerReading(databases).read();
}

}  // namespace moxtel
