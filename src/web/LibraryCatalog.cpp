#include "web/LibraryCatalog.h"

#include <algorithm>
#include <set>

#include "library/LibrarySearch.h"
#include "library/LibrarySummary.h"
#include "library/database/DatabaseUse.h"
#include "library/database/LibraryDatabases.h"
#include "platform/files/Files.h"
#include "web/OpenWebLibrary.h"
#include "web/api/LibraryJson.h"
#include "web/lists/DateOrder.h"

namespace moxtel {

namespace {

constexpr double kSecondsUntil2001 = 978'307'200;  // from 1970

// The uuid that a library's database gives itself; empty without one.
std::string uuidOf(LibraryDatabases& databases) {
  for (const SqlText sql :
       {SqlText("SELECT propertyValue FROM RKAdminData WHERE propertyArea = 'database' AND propertyName = "
                "'databaseUuid'"),
        SqlText("SELECT Z_UUID FROM Z_METADATA")}) {
    Query query = databases.runUnlogged(DatabaseFile::Library, sql, {});
    if (!query.step()) continue;
    if (const auto uuid = query.storedText(0)) return std::string(*uuid);
  }
  return {};
}

std::optional<int> yearOfFirst(LibraryDatabases& databases, SqlText sql) {
  Query query = databases.runUnlogged(DatabaseFile::Library, sql, {});
  if (!query.step()) return std::nullopt;
  const double date = query.realColumn(0) + kSecondsUntil2001;
  if (!(date > -1e11 && date < 1e12) || !isShownDate(static_cast<std::int64_t>(date))) return std::nullopt;
  return yearOf(static_cast<std::int64_t>(date));
}

}  // namespace

std::string libraryIdOf(const std::string& uuidOrPath) {
  constexpr char kLetters[] = "abcdefghijkmnpqrstuvwxyz23456789";  // 32, without l and o, 1 and 0
  std::uint64_t hash = 0xcbf29ce484222325;                         // FNV-1a
  for (const char c : uuidOrPath) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  hash ^= hash >> 29;
  std::string id;
  for (int i = 0; i < 8; ++i, hash >>= 5) id += kLetters[hash & 31];
  return id;
}

std::vector<LibraryCatalog::Item> LibraryCatalog::search(const std::optional<std::string>& served,
                                                         const std::vector<std::string>& folders) {
  std::vector<std::string> paths;
  if (served) paths.push_back(*served);
  for (const std::string& folder : folders) {
    std::vector<std::string>& found = found_[folder];
    for (std::string& path : librariesFor(folder)) found.push_back(std::move(path));
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    found.resize(std::min(found.size(), kMostLibraries));
    paths.insert(paths.end(), found.begin(), found.end());
  }
  std::vector<Item> items;
  std::set<std::string> seen, ids;
  for (const std::string& path : paths) {
    if (items.size() == kMostLibraries || !seen.insert(resolvedPath(path)).second) continue;
    Item item = look(path);
    // A copy of a library has its uuid.
    if (!ids.insert(item.card.id).second) item.card.id = libraryIdOf(path);
    item.card.isServed = served == path;
    items.push_back(std::move(item));
  }
  return items;
}

LibraryCatalog::Item LibraryCatalog::look(const std::string& path) {
  OpenLibrary library(loop_, messages_, path, options_);
  library.beginTask();
  library.refresh();
  const auto known = known_.find(path);
  if (known != known_.end() && known->second.version == library.version()) return {known->second.card, path};
  LibraryCard card;
  card.name = nameOfLibraryFolder(path);
  card.state = shownState(library.state());
  card.kind = shownKind(library.kind(), path);
  card.id = libraryIdOf(path);
  if (card.state == WebLibrary::State::Away) {
    if (known == known_.end()) return {card, path};
    // It keeps its address until it comes back.
    card = known->second.card;
    card.state = WebLibrary::State::Away;
    return {card, path};
  }
  const DatabaseUse use(library.databases(), DatabaseFile::Library, DatabaseUse::AfterFailure::Close);
  if (const std::string uuid = uuidOf(library.databases()); !uuid.empty()) card.id = libraryIdOf(uuid);
  card.photos = countLibrary(library.databases()).photos;
  // 0: an event without photos.
  card.first = yearOfFirst(library.databases(),
                           "SELECT minImageDate FROM RKFolder WHERE folderType = 2 AND isInTrash = 0 AND "
                           "minImageDate != 0 ORDER BY minImageDate LIMIT 1");
  card.last = yearOfFirst(library.databases(),
                          "SELECT maxImageDate FROM RKFolder WHERE folderType = 2 AND isInTrash = 0 AND "
                          "maxImageDate != 0 ORDER BY maxImageDate DESC LIMIT 1");
  known_[path] = {library.version(), card};
  return {card, path};
}

}  // namespace moxtel
