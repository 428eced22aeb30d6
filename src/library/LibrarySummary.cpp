#include "library/LibrarySummary.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "library/BuiltInAlbums.h"
#include "library/PathNames.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/PhotoColumns.h"
#include "library/kinds/LibraryKind.h"
#include "platform/files/Files.h"
#include "platform/system/LineLimiter.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

constexpr const char* kNotPermitted = UserText::later("This user is not permitted to read the folder.");

const char* whyNotServed(LibraryKind kind) {
  if (kind == LibraryKind::OlderAperture)
    return UserText::later(
        "This is a library of Aperture 1 or 2. Open it once with Aperture 3, which converts it.");
  return UserText::later(
      "This folder is not a photo library. Choose the folder named like \"iPhoto Library\", not the disk "
      "or a folder inside it.");
}

std::optional<std::int64_t> numberOf(LibraryDatabases& databases, DatabaseFile file, SqlText sql) {
  Query query = databases.runUnlogged(file, sql, {});
  if (!query.step()) return std::nullopt;
  return query.integer64Column(0);
}

// As the page counts: without hidden and rejected photos. Nothing when the library cannot be read.
std::optional<std::int64_t> photosShown(LibraryDatabases& databases) {
  const auto photos = readPhotoColumns(databases);
  if (!photos) return std::nullopt;
  std::int64_t count = 0;
  for (std::size_t i = 0; i < photos->size(); ++i) {
    if (photos->isShown(i) && !photos->has(i, PhotoColumns::kOnlyInAlbums)) ++count;
  }
  return count;
}

// The names in folders, each of which is listed once.
class FileNames final {
 public:
  bool has(const std::string& path) {
    const std::filesystem::path file(path);
    const auto [folder, isNew] = folders_.try_emplace(file.parent_path().string());
    if (isNew) list(folder->first, folder->second);
    return folder->second.contains(file.filename().string());
  }

 private:
  static void list(const std::string& folder, std::unordered_set<std::string>& names) {
    std::error_code error;
    for (std::filesystem::directory_iterator each(folder, error), end; !error && each != end;
         each.increment(error))
      names.insert(each->path().filename().string());
  }

  std::unordered_map<std::string, std::unordered_set<std::string>> folders_;
};

std::optional<std::int64_t> unlessNone(std::int64_t count) {
  return count > 0 ? std::optional(count) : std::nullopt;
}

// Photos 2 to 4 note which originals are missing.
std::optional<std::int64_t> photosMissing(LibraryDatabases& databases) {
  return unlessNone(numberOf(databases, DatabaseFile::Library,
                             "SELECT COUNT(v.modelId) FROM RKVersion v JOIN RKMaster m ON m.uuid = "
                             "v.masterUuid WHERE m.isInCloud = 1 AND m.fileIsReference = 0 AND v.projectUuid "
                             "IS NOT NULL AND v.isHidden IS NOT 1")
                        .value_or(0));
}

// Photos 5 and later note which photos are in the cloud; their originals may be here, too.
std::optional<std::int64_t> photosOnlyInCloud(LibraryDatabases& databases, const std::string& folder) {
  FileNames files;
  std::int64_t count = 0;
  Query query = databases.runUnlogged(DatabaseFile::Library,
                                      "SELECT m.imagePath FROM RKVersion v JOIN RKMaster m ON m.uuid = "
                                      "v.masterUuid WHERE m.isInCloud = 1 AND m.fileIsReference = 0 AND "
                                      "v.projectUuid IS NOT NULL AND v.isHidden IS NOT 1",
                                      {});
  while (query.step()) {
    const Value paths = query.stringColumn(0);
    if (!paths.isString()) continue;
    const std::string original(paths.string().substr(0, paths.string().find('\n')));
    if (original.find("..") != std::string::npos) continue;
    if (!files.has(appendingPathComponent(folder, original))) ++count;
  }
  return unlessNone(count);
}

void countPhotos(LibraryDatabases& databases, LibraryCounts& counts) {
  const LibraryLayout& layout = databases.layout();
  if (layout.hasPhotoApplication) {
    counts.photos = photosShown(databases);
    return;
  }
  // Photos that others share have no event, and are shown only in the shared albums. The page shows hidden
  // photos only to those who ask for them.
  const SqlText sql = layout.kind == LibraryKind::AlbumDataOnly
                          ? SqlText("SELECT COUNT(modelId) FROM RKVersion")
                          : SqlText(
                                "SELECT COUNT(modelId) FROM RKVersion WHERE projectUuid IS NOT NULL AND "
                                "isHidden IS NOT 1");
  counts.photos = numberOf(databases, DatabaseFile::Library, sql);
  counts.name = nameOfLibrary(layout.kind, databases.applicationVersion());
  if (layout.kind == LibraryKind::Photos4) counts.onlyInCloud = photosMissing(databases);
  const auto database = databases.pathOf(DatabaseFile::Library);
  if (layout.kind != LibraryKind::Photos5 || !database) return;
  const std::string folder = database->substr(0, database->size() - layout.databaseFiles[0].size());
  counts.onlyInCloud = photosOnlyInCloud(databases, folder);
}

// The folders that a client reaches from the two at the top, by their uuids. Each counts once, even if
// folders contain each other in a damaged library.
class ListedFolders final {
 public:
  explicit ListedFolders(Query& rows) {
    while (rows.step()) {
      const bool isHiddenWhenEmpty = rows.integerColumn(3) != 0;
      if (isHiddenWhenEmpty) continue;
      inside_[std::string(rows.stringColumn(2).string())].push_back(
          {std::string(rows.stringColumn(0).string()), rows.integerColumn(1)});
    }
    listed_.insert(kTopLevelAlbums);  // the other one has no albums
    addBelow(kTopLevelAlbums);
    addBelow(kAllProjectsItem);
  }
  bool contains(const std::string& uuid) const { return listed_.contains(uuid); }
  std::int64_t projects() const { return projects_; }

 private:
  static constexpr const char* kTopLevelAlbums = "TopLevelAlbums";
  static constexpr const char* kAllProjectsItem = "AllProjectsItem";
  static constexpr std::int32_t kProject = 2;
  struct Folder {
    std::string uuid;
    std::int32_t type = 0;
  };
  // Projects are not listed at the top of the albums.
  void addBelow(const char* top) {
    std::vector<std::string> next{top};
    while (!next.empty()) {
      const auto found = inside_.find(next.back());
      next.pop_back();
      if (found == inside_.end()) continue;
      for (const Folder& folder : found->second) {
        if (folder.type == kProject && found->first == kTopLevelAlbums) continue;
        if (!listed_.insert(folder.uuid).second) continue;
        if (folder.type == kProject) ++projects_;
        next.push_back(folder.uuid);
      }
    }
  }

  std::unordered_map<std::string, std::vector<Folder>> inside_;
  std::unordered_set<std::string> listed_;
  std::int64_t projects_ = 0;
};

// Those that clients see, as ContainerTree lists them.
void countContainers(LibraryDatabases& databases, LibraryCounts& counts) {
  Query folders = databases.runUnlogged(
      DatabaseFile::Library,
      "SELECT uuid,folderType,parentFolderUuid,isHiddenWhenEmpty FROM RKFolder WHERE isInTrash = 0", {});
  if (!folders.prepared()) return;
  const ListedFolders listed(folders);
  Query albums = databases.runUnlogged(DatabaseFile::Library,
                                       "SELECT uuid,folderUuid FROM RKAlbum WHERE albumType = 1 AND "
                                       "albumSubclass IN (2, 3) AND isInTrash = 0",
                                       {});
  if (!albums.prepared()) return;
  counts.events = listed.projects();
  counts.albums = 0;
  while (albums.step()) {
    const bool isBuiltIn =
        std::ranges::find(kBuiltInAlbums, albums.stringColumn(0).string()) != kBuiltInAlbums.end();
    if (!isBuiltIn && listed.contains(std::string(albums.stringColumn(1).string()))) ++*counts.albums;
  }
}

}  // namespace

LibraryCounts countLibrary(LibraryDatabases& databases) {
  // openDatabase() and its like would log a missing database, which is an expected answer here. Each query
  // opens what it needs.
  LibraryCounts counts;
  countPhotos(databases, counts);
  countContainers(databases, counts);
  counts.faces = numberOf(databases, DatabaseFile::Faces, "SELECT COUNT(uuid) FROM RKFaceName");
  databases.releaseLocks();
  return counts;
}

std::string describeCounts(const LibraryCounts& counts) {
  std::string text = localizedString(counts.name);
  if (text.empty() || !counts.photos) return text;
  const auto photos = static_cast<std::uint64_t>(*counts.photos);
  text += ", " + (photos == 1 ? UserText::tr("1 photo")
                              : formatRuntime(UserText::tr("%@ photos"), withCommas(photos)));
  if (counts.onlyInCloud) {
    const auto elsewhere = static_cast<std::uint64_t>(*counts.onlyInCloud);
    text += ", " + formatRuntime(UserText::tr("%@ only in the cloud"), withCommas(elsewhere));
  }
  return text;
}

std::string whyNoSmartAlbums(LibraryDatabases& databases) {
  if (databases.layout().kind != LibraryKind::Photos5) return {};
  const auto albums = numberOf(databases, DatabaseFile::Library,
                               "SELECT COUNT(uuid) FROM RKAlbum WHERE albumSubclass = 2 AND isInTrash = 0");
  if (albums.value_or(0) == 0) return {};
  return UserText::tr(
      "Smart albums of this library are listed empty: the rules of Photos 5 and later are not understood.");
}

std::string whyUnreadable(const std::string& folder) {
  if (!isUtf8Path(folder)) {
    return UserText::later(
        "The folder's path is not valid UTF-8. Make a symbolic link to it whose path is plain ASCII, and "
        "choose the link.");
  }
  const FileStamp stamp = stampOf(folder);
  if (stamp.kind == FileStamp::Kind::Missing) {
    return stamp.error == EACCES ? kNotPermitted : kNoSuchFolder;
  }
  const LibraryLayout layout = layoutOfLibrary(folder);
  const std::string path = appendingPathComponent(folder, layout.databaseFiles[0]);
  const FileStamp database = stampOf(path);
  if (database.kind == FileStamp::Kind::Missing && database.error == EACCES) return kNotPermitted;
  if (stampOf(appendingPathComponent(folder, "Database/apdb")).kind == FileStamp::Kind::Other &&
      !database.isRegular()) {
    return UserText::later(
        "The library's file Database/apdb/Library.apdb is missing. Copy the library again.");
  }
  if (!layout.isServed() || !database.isRegular()) return whyNotServed(layout.kind);
  return isReadable(path) ? std::string() : kNotPermitted;
}

std::string whyNoLibrary(const std::string& folder) {
  // Stored in the settings, it would name another folder when the program starts in another directory.
  if (!folder.starts_with('/')) return UserText::later("The folder's path is not absolute.");
  return whyUnreadable(folder);
}

}  // namespace moxtel
