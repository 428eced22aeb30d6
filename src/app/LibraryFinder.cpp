#include "app/LibraryFinder.h"

#include <algorithm>
#include <set>

#include "library/ImageFiles.h"
#include "library/LibrarySearch.h"
#include "library/Messages.h"
#include "library/answers/OpenLibrary.h"
#include "library/database/LibraryDatabases.h"
#include "pictures/codec/PictureDecoder.h"
#include "platform/files/Files.h"
#include "platform/files/MountedDisks.h"
#include "platform/files/UserFolders.h"
#include "web/LibraryCatalog.h"

namespace moxtel {

namespace {

constexpr std::uint32_t kPictureSide = 192;  // pixels
constexpr std::size_t kMostLibraries = 30;

// What is wrong with a library that is only offered is said when it is served.
class NoMessages final : public Messages {
 public:
  void showTitle(std::string_view, std::string_view) override {}
};

// Key photos of the newest events, or any photos.
std::vector<std::string> photosToShow(LibraryDatabases& databases) {
  std::vector<std::string> uuids;
  for (const SqlText sql :
       {SqlText("SELECT posterVersionUuid FROM RKFolder WHERE folderType = 2 AND isInTrash = 0 AND "
                "posterVersionUuid IS NOT NULL ORDER BY maxImageDate DESC LIMIT 3"),
        SqlText("SELECT uuid FROM RKVersion WHERE isInTrash = 0 AND showInLibrary = 1 LIMIT 3")}) {
    Query query = databases.runUnlogged(DatabaseFile::Library, sql, {});
    while (query.step()) uuids.emplace_back(query.stringColumn(0).string());
  }
  return uuids;
}

Bytes pictureOf(OpenLibrary& library, PictureDecoder& decoder, const std::function<bool()>& isUnwanted) {
  for (const std::string& uuid : photosToShow(library.databases())) {
    if (isUnwanted()) break;
    const auto path = library.images().thumbnailPathWithUuid(Value(uuid), false, false);
    const OpenFile file = library.images().open(path);
    if (file.state != FileState::Open) continue;
    if (auto picture = decoder.previewOf(file, kPictureSide, 0)) return std::move(*picture);
  }
  return {};
}

OfferedLibrary closedFolder(const std::string& path) {
  return {path, path.substr(path.rfind('/') + 1), {}, {}, {}, {}};
}

}  // namespace

LibraryFinder::LibraryFinder(Take take) : take_(std::move(take)), thread_([this] { loop_.run(); }) {}

LibraryFinder::~LibraryFinder() {
  stop();
  processes_.end();
  loop_.quit();
  thread_.join();
}

std::vector<std::string> LibraryFinder::usualFolders(const std::string& mountTable) {
  std::vector<std::string> folders{picturesFolder()};
  for (std::string& disk : mountedDisks(mountTable)) folders.push_back(std::move(disk));
  return folders;
}

void LibraryFinder::search(std::vector<std::string> folders) {
  loop_.post([this, folders = std::move(folders), number = ++wanted_] { run(folders, number); });
}

void LibraryFinder::run(const std::vector<std::string>& folders, int number) {
  running_ = number;
  if (isUnwanted()) return;
  std::vector<OfferedLibrary> libraries;
  std::set<std::string> seen;
  take_(libraries, true);
  LibrarySearchLimits limits;
  limits.isUnwanted = [this] { return isUnwanted(); };
  for (const std::string& folder : folders) {
    const LibrarySearchResult found = searchForLibraries(folder, limits);
    for (const std::string& path : found.libraries) {
      if (isUnwanted() || libraries.size() == kMostLibraries) break;
      if (!seen.insert(resolvedPath(path)).second) continue;
      libraries.push_back(lookAt(path));
      if (!isUnwanted()) take_(libraries, true);
    }
    // Without it the user of a Mac's disk would see nothing. Choosing it says what helps.
    if (found.libraries.empty() && !found.closed.empty()) libraries.push_back(closedFolder(found.closed));
  }
  if (!isUnwanted()) take_(libraries, false);
}

OfferedLibrary LibraryFinder::lookAt(const std::string& path) {
  NoMessages messages;
  OpenLibraryOptions options;
  options.privateCopyLimit = 0;
  options.isEnding = [this] { return isUnwanted(); };
  LibraryCatalog catalog(loop_, messages, options);
  const auto items = catalog.search(std::nullopt, {path});
  if (items.empty()) return {path, {}, {}, {}, {}, {}};
  const LibraryCard* const counted = catalog.count(path);
  const LibraryCard& card = counted ? *counted : items.front().card;
  OfferedLibrary offered{path, card.name, card.photos, card.first, card.last, {}};
  OpenLibrary library(loop_, messages, path, options);
  library.beginTask();
  library.refresh();
  PictureDecoder decoder(processes_, PictureDecoder::installedHelper(), [this] { return isUnwanted(); });
  if (library.state() == OpenLibrary::State::Ready)
    offered.picture = pictureOf(library, decoder, [this] { return isUnwanted(); });
  return offered;
}

}  // namespace moxtel
