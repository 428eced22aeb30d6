#include "library/facts/FactNames.h"

#include "library/FolderPhotos.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"

namespace moxtel {

namespace {

constexpr SqlText kPersons = "SELECT faceKey,modelId,name FROM RKFaceName";
constexpr SqlText kEvents = "SELECT uuid,modelId,name FROM RKFolder WHERE folderType = 2";
constexpr SqlText kVolumes = "SELECT uuid,name FROM RKVolume";
constexpr SqlText kPlace = "SELECT type,defaultName FROM RKPlace WHERE modelId = %lld";

constexpr std::size_t kMostPersons = 100'000;
constexpr std::size_t kMostVolumes = 10'000;
constexpr std::size_t kMostKeptPlaces = 100'000;

// RKPlace.type
constexpr std::int32_t kCountry = 1;
constexpr std::int32_t kState = 2;
constexpr std::int32_t kCity = 16;
constexpr std::int32_t kSpot = 45;

}  // namespace

FactNames::FactNames(LibraryDatabases& databases) : databases_(databases) {}

const KeywordTree& FactNames::keywords() {
  if (!keywords_) keywords_.emplace(databases_);
  return *keywords_;
}

const FactNames::Person* FactNames::person(std::int64_t faceKey) {
  if (!persons_) {
    persons_.emplace();
    Query row = databases_.runUnlogged(DatabaseFile::Faces, kPersons, {});
    while (persons_->size() < kMostPersons && row.step()) {
      Person person{row.integer64Column(1), textOf(row, 2)};
      if (!person.name.empty()) persons_->try_emplace(row.integer64Column(0), std::move(person));
    }
  }
  const auto found = persons_->find(faceKey);
  return found == persons_->end() ? nullptr : &found->second;
}

const FactNames::Event* FactNames::event(std::string_view uuid) {
  if (!events_) {
    events_.emplace();
    const auto trashed = foldersInTrash(databases_);
    Query row = databases_.runUnlogged(DatabaseFile::Library, kEvents, {});
    while (row.step()) {
      std::string id = textOf(row, 0);
      const bool inTrash = trashed.contains(id);
      events_->try_emplace(std::move(id), Event{row.integer64Column(1), textOf(row, 2), inTrash});
    }
  }
  const auto found = events_->find(std::string(uuid));
  return found == events_->end() ? nullptr : &found->second;
}

std::string FactNames::volume(std::string_view uuid) {
  if (!volumes_) {
    volumes_.emplace();
    Query row = databases_.runUnlogged(DatabaseFile::Library, kVolumes, {});
    while (volumes_->size() < kMostVolumes && row.step())
      volumes_->try_emplace(textOf(row, 0), textOf(row, 1));
  }
  const auto found = volumes_->find(std::string(uuid));
  return found == volumes_->end() ? std::string() : found->second;
}

void FactNames::addPlace(std::int64_t placeId, PlaceFacts& facts) {
  auto found = places_.find(placeId);
  if (found == places_.end()) {
    if (places_.size() >= kMostKeptPlaces) places_.clear();
    Query row = databases_.runUnlogged(DatabaseFile::Properties, kPlace, {placeId});
    Place place;
    if (row.step()) place = {row.integerColumn(0), textOf(row, 1)};
    found = places_.emplace(placeId, std::move(place)).first;
  }
  const Place& place = found->second;
  if (place.type == kCountry) facts.country = place.name;
  if (place.type == kState) facts.state = place.name;
  if (place.type == kCity) facts.city = place.name;
  if (place.type == kSpot) facts.spot = place.name;
}

}  // namespace moxtel
