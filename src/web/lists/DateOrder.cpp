#include "web/lists/DateOrder.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace moxtel {

namespace {

constexpr std::int64_t kSecondsOfADay = 86'400;
constexpr std::int64_t kEarliest = -62'135'596'800;  // 0001-01-01
constexpr std::int64_t kLatest = 253'402'300'799;    // 9999-12-31

using DatedIndex = std::pair<std::int64_t, std::uint32_t>;

DatedIndex datedIndex(const PhotoColumns& photos, std::uint32_t index) {
  return {shownDate(photos, index).value_or(kLatest + 1), index};
}

// What only some lists show.
constexpr std::uint16_t kNotInAll = PhotoColumns::kHidden | PhotoColumns::kOnlyInAlbums;

}  // namespace

bool isShownDate(std::int64_t date) { return date >= kEarliest && date <= kLatest; }

std::optional<std::int64_t> shownDate(const PhotoColumns& photos, std::size_t index) {
  const std::int64_t date = photos.date[index];
  return isShownDate(date) ? std::optional(date) : std::nullopt;
}

std::int64_t dayOf(std::int64_t date) {
  return (date >= 0 ? date : date - (kSecondsOfADay - 1)) / kSecondsOfADay;
}

int yearOf(std::int64_t date) {
  const std::chrono::sys_days day{std::chrono::days(dayOf(date))};
  return static_cast<int>(std::chrono::year_month_day(day).year());
}

DateOrder::DateOrder(std::shared_ptr<const PhotoColumns> photos) : photos_(std::move(photos)) {
  std::vector<DatedIndex> dated;
  dated.reserve(photos_->size());
  for (std::uint32_t i = 0; i < photos_->size(); ++i) {
    if (!photos_->has(i, kNotInAll)) dated.push_back(datedIndex(*photos_, i));
  }
  std::sort(dated.begin(), dated.end());
  order_.reserve(dated.size());
  for (const auto& [date, index] : dated) order_.push_back(index);
}

std::vector<std::uint32_t> DateOrder::sorted(std::span<const std::uint32_t> indexes) const {
  std::vector<std::uint32_t> result;
  if (indexes.size() < order_.size() / 16) {
    std::vector<DatedIndex> dated;
    for (const std::uint32_t index : indexes) {
      if (!photos_->has(index, kNotInAll)) dated.push_back(datedIndex(*photos_, index));
    }
    std::sort(dated.begin(), dated.end());
    dated.erase(std::unique(dated.begin(), dated.end()), dated.end());
    for (const auto& [date, index] : dated) result.push_back(index);
    return result;
  }
  std::vector<bool> isMember(photos_->size());
  for (const std::uint32_t index : indexes) isMember[index] = true;
  result.reserve(indexes.size());
  std::copy_if(order_.begin(), order_.end(), std::back_inserter(result),
               [&](std::uint32_t index) { return isMember[index]; });
  return result;
}

bool DateOrder::isSorted(std::span<const std::uint32_t> indexes) const {
  return std::is_sorted(indexes.begin(), indexes.end(), [this](std::uint32_t a, std::uint32_t b) {
    return datedIndex(*photos_, a).first < datedIndex(*photos_, b).first;
  });
}

LibraryTotals totalsOf(const DateOrder& order) {
  LibraryTotals totals;
  const PhotoColumns& photos = order.photos();
  for (const std::uint32_t index : order.all()) {
    if (photos.rating[index] < 0) continue;
    ++totals.photos;
    const auto date = shownDate(photos, index);
    if (!date) continue;
    if (!totals.first) totals.first = yearOf(*date);
    totals.last = yearOf(*date);
  }
  return totals;
}

std::vector<std::uint32_t> indexesOf(const PhotoColumns& photos, std::span<const std::int64_t> modelIds) {
  std::vector<std::uint32_t> indexes;
  indexes.reserve(modelIds.size());
  std::size_t next = 0;  // neighbors in a list are often neighbors in the library
  for (const std::int64_t id : modelIds) {
    if (next >= photos.size() || photos.modelId[next] != id) {
      const auto found = photos.find(id);
      if (!found) continue;
      next = *found;
    }
    if (!photos.has(next, PhotoColumns::kHidden)) indexes.push_back(static_cast<std::uint32_t>(next));
    ++next;
  }
  return indexes;
}

}  // namespace moxtel
