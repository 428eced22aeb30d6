#include "web/lists/ListMaker.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "library/answers/AlbumMembership.h"
#include "library/answers/LibraryLists.h"
#include "web/search/SearchIndex.h"

namespace moxtel {

namespace {

PhotoList::Kind kindOf(ListAddress::Kind kind) {
  switch (kind) {
    case ListAddress::Kind::Folder:
      return PhotoList::Kind::Folder;
    case ListAddress::Kind::Event:
      return PhotoList::Kind::Event;
    case ListAddress::Kind::Person:
      return PhotoList::Kind::Person;
    case ListAddress::Kind::Keyword:
      return PhotoList::Kind::Keyword;
    default:
      return PhotoList::Kind::Album;
  }
}

// The name of a list that the library shows; nothing for others, such as an album in the trash.
std::optional<std::string> titleOf(LibraryLists& lists, const PhotoList& list) {
  if (list.kind == PhotoList::Kind::Person) {
    for (const LibraryPerson& person : lists.people())
      if (person.modelId == list.modelId) return person.name;
    return std::nullopt;
  }
  if (list.kind == PhotoList::Kind::Keyword) {
    const Keyword* const keyword = lists.keywords().find(list.modelId);
    return keyword ? std::optional(keyword->name) : std::nullopt;
  }
  for (const LibraryContainer& container : lists.containers())
    if (container.list() == list) return container.name;
  return std::nullopt;
}

// The rules of smart albums, which may be in folders, have relative dates.
bool mayFollowTheDay(const ListAddress& address) {
  return address.kind == ListAddress::Kind::Album || address.kind == ListAddress::Kind::Folder;
}

bool isOnDay(std::int64_t date, int month, int day) {
  const std::chrono::sys_days sysDay{std::chrono::days(dayOf(date))};
  const std::chrono::year_month_day calendarDay(sysDay);
  return static_cast<unsigned>(calendarDay.month()) == static_cast<unsigned>(month) &&
         static_cast<unsigned>(calendarDay.day()) == static_cast<unsigned>(day);
}

bool isWithin(const SearchQuery& query, const PhotoColumns& photos, std::size_t index) {
  if (query.atLeast && photos.rating[index] < *query.atLeast) return false;
  if (!query.from && !query.until) return true;
  const auto date = shownDate(photos, index);
  return date && (!query.from || *date >= *query.from) && (!query.until || *date < *query.until);
}

}  // namespace

std::string versionText(std::uint64_t version) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) text += kDigits[version >> shift & 15];
  return text;
}

std::string ListMaker::versionOf(const OpenLibrary& library, const ListAddress& address) const {
  const std::uint64_t index = address.kind == ListAddress::Kind::Search ? search_.version() : 0;
  const std::uint64_t day = mayFollowTheDay(address) ? static_cast<std::uint64_t>(library.day()) : 0;
  return versionText(library.version() ^ index ^ day * 0x9e3779b97f4a7c15);
}

std::shared_ptr<const DateOrder> ListMaker::orderOf(OpenLibrary& library) {
  const auto columns = library.columns();
  if (!columns) return order_ = nullptr;
  if (!order_ || order_->sharedPhotos() != columns) order_ = std::make_shared<DateOrder>(columns);
  return order_;
}

WebLibrary::ListOrReply ListMaker::make(OpenLibrary& library, const ListAddress& address,
                                        const ListFilters& filters, const std::function<bool()>& isGone) {
  const auto order = orderOf(library);
  if (!order) return errorReply(503, "away");
  const std::string version = versionOf(library, address);
  MembersOrReply members = membersOf(library, address, isGone);
  if (library.failed()) return errorReply(503, "away");
  if (auto* const reply = std::get_if<HttpReply>(&members)) return std::move(*reply);
  auto& [photos, title, byDate] = std::get<Members>(members);
  return std::make_shared<const ListedPhotos>(order, std::move(photos), byDate, filters,
                                              ListedPhotos::Name{address.text(), title, version});
}

ListMaker::Members ListMaker::selected(const std::function<bool(std::size_t index)>& accepts) const {
  Members members;
  std::copy_if(order_->all().begin(), order_->all().end(), std::back_inserter(members.photos), accepts);
  return members;
}

ListMaker::MembersOrReply ListMaker::membersOf(OpenLibrary& library, const ListAddress& address,
                                               const std::function<bool()>& isGone) {
  const PhotoColumns& photos = order_->photos();
  switch (address.kind) {
    case ListAddress::Kind::All:
      return Members{{order_->all().begin(), order_->all().end()}, {}, true};
    case ListAddress::Kind::Flagged:
      return selected([&](std::size_t index) { return photos.has(index, PhotoColumns::kFlagged); });
    case ListAddress::Kind::Movies:
      return selected([&](std::size_t index) { return photos.has(index, PhotoColumns::kMovie); });
    case ListAddress::Kind::OnThisDay:
      return selected([&](std::size_t index) {
        const auto date = shownDate(photos, index);
        return date && isOnDay(*date, address.month, address.day);
      });
    case ListAddress::Kind::Photos:
      return Members{indexesOf(photos, address.photos), {}, false};
    case ListAddress::Kind::Search:
      return found(address.words, isGone);
    default:
      return listed(library, address);
  }
}

ListMaker::MembersOrReply ListMaker::listed(OpenLibrary& library, const ListAddress& address) {
  const PhotoList list{kindOf(address.kind), address.id};
  const auto title = titleOf(library.lists(), list);
  if (!title) return errorReply(404, "unknown");
  const auto ids = library.membership().membersOf(list);
  if (!ids) return errorReply(404, "unknown");
  Members members{indexesOf(order_->photos(), *ids), *title, true};
  if (list.kind == PhotoList::Kind::Album)
    members.byDate = order_->isSorted(members.photos);
  else
    members.photos = order_->sorted(members.photos);
  return members;
}

ListMaker::MembersOrReply ListMaker::found(const std::string& words, const std::function<bool()>& isGone) {
  const SearchQuery query = parseSearch(words);
  Members members;
  if (!query.isEmpty() && query.terms.empty()) {
    members = selected([&](std::size_t index) { return isWithin(query, order_->photos(), index); });
  } else if (!query.isEmpty()) {
    const auto ids = search_.find(query.terms, isGone);
    if (!ids) return errorReply(503, "busy");
    members.photos = indexesOf(order_->photos(), *ids);
    std::erase_if(members.photos,
                  [&](std::size_t index) { return !isWithin(query, order_->photos(), index); });
    members.photos = order_->sorted(members.photos);
  }
  members.title = words;
  return members;
}

}  // namespace moxtel
