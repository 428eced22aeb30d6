#include "export/ExportFolders.h"

#include <algorithm>

#include "export/ExportText.h"
#include "platform/files/LegalNames.h"

namespace moxtel {

namespace {

using Kind = LibraryContainer::Kind;

// A path that is longer gets no more folders, so that other programs can open what is in it.
constexpr std::size_t kLongestPath = 600;
constexpr std::size_t kLongestFolder = 200;  // bytes of one name
constexpr const char* kUntitled = "Untitled";
constexpr const char* kNoDate = "No date";
constexpr const char* kNoEvent = "Without event";

std::string joined(const std::string& parent, const std::string& name) {
  return parent.empty() ? name : parent + "/" + name;
}

std::string orUntitled(std::string name) { return name.empty() ? kUntitled : std::move(name); }

// "2009-07-04 Rome"; a name that begins with the day stays as it is.
std::string eventName(const LibraryContainer& event) {
  const std::string name = legalName(event.name, kLongestFolder - 11);
  const auto day = event.firstDate ? dayText(*event.firstDate) : std::nullopt;
  if (!day) return orUntitled(name);
  if (name.empty() || name.starts_with(*day)) return name.empty() ? *day : name;
  return *day + " " + name;
}

}  // namespace

ExportFolders::ExportFolders(ExportContext& context, const ExportedLibrary& library,
                             const std::vector<LibraryContainer>& containers)
    : context_(context),
      library_(library),
      containers_(containers),
      paths_(containers.size()),
      eventPaths_(containers.size()) {
  placeEvents();
  placeAlbums();
}

bool ExportFolders::isAlbum(std::size_t container) const {
  const Kind kind = containers_[container].kind;
  return kind == Kind::Album || kind == Kind::SmartAlbum || kind == Kind::Other;
}

std::string ExportFolders::pathOf(const std::string& key, const std::string& parent, std::string_view name,
                                  bool isList) {
  if (auto known = context_.state.folderOf(library_.id, key)) return *known;
  const std::string legal = orUntitled(legalName(name, kLongestFolder));
  for (int number = 1;; ++number) {
    std::string path = joined(parent, numbered(legal, number, kLongestFolder + 10));
    const std::string whole = library_.folder + path;
    // The folders of links, and the lists, are named together.
    if (context_.state.isClaimed(whole) || (isList && context_.state.isClaimed(whole + ".m3u8"))) continue;
    context_.state.claim(whole);
    if (isList) context_.state.claim(whole + ".m3u8");
    context_.state.setFolder(library_.id, key, path);
    return path;
  }
}

// Folders that a user made take the place of the years.
std::string ExportFolders::parentOfEvent(const LibraryContainer& event) const {
  if (event.parent != LibraryContainer::kNoParent && !eventPaths_[event.parent].empty())
    return eventPaths_[event.parent];
  if (event.kind == Kind::Folder) return "Events";
  const auto day = event.firstDate ? dayText(*event.firstDate) : std::nullopt;
  return joined("Events", day ? day->substr(0, 4) : kNoDate);
}

void ExportFolders::placeEvents() {
  for (std::size_t i = 0; i < containers_.size(); ++i) {
    const LibraryContainer& each = containers_[i];
    if (each.kind == Kind::Event) events_.emplace(each.uuid, i);
    if (context_.options.layout != ExportOptions::Layout::Events) continue;
    if (each.kind != Kind::Event && !(each.kind == Kind::Folder && each.isAmongEvents)) continue;
    const std::string parent = parentOfEvent(each);
    const std::string name = each.kind == Kind::Event ? eventName(each) : each.name;
    // Events of one name and date do not merge.
    eventPaths_[i] = each.kind == Kind::Folder && parent.size() > kLongestPath
                         ? parent
                         : pathOf("E:" + each.uuid, parent, name, false);
  }
}

void ExportFolders::placeAlbums() {
  for (std::size_t i = 0; i < containers_.size(); ++i) {
    const LibraryContainer& each = containers_[i];
    const bool hasParent = each.parent != LibraryContainer::kNoParent;
    const std::string parent = hasParent ? paths_[each.parent] : "Albums";
    const std::string name =
        each.name.empty() && each.firstDate ? dayText(*each.firstDate).value_or(std::string()) : each.name;
    paths_[i] = !isAlbum(i) && parent.size() > kLongestPath
                    ? parent
                    : pathOf("A:" + each.uuid, parent, name, isAlbum(i));
  }
}

std::vector<std::string> ExportFolders::albumNames(std::size_t container) const {
  std::vector<std::string> names;
  for (std::size_t at = container; at != LibraryContainer::kNoParent; at = containers_[at].parent) {
    names.push_back(containers_[at].name.empty() ? kUntitled : containers_[at].name);
  }
  std::reverse(names.begin(), names.end());
  return names;
}

std::string ExportFolders::folderOf(const PhotoFacts& photo) const {
  std::string path;
  const auto day = photo.wallClock ? dayText(*photo.wallClock) : std::nullopt;
  if (context_.options.layout == ExportOptions::Layout::Dates) {
    path = "Dates/" + (day ? day->substr(0, 4) + "/" + *day : std::string(kNoDate));
  } else {
    const auto event = events_.find(photo.eventUuid);
    if (event != events_.end()) path = eventPaths_[event->second];
    if (path.empty()) path = std::string("Events/") + kNoEvent;
  }
  const bool isSeparate = photo.isHidden && context_.options.hidden == ExportOptions::Hidden::Separate;
  const std::size_t slash = path.find('/');
  if (photo.isInTrash)
    path = "Trash" + path.substr(slash);
  else if (isSeparate)
    path = "Hidden" + path.substr(slash);
  return library_.folder + path;
}

}  // namespace moxtel
