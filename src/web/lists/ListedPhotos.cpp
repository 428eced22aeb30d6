#include "web/lists/ListedPhotos.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "web/api/Json.h"

namespace moxtel {

namespace {

constexpr std::uint16_t kShownFlags = PhotoColumns::kMovie | PhotoColumns::kFlagged | PhotoColumns::kRaw |
                                      PhotoColumns::kEdited | PhotoColumns::kLive | PhotoColumns::kReferenced;
constexpr std::uint32_t kRejected = 64;
constexpr int kRatingShift = 8;

// Writes "name":[…] into an object.
class NumberColumn final {
 public:
  NumberColumn(std::string& out, std::string_view name) : out_(out) {
    if (out_.back() != '{') out_ += ',';
    out_.append("\"").append(name).append("\":[");
  }
  void add(std::int64_t number) {
    char digits[24];
    comma();
    out_.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
  }
  void addNull() {
    comma();
    out_ += "null";
  }
  void end() { out_ += ']'; }

 private:
  void comma() {
    if (!std::exchange(isFirst_, false)) out_ += ',';
  }
  std::string& out_;
  bool isFirst_ = true;
};

// Numbers as differences; the first as it is.
class Differences final {
 public:
  explicit Differences(NumberColumn& column) : column_(column) {}
  void add(std::int64_t number) { column_.add(number - std::exchange(last_, number)); }

 private:
  NumberColumn& column_;
  std::int64_t last_ = 0;
};

std::uint32_t shownFlags(const PhotoColumns& photos, std::size_t index) {
  const std::int8_t rating = photos.rating[index];
  const auto stars = static_cast<std::uint32_t>(std::clamp<int>(rating, 0, 5));
  return (photos.flags[index] & kShownFlags) | (rating < 0 ? kRejected : 0) | stars << kRatingShift;
}

}  // namespace

bool admits(const ListFilters& filters, const PhotoColumns& photos, std::size_t index) {
  const int rating = photos.rating[index];
  if (rating < 0 && !filters.rejected) return false;
  if (filters.flagged && !photos.has(index, PhotoColumns::kFlagged)) return false;
  if (filters.movies && !photos.has(index, PhotoColumns::kMovie)) return false;
  if (filters.atLeast && *filters.atLeast > 0 && rating < *filters.atLeast) return false;
  if (filters.stars && rating != *filters.stars) return false;
  return !filters.label || photos.colorLabel[index] == *filters.label;
}

ListedPhotos::ListedPhotos(std::shared_ptr<const DateOrder> order, std::vector<std::uint32_t> photos,
                           bool byDate, const ListFilters& filters, Name name)
    : order_(std::move(order)), photos_(std::move(photos)), byDate_(byDate), name_(std::move(name)) {
  std::erase_if(photos_, [&](std::uint32_t index) { return !admits(filters, order_->photos(), index); });
  photos_.shrink_to_fit();
  if (byDate_ && filters.newestFirst) reverse();
  sections_ = makeSections();
}

// Photos without a date stay last.
void ListedPhotos::reverse() {
  const auto undated = std::find_if(photos_.begin(), photos_.end(), [this](std::uint32_t index) {
    return !shownDate(order_->photos(), index);
  });
  std::reverse(photos_.begin(), undated);
}

std::string ListedPhotos::makeSections() const {
  std::vector<std::pair<std::optional<std::int64_t>, std::int64_t>> sections;  // day and number
  for (const std::uint32_t index : photos_) {
    const auto date = byDate_ ? shownDate(order_->photos(), index) : std::nullopt;
    const auto day = date ? std::optional(dayOf(*date)) : std::nullopt;
    if (sections.empty() || sections.back().first != day) sections.emplace_back(day, 0);
    ++sections.back().second;
  }
  std::string json = "{\"list\":" + jsonText(name_.address) + ",\"title\":" + jsonText(name_.title) +
                     ",\"count\":" + std::to_string(photos_.size()) + ",\"page\":" + std::to_string(kPage) +
                     ",\"version\":" + jsonText(name_.version);
  NumberColumn days(json, "day");
  Differences differences(days);
  for (const auto& [day, number] : sections) day ? differences.add(*day) : days.addNull();
  days.end();
  NumberColumn numbers(json, "n");
  for (const auto& [day, number] : sections) numbers.add(number);
  numbers.end();
  return json += '}';
}

std::optional<std::string> ListedPhotos::pageJson(std::size_t page) const {
  if (page >= (photos_.size() + kPage - 1) / kPage) return std::nullopt;
  const std::size_t first = page * kPage;
  const std::span<const std::uint32_t> indexes(photos_.data() + first,
                                               std::min(kPage, photos_.size() - first));
  const PhotoColumns& photos = order_->photos();
  std::string json = "{";
  NumberColumn ids(json, "id");
  Differences idDifferences(ids);
  for (const std::uint32_t index : indexes) idDifferences.add(photos.modelId[index]);
  ids.end();
  NumberColumn dates(json, "date");
  Differences dateDifferences(dates);
  for (const std::uint32_t index : indexes) {
    const auto date = shownDate(photos, index);
    date ? dateDifferences.add(*date) : dates.addNull();
  }
  dates.end();
  const auto write = [&](std::string_view name, auto number) {
    NumberColumn column(json, name);
    for (const std::uint32_t index : indexes) column.add(number(index));
    column.end();
  };
  write("width", [&](std::uint32_t index) { return photos.width[index]; });
  write("height", [&](std::uint32_t index) { return photos.height[index]; });
  write("flags", [&](std::uint32_t index) { return shownFlags(photos, index); });
  return json += '}';
}

std::optional<std::size_t> ListedPhotos::placeOf(std::int64_t modelId) const {
  const auto index = order_->photos().find(modelId);
  if (!index) return std::nullopt;
  const auto found = std::find(photos_.begin(), photos_.end(), static_cast<std::uint32_t>(*index));
  if (found == photos_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - photos_.begin());
}

}  // namespace moxtel
