#include "web/search/PhotoWords.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <tuple>

#include "library/answers/AlbumMembership.h"
#include "library/answers/LibraryLists.h"
#include "library/answers/OpenLibrary.h"
#include "web/lists/DateOrder.h"
#include "web/lists/SearchQuery.h"

namespace moxtel {

namespace {

constexpr std::size_t kMostKeptTexts = 50'000;

// In English and German, as folded.
constexpr std::array<const char*, 12> kMonths{
    "january januar", "february februar", "march marz", "april",           "may mai",  "june juni",
    "july juli",      "august",           "september",  "october oktober", "november", "december dezember"};

std::string joined(std::string_view text) {
  std::string line;
  for (const std::string& word : searchWords(text)) {
    if (line.size() + word.size() >= PhotoWords::kMostBytes) break;
    line.append(line.empty() ? "" : " ").append(word);
  }
  return line;
}

void append(std::string& words, std::string_view more) {
  if (more.empty() || words.size() + more.size() >= PhotoWords::kMostBytes) return;
  words.append(words.empty() ? "" : " ").append(more);
}

}  // namespace

PhotoWords::PhotoWords(OpenLibrary& library) : photos_(library.columns()) {
  if (photos_) readMembers(library);
}

void PhotoWords::readMembers(OpenLibrary& library) {
  for (const LibraryContainer& each : library.lists().containers()) {
    const bool isAlbum =
        each.kind == LibraryContainer::Kind::Album || each.kind == LibraryContainer::Kind::SmartAlbum;
    if (!isAlbum || each.name.empty() || members_.size() >= kMostMembers) continue;
    const auto members = library.membership().membersOf(each.list());
    library.releaseLocks();
    if (!members) continue;
    names_.push_back(joined(each.name));
    for (const std::uint32_t photo : indexesOf(*photos_, *members))
      members_.push_back({photo, static_cast<std::uint32_t>(names_.size() - 1)});
  }
  std::sort(members_.begin(), members_.end(), [](const Membership& a, const Membership& b) {
    return std::tie(a.photo, a.album) < std::tie(b.photo, b.album);
  });
}

const IndexedWords& PhotoWords::of(const PhotoFacts& photo) {
  for (std::string* each : {&words_.other, &words_.keywords, &words_.people, &words_.albums}) each->clear();
  addText(words_.other, photo.title);
  addText(words_.other, photo.fileName);
  addText(words_.other, photo.caption);
  if (photo.wallClock && isShownDate(*photo.wallClock)) addDate(*photo.wallClock);
  addPlace(photo.place);
  for (const std::string* each : {&photo.camera.make, &photo.camera.model, &photo.camera.lens})
    addName(words_.other, *each);
  for (const KeywordFact& keyword : photo.keywords)
    for (const std::string& name : keyword.path) addName(words_.keywords, name);
  for (const FaceFact& face : photo.faces) addName(words_.people, face.name);
  addName(words_.albums, photo.eventName);
  addAlbums(photo.modelId);
  return words_;
}

void PhotoWords::addText(std::string& words, std::string_view text) {
  if (!text.empty()) append(words, joined(text.substr(0, kMostBytes)));
}

void PhotoWords::addName(std::string& words, const std::string& name) {
  if (name.empty()) return;
  if (folded_.size() >= kMostKeptTexts) folded_.clear();
  const auto [kept, isNew] = folded_.try_emplace(name);
  if (isNew) kept->second = joined(std::string_view(name).substr(0, kMostBytes));
  append(words, kept->second);
}

void PhotoWords::addPlace(const PlaceFacts& place) {
  for (const std::string* each : {&place.country, &place.state, &place.city, &place.spot}) {
    if (each->empty()) continue;
    addName(words_.other, *each);
    if (places_.size() < PhotoIndex::kMostPlaces || places_.contains(*each)) ++places_[*each];
  }
}

std::vector<IndexedPlace> PhotoWords::places() const {
  std::vector<IndexedPlace> places;
  for (const auto& [name, photos] : places_) places.push_back({name, photos});
  std::sort(places.begin(), places.end(),
            [](const IndexedPlace& a, const IndexedPlace& b) { return a.name < b.name; });
  return places;
}

void PhotoWords::addDate(std::int64_t wallClock) {
  const std::chrono::sys_days day{std::chrono::days(dayOf(wallClock))};
  const std::chrono::year_month_day date(day);
  append(words_.other, std::to_string(static_cast<int>(date.year())));
  append(words_.other, kMonths[static_cast<unsigned>(date.month()) - 1]);
}

void PhotoWords::addAlbums(std::int64_t modelId) {
  if (!photos_) return;
  while (nextPhoto_ < photos_->size() && photos_->modelId[nextPhoto_] < modelId) ++nextPhoto_;
  while (nextMember_ < members_.size() && members_[nextMember_].photo < nextPhoto_) ++nextMember_;
  if (nextPhoto_ == photos_->size() || photos_->modelId[nextPhoto_] != modelId) return;
  for (std::size_t i = nextMember_; i < members_.size() && members_[i].photo == nextPhoto_; ++i)
    append(words_.albums, names_[members_[i].album]);
}

}  // namespace moxtel
