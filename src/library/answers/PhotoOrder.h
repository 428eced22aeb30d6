// The order in which the photo application shows the photos of a container. Any thread.
//
// RKAlbum.sortKeyPath holds the keys, joined by "&", and sortAscending the direction, 0 for descending. Known
// are "exifProperties.ImageDate", "basicProperties.projectDate", "basicProperties.VersionName",
// "basicProperties.MainRating" and those that begin with "custom" (the user's own order, RKCustomSortOrder);
// other keys are passed over. Equal photos follow each other by their model id.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// One photo with what it may be sorted by. Fields that the order does not use are not filled in.
struct SortedPhoto {
  std::int64_t modelId = 0;
  Text uuid;
  double date = 0;         // seconds since 2001-01-01 UTC
  double projectDate = 0;  // of the earliest photo of its project
  std::int32_t rating = 0;
  double place = 0;  // in the user's own order
  std::string name;
};

class PhotoOrder final {
 public:
  enum class Key : std::uint8_t { Date, ProjectDate, Name, Rating, Custom };

  PhotoOrder() = default;
  PhotoOrder(std::string_view sortKeyPath, bool ascending);

  bool uses(Key key) const;
  // Without any known key, photos follow each other by their model id only.
  bool hasKeys() const { return !keys_.empty(); }
  // Whether the photos of one project are sorted by ascending date, as far as is known: their project date is
  // the same.
  bool isByDateInProject() const;
  bool precedes(const SortedPhoto& a, const SortedPhoto& b) const;
  void sort(std::vector<SortedPhoto>& photos) const;

 private:
  std::vector<Key> keys_;
  bool ascending_ = true;
};

}  // namespace moxtel
