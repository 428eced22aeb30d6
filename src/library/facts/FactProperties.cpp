#include "library/facts/FactProperties.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"
#include "library/facts/FactQueries.h"

namespace moxtel {

namespace {

bool isBlank(const std::string& text) { return text.find_first_not_of(" \t\r\n") == std::string::npos; }

// The value of the first of several keys.
std::string textFor(const FactTexts& texts, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    const auto found =
        std::find_if(texts.begin(), texts.end(), [key](const auto& each) { return each.first == key; });
    if (found != texts.end()) return found->second;
  }
  return {};
}

std::optional<double> numberFor(const FactNumbers& numbers, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    const auto found =
        std::find_if(numbers.begin(), numbers.end(), [key](const auto& each) { return each.first == key; });
    if (found != numbers.end()) return found->second;
  }
  return std::nullopt;
}

std::optional<double> ifPositive(std::optional<double> number) {
  return number && *number > 0 ? number : std::nullopt;
}

void addCamera(PhotoFacts& photo) {
  CameraFacts& camera = photo.camera;
  camera.make = textFor(photo.exifTexts, {"Make"});
  camera.model = textFor(photo.exifTexts, {"Model"});
  camera.lens = textFor(photo.exifTexts, {"LensModel", "Lens", "LensInfo"});
  camera.aperture = ifPositive(numberFor(photo.exifNumbers, {"FNumber", "ApertureValue"}));
  camera.exposureTime = ifPositive(numberFor(photo.exifNumbers, {"ExposureTime", "ShutterSpeed"}));
  camera.iso = ifPositive(numberFor(photo.exifNumbers, {"ISOSpeedRating", "ISOSpeedRatings"}));
  camera.focalLength = ifPositive(numberFor(photo.exifNumbers, {"FocalLength"}));
  camera.flash = numberFor(photo.exifNumbers, {"Flash"});
  camera.exposureBias = numberFor(photo.exifNumbers, {"ExposureBiasValue"});
}

void orElse(std::string& text, std::string other) {
  if (text.empty()) text = std::move(other);
}

void addMeanings(PhotoFacts& photo) {
  photo.caption = textFor(photo.iptc, {"Caption/Abstract"});
  photo.creator = textFor(photo.iptc, {"Byline"});
  photo.rights = textFor(photo.iptc, {"CopyrightNotice"});
  orElse(photo.place.country, textFor(photo.iptc, {"Country/PrimaryLocationName"}));
  orElse(photo.place.state, textFor(photo.iptc, {"Province/State"}));
  orElse(photo.place.city, textFor(photo.iptc, {"City"}));
  orElse(photo.place.spot, textFor(photo.iptc, {"SubLocation"}));
  if (photo.latitude) photo.altitude = numberFor(photo.exifNumbers, {"Altitude"});
}

class PropertyReading final {
 public:
  PropertyReading(LibraryDatabases& databases, std::int64_t first, std::int64_t last,
                  std::vector<PhotoFacts>& photos)
      : databases_(databases), first_(first), last_(last), photos_(photos) {}

  bool read() {
    bool complete = readTexts(fact_query::kIptc, &PhotoFacts::iptc);
    complete = readTexts(fact_query::kExifTexts, &PhotoFacts::exifTexts) && complete;
    complete = readNumbers() && complete;
    for (PhotoFacts& photo : photos_) {
      addMeanings(photo);
      addCamera(photo);
    }
    return complete;
  }

 private:
  Query ofRange(SqlText sql) {
    return databases_.runUnlogged(DatabaseFile::Properties, sql, {first_, last_});
  }
  PhotoFacts* find(std::int64_t modelId) {
    const auto found =
        std::lower_bound(photos_.begin(), photos_.end(), modelId,
                         [](const PhotoFacts& photo, std::int64_t id) { return photo.modelId < id; });
    return found == photos_.end() || found->modelId != modelId ? nullptr : &*found;
  }

  bool readTexts(SqlText sql, FactTexts PhotoFacts::*texts) {
    Query row = ofRange(sql);
    while (row.step()) {
      PhotoFacts* photo = find(row.integer64Column(0));
      if (!photo || (photo->*texts).size() >= kMostFactsOfAPhoto) continue;
      std::string text = withoutStrayIsolates(textOf(row, 2));
      if (!isBlank(text)) (photo->*texts).emplace_back(textOf(row, 1), std::move(text));
    }
    for (PhotoFacts& photo : photos_) std::stable_sort((photo.*texts).begin(), (photo.*texts).end());
    return !row.failed();
  }

  bool readNumbers() {
    Query row = ofRange(fact_query::kExifNumbers);
    while (row.step()) {
      PhotoFacts* photo = find(row.integer64Column(0));
      const auto number = realOf(row, 2);
      if (!photo || !number || photo->exifNumbers.size() >= kMostFactsOfAPhoto) continue;
      photo->exifNumbers.emplace_back(textOf(row, 1), *number);
    }
    for (PhotoFacts& photo : photos_) std::stable_sort(photo.exifNumbers.begin(), photo.exifNumbers.end());
    return !row.failed();
  }

  LibraryDatabases& databases_;
  const std::int64_t first_;
  const std::int64_t last_;
  std::vector<PhotoFacts>& photos_;
};

}  // namespace

bool addProperties(LibraryDatabases& databases, std::int64_t first, std::int64_t last,
                   std::vector<PhotoFacts>& photos) {
  return PropertyReading(databases, first, last, photos).read();
}

// In UTF-8 all four are E2 81 and A6, A7, A8 (which open) or A9 (which closes).
std::string withoutStrayIsolates(std::string text) {
  constexpr std::string_view kBegin = "\xE2\x81";
  int open = 0;
  bool balanced = true;
  std::vector<std::size_t> places;
  for (std::size_t at = text.find(kBegin); at != std::string::npos; at = text.find(kBegin, at + 1)) {
    const auto last = at + 2 < text.size() ? static_cast<unsigned char>(text[at + 2]) : 0;
    if (last < 0xA6 || last > 0xA9) continue;
    places.push_back(at);
    open += last == 0xA9 ? -1 : 1;
    balanced = balanced && open >= 0;
  }
  if (balanced && open == 0) return text;
  for (auto place = places.rbegin(); place != places.rend(); ++place) text.erase(*place, 3);
  return text;
}

}  // namespace moxtel
