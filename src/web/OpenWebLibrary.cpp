#include "web/OpenWebLibrary.h"

#include <atomic>
#include <utility>

namespace moxtel {

namespace {

// The threads agree on the version.
OpenLibraryOptions sharing(OpenLibraryOptions options) {
  options.outdatedCount = std::make_shared<std::atomic<std::uint64_t>>(0);
  return options;
}

}  // namespace

WebLibrary::State shownState(OpenLibrary::State state) {
  switch (state) {
    case OpenLibrary::State::Away:
      return WebLibrary::State::Away;
    case OpenLibrary::State::Unreadable:
      return WebLibrary::State::Unreadable;
    case OpenLibrary::State::Ready:
      break;
  }
  return WebLibrary::State::Ready;
}

void OpenWebLibrary::Status::note(OpenLibrary& library) {
  const auto moment = std::chrono::steady_clock::now();
  const std::string now = versionText(library.version());
  const State itsState = shownState(library.state());
  const std::lock_guard lock(mutex);
  version = now;
  state = itsState;
  lookedAt = moment;
}

OpenWebLibrary::OpenWebLibrary(std::string id, std::string path, OpenLibraryOptions options,
                               const std::string& indexFolder, std::chrono::milliseconds betweenLooks)
    : id_(std::move(id)),
      path_(std::move(path)),
      betweenLooks_(betweenLooks),
      options_(sharing(std::move(options))),
      search_(path_, options_, indexFolder, id_),
      maker_(search_),
      quick_(
          path_, options_, [status = status_](OpenLibrary& library) { status->note(library); }, betweenLooks),
      long_(
          path_, options_, [status = status_](OpenLibrary& library) { status->note(library); },
          betweenLooks) {}

std::string OpenWebLibrary::version() const {
  const std::lock_guard lock(status_->mutex);
  return status_->version;
}

std::optional<std::string> OpenWebLibrary::recentVersion() const {
  const std::lock_guard lock(status_->mutex);
  const auto age = std::chrono::steady_clock::now() - status_->lookedAt;
  if (status_->version.empty() || status_->state != State::Ready || age >= betweenLooks_) return std::nullopt;
  return status_->version;
}

WebLibrary::State OpenWebLibrary::state() const {
  const std::lock_guard lock(status_->mutex);
  return status_->state;
}

std::optional<LibraryTotals> OpenWebLibrary::totals() const {
  const std::lock_guard lock(status_->mutex);
  return status_->totals;
}

void OpenWebLibrary::setTotals(const LibraryTotals& totals) {
  const std::lock_guard lock(status_->mutex);
  status_->totals = totals;
}

WebLibrary::ListOrReply OpenWebLibrary::listFor(OpenLibrary& library, std::string_view list,
                                                const HttpRequest& request) {
  const auto address = parseListAddress(list);
  if (!address) return errorReply(404, "unknown");
  const auto filters = parseListFilters(request);
  if (!filters) return errorReply(400, "request");
  return listFor(library, *address, *filters, [] { return false; });
}

WebLibrary::ListOrReply OpenWebLibrary::listFor(OpenLibrary& library, const ListAddress& address,
                                                const ListFilters& filters,
                                                const std::function<bool()>& isGone) {
  if (std::exchange(listsVersion_, library.version()) != library.version()) lists_.clear();
  if (auto kept = keptList(address, filters, maker_.versionOf(library, address))) return kept;
  ListOrReply made = maker_.make(library, address, filters, isGone);
  if (address.kind == ListAddress::Kind::Search) search_.want(versionText(library.version()));
  library.endReading();
  if (const auto* const list = std::get_if<std::shared_ptr<const ListedPhotos>>(&made))
    lists_.keep(address.text() + "?" + filters.text(), *list);
  return made;
}

std::shared_ptr<const ListedPhotos> OpenWebLibrary::keptList(const ListAddress& address,
                                                             const ListFilters& filters,
                                                             const std::string& version) {
  auto list = lists_.find(address.text() + "?" + filters.text());
  return list && list->version() == version ? list : nullptr;
}

void OpenWebLibrary::lookUnless(OpenLibrary& library, const ListAddress& address,
                                const std::string& version) {
  if (maker_.versionOf(library, address) != version) long_.look();
}

}  // namespace moxtel
