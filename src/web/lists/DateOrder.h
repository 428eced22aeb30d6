// The photos of a library that the page may show, in the order of their dates. Immutable; any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "library/facts/PhotoColumns.h"

namespace moxtel {

// Whether a date, seconds since 1970 as if UTC, is within the years 1 to 9999.
bool isShownDate(std::int64_t date);
// The date of a photo, by its index, for the page: wall clock, seconds since 1970 as if UTC. Nothing without
// a date, and for one outside the years 1 to 9999.
std::optional<std::int64_t> shownDate(const PhotoColumns& photos, std::size_t index);
// Days since 1970-01-01 of such a date.
std::int64_t dayOf(std::int64_t date);
int yearOf(std::int64_t date);

class DateOrder final {
 public:
  explicit DateOrder(std::shared_ptr<const PhotoColumns> photos);

  const PhotoColumns& photos() const { return *photos_; }
  const std::shared_ptr<const PhotoColumns>& sharedPhotos() const { return photos_; }
  // Indexes into the columns: the oldest photo first, those without a date last, equal ones by model id.
  // Hidden photos are left out, rejected ones are not.
  std::span<const std::uint32_t> all() const { return order_; }
  // Of these photos the ones that are shown, each once, in this order. The indexes are valid.
  std::vector<std::uint32_t> sorted(std::span<const std::uint32_t> indexes) const;
  // Whether the photos are in this order. Each index is of a shown photo.
  bool isSorted(std::span<const std::uint32_t> indexes) const;

 private:
  std::shared_ptr<const PhotoColumns> photos_;
  std::vector<std::uint32_t> order_;
};

// What a library's card says: how many photos are shown, and the years of the first and the last one.
struct LibraryTotals {
  std::int64_t photos = 0;
  std::optional<int> first, last;
};
LibraryTotals totalsOf(const DateOrder& order);

// The indexes of model ids, in their order, unknown and hidden ones left out.
std::vector<std::uint32_t> indexesOf(const PhotoColumns& photos, std::span<const std::int64_t> modelIds);

}  // namespace moxtel
