#include "web/LibraryCatalog.h"

#include <algorithm>
#include <set>

#include "library/LibrarySearch.h"
#include "library/database/DatabaseUse.h"
#include "library/database/LibraryDatabases.h"
#include "platform/files/Files.h"
#include "web/OpenWebLibrary.h"
#include "web/api/LibraryJson.h"
#include "web/lists/DateOrder.h"

namespace moxtel {

namespace {

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
  card.kind = shownKind(library);
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
  known_[path] = {library.version(), card, false};
  return {card, path};
}

const LibraryCard* LibraryCatalog::count(const std::string& path) {
  const auto known = known_.find(path);
  if (known == known_.end() || known->second.isCounted ||
      known->second.card.state != WebLibrary::State::Ready)
    return nullptr;
  known->second.isCounted = true;
  OpenLibrary library(loop_, messages_, path, options_);
  library.beginTask();
  library.refresh();
  // Another version is counted when a search has found it.
  if (library.version() != known->second.version) return nullptr;
  const auto photos = library.columns();
  if (!photos || library.failed()) return nullptr;
  const LibraryTotals totals = totalsOf(DateOrder(photos));
  LibraryCard& card = known->second.card;
  card.photos = totals.photos;
  card.first = totals.first;
  card.last = totals.last;
  return &card;
}

}  // namespace moxtel
