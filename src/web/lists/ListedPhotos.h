// The photos of one list after its filters, and the JSON of its sections and pages. Immutable; any thread.
//
// A list has sections, one for each day, and pages of 1,000 photos by index; only the sections grow with the
// library. Numbers of a column are written as differences to the one before, which makes them short.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "web/lists/DateOrder.h"
#include "web/lists/ListAddress.h"

namespace moxtel {

class ListedPhotos final {
 public:
  static constexpr std::size_t kPage = 1'000;  // photos

  // What a list is called in its JSON.
  struct Name {
    std::string address;  // ListAddress::text()
    std::string title;    // UTF-8; empty where the page has a name of its own
    std::string version;  // letters and digits
  };

  // photos: indexes into the columns; shown ones, in the order of the list. byDate: they are in the order of
  // the dates, which the filters may reverse.
  ListedPhotos(std::shared_ptr<const DateOrder> order, std::vector<std::uint32_t> photos, bool byDate,
               const ListFilters& filters, Name name);

  std::size_t size() const { return photos_.size(); }
  std::int64_t modelIdAt(std::size_t place) const { return order_->photos().modelId[photos_[place]]; }
  const std::string& version() const { return name_.version; }
  const std::string& title() const { return name_.title; }
  // Bytes of memory, about.
  std::size_t memory() const { return photos_.capacity() * sizeof(std::uint32_t) + sections_.size(); }

  const std::string& sectionsJson() const { return sections_; }
  // Nothing beyond the last page; an empty list has none.
  std::optional<std::string> pageJson(std::size_t page) const;
  // The place of a photo in the list.
  std::optional<std::size_t> placeOf(std::int64_t modelId) const;

 private:
  void reverse();
  std::string makeSections() const;

  std::shared_ptr<const DateOrder> order_;
  std::vector<std::uint32_t> photos_;
  const bool byDate_;
  const Name name_;
  std::string sections_;
};

// Whether the filters let a photo through.
bool admits(const ListFilters& filters, const PhotoColumns& photos, std::size_t index);

}  // namespace moxtel
