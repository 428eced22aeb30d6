#include "web/api/LibraryJson.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "library/answers/LibraryLists.h"
#include "platform/files/Files.h"
#include "web/api/Json.h"
#include "web/lists/DateOrder.h"
#include "web/lists/SearchQuery.h"

namespace moxtel {

namespace {

using Json = nlohmann::ordered_json;
constexpr std::size_t kMostSuggestions = 12;

std::string textOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

std::string listText(const PhotoList& list) {
  ListAddress address;
  address.id = list.modelId;
  switch (list.kind) {
    case PhotoList::Kind::Album:
      address.kind = ListAddress::Kind::Album;
      break;
    case PhotoList::Kind::Folder:
      address.kind = ListAddress::Kind::Folder;
      break;
    case PhotoList::Kind::Event:
      address.kind = ListAddress::Kind::Event;
      break;
    case PhotoList::Kind::Person:
      address.kind = ListAddress::Kind::Person;
      break;
    case PhotoList::Kind::Keyword:
      address.kind = ListAddress::Kind::Keyword;
      break;
  }
  return address.text();
}

std::string personText(const LibraryPerson& person) {
  return listText({PhotoList::Kind::Person, person.modelId});
}

std::string keywordText(const Keyword& keyword) {
  return listText({PhotoList::Kind::Keyword, keyword.modelId});
}

std::string kindText(const LibraryContainer& container, bool hasProjects) {
  switch (container.kind) {
    case LibraryContainer::Kind::Album:
      return "album";
    case LibraryContainer::Kind::SmartAlbum:
      return "smart";
    case LibraryContainer::Kind::Other:
      return "other";
    case LibraryContainer::Kind::Folder:
      return "folder";
    case LibraryContainer::Kind::Event:
      break;
  }
  return hasProjects ? "project" : "event";
}

bool hasProjects(OpenLibrary& open) { return shownKind(open) == "Aperture"; }

Json dayJson(const std::optional<std::int64_t>& date) { return date ? Json(dayOf(*date)) : Json(); }

// Whether a person has a tile: one whose photos are all rejected is found on them alone.
bool isShown(const LibraryPerson& person) { return person.count > 0; }

Json searchJson(const SearchIndex::Progress& progress) {
  switch (progress.state) {
    case SearchIndex::State::None:
      return "none";
    case SearchIndex::State::Building:
      return "building";
    case SearchIndex::State::Ready:
      break;
  }
  return "ready";
}

void addCounts(Json& json, const DateOrder& order) {
  const PhotoColumns& photos = order.photos();
  std::int64_t shown = 0, movies = 0, rejected = 0;
  for (const std::uint32_t index : order.all()) {
    const bool isRejected = photos.rating[index] < 0;
    isRejected ? ++rejected : ++shown;
    if (!isRejected && photos.has(index, PhotoColumns::kMovie)) ++movies;
  }
  json["photos"] = shown;
  json["movies"] = movies;
  json["rejected"] = rejected;
}

// Every word of the search is the beginning of a word of the name.
bool suggests(const std::vector<std::string>& wanted, const std::string& name) {
  if (name.empty()) return false;
  const std::vector<std::string> words = searchWords(name);
  return std::all_of(wanted.begin(), wanted.end(), [&](const std::string& each) {
    return std::any_of(words.begin(), words.end(),
                       [&](const std::string& word) { return word.starts_with(each); });
  });
}

class Suggestions final {
 public:
  explicit Suggestions(const std::string& words) : wanted_(searchWords(words)) {}
  bool wantsMore() const { return !wanted_.empty() && lists_.size() < kMostSuggestions; }
  void offer(const std::string& list, const std::string& name, const char* kind,
             std::optional<std::size_t> count) {
    if (!wantsMore() || !suggests(wanted_, name)) return;
    lists_.push_back({{"list", list}, {"name", name}, {"kind", kind}});
    if (count) lists_.back()["count"] = *count;
  }
  std::string text() const { return textOf({{"lists", lists_}}); }

 private:
  const std::vector<std::string> wanted_;
  Json lists_ = Json::array();
};

}  // namespace

std::string nameOfLibraryFolder(const std::string& path) {
  constexpr const char* kExtensions[] = {".photolibrary", ".photoslibrary", ".aplibrary",
                                         ".migratedphotolibrary", ".migratedaplibrary"};
  const std::filesystem::path name = std::filesystem::path(path).filename();
  const std::string extension = name.extension().string();
  const bool isKnown = std::any_of(std::begin(kExtensions), std::end(kExtensions),
                                   [&](const char* each) { return extension == each; });
  return isKnown ? name.stem().string() : name.string();
}

std::string shownKind(OpenLibrary& open) {
  switch (open.kind()) {
    case LibraryKind::None:
      return {};
    case LibraryKind::Photos4:
    case LibraryKind::Photos5:
      return "Photos";
    case LibraryKind::OlderAperture:
      return "Aperture";
    case LibraryKind::AlbumDataOnly:
      return "iPhoto";
    case LibraryKind::IPhoto:
      break;
  }
  if (open.isOfPhotos1()) return "Photos";
  const std::string& path = open.path();
  // Aperture puts these files into its libraries.
  const bool isAperture = stampOf(path + "/ApertureData.xml").kind != FileStamp::Kind::Missing ||
                          stampOf(path + "/Aperture.aplib").kind != FileStamp::Kind::Missing;
  return isAperture ? "Aperture" : "iPhoto";
}

std::string libraryJson(OpenWebLibrary& library, OpenLibrary& open, bool canDecode) {
  Json json{{"id", library.id()}, {"name", nameOfLibraryFolder(library.path())}};
  const auto order =
      open.state() == OpenLibrary::State::Ready ? library.orderOf(open) : std::shared_ptr<const DateOrder>();
  const bool isAway = open.state() == OpenLibrary::State::Away;
  json["kind"] = shownKind(open);
  json["state"] = order ? "ready" : isAway ? "away" : "unreadable";
  json["version"] = versionText(open.version());
  if (!order) return textOf(json);
  library.search().want(versionText(open.version()));
  library.setTotals(totalsOf(*order));
  addCounts(json, *order);
  json["events"] = hasProjects(open) ? "projects" : "events";
  json["people"] = std::ranges::any_of(open.lists().people(), isShown);
  json["keywords"] = !open.lists().keywords().all().empty();
  const SearchIndex::Progress progress = library.search().progress();
  json["search"] = searchJson(progress);
  json["searchDone"] = progress.percent;
  json["pictures"] = canDecode ? "all" : "jpeg";
  return textOf(json);
}

std::string albumsJson(OpenWebLibrary&, OpenLibrary& open) {
  const bool projects = hasProjects(open);
  const auto& containers = open.lists().containers();
  const auto isListed = [&](const LibraryContainer& each) { return projects || !each.isAmongEvents; };
  Json albums = Json::array();
  for (const LibraryContainer& each : containers) {
    if (!isListed(each)) continue;
    const bool hasParent = each.parent != LibraryContainer::kNoParent && isListed(containers[each.parent]);
    Json album{{"list", listText(each.list())},
               {"kind", kindText(each, projects)},
               {"name", each.name},
               {"parent", hasParent ? listText(containers[each.parent].list()) : ""},
               {"count", each.count},
               {"key", each.keyPhoto}};
    if (!each.note.empty()) album["note"] = each.note;
    albums.push_back(std::move(album));
  }
  return textOf({{"version", versionText(open.version())}, {"albums", albums}});
}

std::string eventsJson(OpenWebLibrary&, OpenLibrary& open) {
  const auto& containers = open.lists().containers();
  Json events = Json::array();
  for (const LibraryContainer& each : containers) {
    if (each.kind != LibraryContainer::Kind::Event) continue;
    const bool hasParent = each.parent != LibraryContainer::kNoParent;
    Json event{{"list", listText(each.list())},
               {"name", each.name},
               {"count", each.count},
               {"key", each.keyPhoto},
               {"first", dayJson(each.firstDate)},
               {"last", dayJson(each.lastDate)},
               {"parent", hasParent ? listText(containers[each.parent].list()) : ""}};
    if (!each.note.empty()) event["note"] = each.note;
    events.push_back(std::move(event));
  }
  return textOf({{"version", versionText(open.version())}, {"events", events}});
}

std::string peopleJson(OpenWebLibrary&, OpenLibrary& open) {
  Json people = Json::array();
  for (const LibraryPerson& person : open.lists().people()) {
    if (!isShown(person)) continue;
    people.push_back({{"list", personText(person)},
                      {"name", person.name},
                      {"count", person.count},
                      {"key", person.keyPhoto},
                      {"face", person.faceIndex}});
  }
  return textOf({{"version", versionText(open.version())}, {"people", people}});
}

std::string keywordsJson(OpenWebLibrary&, OpenLibrary& open) {
  const auto& all = open.lists().keywords().all();
  Json keywords = Json::array();
  for (const Keyword& keyword : all) {
    const bool hasParent = keyword.parent != Keyword::kNoParent;
    keywords.push_back({{"list", keywordText(keyword)},
                        {"name", keyword.name},
                        {"parent", hasParent ? keywordText(all[keyword.parent]) : ""},
                        {"count", keyword.count}});
  }
  return textOf({{"version", versionText(open.version())}, {"keywords", keywords}});
}

std::string suggestionsJson(OpenWebLibrary& library, OpenLibrary& open, const std::string& words) {
  Suggestions suggestions(words);
  if (!suggestions.wantsMore()) return suggestions.text();
  for (const LibraryPerson& each : open.lists().people())
    if (isShown(each)) suggestions.offer(personText(each), each.name, "person", each.count);
  for (const LibraryContainer& each : open.lists().containers()) {
    const char* kind = each.kind == LibraryContainer::Kind::Event    ? "event"
                       : each.kind == LibraryContainer::Kind::Folder ? "folder"
                                                                     : "album";
    suggestions.offer(listText(each.list()), each.name, kind, each.count);
  }
  for (const Keyword& each : open.lists().keywords().all())
    suggestions.offer(keywordText(each), each.name, "keyword", each.count);
  // What the search will find is known when it is made.
  for (const IndexedPlace& each : library.search().places())
    suggestions.offer("search:" + each.name, each.name, "place", std::nullopt);
  return suggestions.text();
}

}  // namespace moxtel
