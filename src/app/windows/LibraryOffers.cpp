#include "app/windows/LibraryOffers.h"

#include "platform/files/MountedDisks.h"

namespace moxtel {

namespace {

constexpr int kBetweenChecks = 2000;  // milliseconds

}  // namespace

LibraryOffers::Places LibraryOffers::usualPlaces() { return {&mountTable, &LibraryFinder::usualFolders}; }

LibraryOffers::LibraryOffers(Show show, Places places)
    : show_(std::move(show)),
      places_(std::move(places)),
      finder_([this](const std::vector<OfferedLibrary>& libraries, bool isSearching) {
        QMetaObject::invokeMethod(
            &timer_, [this, libraries, isSearching] { show_(libraries, isSearching); }, Qt::QueuedConnection);
      }) {
  timer_.setInterval(kBetweenChecks);
  QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { check(); });
}

void LibraryOffers::setWanted(bool isWanted) {
  if (isWanted == timer_.isActive()) return;
  if (isWanted) {
    lastTable_.clear();
    timer_.start();
    check();
  } else {
    timer_.stop();
    finder_.stop();
  }
}

void LibraryOffers::check() {
  std::string table = places_.mountTable();
  if (table == lastTable_) return;
  lastTable_ = std::move(table);
  finder_.search(places_.folders(lastTable_));
}

}  // namespace moxtel
