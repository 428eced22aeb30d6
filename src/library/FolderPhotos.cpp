#include "library/FolderPhotos.h"

#include <algorithm>
#include <string>
#include <utility>

#include "library/database/LibraryDatabases.h"

namespace moxtel {

namespace {

constexpr SqlText kFolders = "SELECT uuid,folderPath,isInTrash FROM RKFolder";
constexpr SqlText kPathOfFolder = "SELECT folderPath FROM RKFolder WHERE uuid = '%@'";
// RKFolder.folderPath is the model ids from the root down, "1/6/12/": what is below begins with it. The plus
// signs keep SQLite, which has no statistics here, from reading whole tables along other indexes.
constexpr SqlText kPhotosOfAlbumsBelow =
    "SELECT v.modelId FROM RKFolder f CROSS JOIN RKAlbum a CROSS JOIN RKAlbumVersion m CROSS JOIN RKVersion "
    "v WHERE f.folderPath >= '%@' AND f.folderPath < '%@' AND a.folderUuid = f.uuid AND +a.albumType = 1 AND "
    "+a.albumSubclass = 3 AND +a.isInTrash = 0 AND m.albumId = a.modelId AND v.modelId = m.versionId AND "
    "+v.showInLibrary = 1 AND +v.isInTrash = 0 AND NOT (%d AND +v.isHidden IS TRUE)";
constexpr SqlText kPhotosOfProjectsBelow =
    "SELECT v.modelId FROM RKFolder f CROSS JOIN RKVersion v WHERE f.folderPath >= '%@' AND f.folderPath < "
    "'%@' AND +f.folderType = 2 AND +f.isInTrash = 0 AND v.projectUuid = f.uuid AND +v.showInLibrary = 1 AND "
    "+v.isInTrash = 0 AND NOT (%d AND +v.isHidden IS TRUE)";

void append(Query query, std::vector<std::int64_t>& ids) {
  while (query.step()) ids.push_back(query.integer64Column(0));
}

}  // namespace

std::optional<std::vector<std::int64_t>> photosOfFolder(LibraryDatabases& databases, const Value& uuid,
                                                        HiddenMembers hidden) {
  std::string path;
  {
    Query folder = databases.runUnlogged(DatabaseFile::Library, kPathOfFolder, {uuid});
    if (!folder.step()) return std::nullopt;
    path = folder.stringColumn(0).string();
  }
  const int leftOut = hidden == HiddenMembers::LeftOut ? 1 : 0;
  std::vector<std::int64_t> ids;
  if (!path.ends_with('/')) return ids;  // such a path begins the paths of other folders, too
  const std::string end = path.substr(0, path.size() - 1) + static_cast<char>('/' + 1);
  append(databases.runUnlogged(DatabaseFile::Library, kPhotosOfAlbumsBelow, {path, end, leftOut}), ids);
  append(databases.runUnlogged(DatabaseFile::Library, kPhotosOfProjectsBelow, {path, end, leftOut}), ids);
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

std::unordered_set<std::string> foldersInTrash(LibraryDatabases& databases) {
  struct Folder {
    std::string uuid;
    std::string path;
  };
  std::vector<Folder> all;
  std::unordered_set<std::string> trashedPaths;
  std::unordered_set<std::string> found;
  Query rows = databases.runUnlogged(DatabaseFile::Library, kFolders, {});
  while (rows.step()) {
    Folder folder{std::string(rows.stringColumn(0).string()), std::string(rows.stringColumn(1).string())};
    if (rows.integerColumn(2) != 0) {
      found.insert(folder.uuid);
      trashedPaths.insert(folder.path);
    }
    all.push_back(std::move(folder));
  }
  if (trashedPaths.empty()) return found;
  for (const Folder& folder : all) {
    // The paths of the folders above are its beginnings that end with a slash.
    for (std::size_t end = folder.path.find('/'); end != std::string::npos;
         end = folder.path.find('/', end + 1)) {
      if (trashedPaths.contains(folder.path.substr(0, end + 1))) found.insert(folder.uuid);
    }
  }
  return found;
}

}  // namespace moxtel
