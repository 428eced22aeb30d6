#include "export/UnknownFiles.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "library/FileNameForms.h"
#include "library/LibraryFiles.h"
#include "library/PathNames.h"
#include "library/answers/OpenLibrary.h"
#include "library/database/LibraryDatabases.h"
#include "platform/files/LegalNames.h"

namespace moxtel {

namespace {

namespace fs = std::filesystem;

// Also the masters of versions that are no photos, such as those in a trash that was emptied by halves.
constexpr SqlText kMasters = "SELECT imagePath FROM RKMaster";
constexpr SqlText kLiveMovies =
    "SELECT path, modelId IN (SELECT modelId FROM RKMaster WHERE isInTrash = 1 OR modelId IN "
    "(SELECT masterId FROM RKVersion)) FROM MoxtelLivePhotos";

// Photos keeps frames of a burst, and others, that it does not show: no version has them. What is in its
// trash is no such photo.
constexpr SqlText kShownMasters =
    "SELECT imagePath FROM RKMaster WHERE isInTrash = 1 OR modelId IN (SELECT masterId FROM RKVersion)";
constexpr SqlText kOtherMasters =
    "SELECT imagePath FROM RKMaster WHERE isInTrash = 0 AND modelId NOT IN (SELECT masterId FROM RKVersion "
    "WHERE masterId IS NOT NULL)";

constexpr int kDeepest = 32;

// Where the versions of the photo applications keep originals. What Photos 5 leaves of older folders are hard
// links. Older libraries may have both of the others.
std::vector<const char*> foldersOfOriginals(LibraryKind kind) {
  if (kind == LibraryKind::Photos5) return {"originals"};
  return {"Masters", "Originals"};
}

// Files that file managers and photo applications keep for themselves.
bool isIgnored(const std::string& name) {
  const std::string folded = foldedFileName(name);
  return folded.starts_with('.') || folded == "thumbs.db" || folded == "desktop.ini" ||
         folded.ends_with(".aae") || folded.ends_with(".xmp");
}

}  // namespace

std::string legalPath(const std::string& path) {
  std::string legal;
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const NameParts parts = legalParts(path.substr(at, end - at), 8);
    if (!legal.empty()) legal += '/';
    legal += parts.stem + parts.extension;
    at = end + 1;
  }
  return legal;
}

void UnknownFiles::addRows() {
  const bool isWhole = library_.databases().layout().hasPathCandidates;
  const bool hasOthers = library_.kind() == LibraryKind::Photos4 || library_.kind() == LibraryKind::Photos5;
  if (hasOthers) {
    Query others = library_.databases().run(DatabaseFile::Library, kOtherMasters, {});
    while (others.step())
      // The first line is the original.
      if (const auto paths = others.storedText(0))
        notShown_.insert(
            appendingPathComponent(library_.path(), std::string(paths->substr(0, paths->find('\n')))));
  }
  Query rows = library_.databases().run(DatabaseFile::Library, hasOthers ? kShownMasters : kMasters, {});
  while (rows.step()) {
    const auto paths = rows.storedText(0);
    for (std::size_t at = 0; paths && at < paths->size();) {
      const std::size_t end = std::min(paths->find('\n', at), paths->size());
      const std::string path(paths->substr(at, end - at));
      scratch_.addKnown(appendingPathComponent(library_.path(), isWhole ? path : "Masters/" + path));
      at = end + 1;
    }
  }
  if (library_.kind() != LibraryKind::Photos5) return;
  Query movies = library_.databases().run(DatabaseFile::Library, kLiveMovies, {});
  while (movies.step()) {
    const auto path = movies.storedText(0);
    if (!path) continue;
    const std::string movie = appendingPathComponent(library_.path(), std::string(*path));
    if (movies.integerColumn(1) != 0) {
      scratch_.addKnown(movie);
    } else {
      notShown_.insert(movie);
    }
  }
}

// Photos keeps the other files of a photo as UUID_4.jpg and the like. A live photo's movie is named by its
// row: beside another photo such a movie is shown and exported nowhere else.
bool UnknownFiles::belongsToOne(const std::string& path, const Has& has) const {
  if (has(path)) return true;
  const std::size_t slash = path.rfind('/'), line = path.rfind('_');
  if (library_.kind() != LibraryKind::Photos5 || line == std::string::npos || line < slash) return false;
  if (foldedFileName(path.substr(line)) == "_3.mov") return false;
  for (const char* extension : {".jpeg", ".jpg", ".heic", ".png", ".mov", ".cr2", ".nef", ".dng"})
    if (has(path.substr(0, line) + extension)) return true;
  return false;
}

void UnknownFiles::list(const std::string& folder, int depth, Found& found) {
  const Has isKnown = [this](const std::string& each) { return scratch_.isKnown(each); };
  std::error_code error;
  std::vector<std::string> folders;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::end(entry); entry.increment(error)) {
    // As the folder has it, without another look at each file.
    std::error_code unreadable;
    const std::string path = entry->path().string();
    if (isIgnored(entry->path().filename().string()) || entry->is_symlink(unreadable)) continue;
    if (entry->is_directory(unreadable)) {
      if (depth < kDeepest) folders.push_back(path);
    } else if (entry->is_regular_file(unreadable) && !belongsToOne(path, isKnown)) {
      found.files.push_back(path);
    }
  }
  if (error) found.failures.push_back({folder, error.message()});
  for (const std::string& each : folders) list(each, depth + 1, found);
}

void UnknownFiles::forEach(const Take& take, const std::function<void(const Failure& failure)>& takeFailure) {
  addRows();
  library_.releaseLocks();
  Found found;
  for (const char* name : foldersOfOriginals(library_.kind())) {
    const std::string folder = library_.path() + "/" + name;
    std::error_code error;
    // One of them may be a link to the other.
    if (fs::symlink_status(folder, error).type() == fs::file_type::directory) list(folder, 0, found);
  }
  std::sort(found.files.begin(), found.files.end());
  const Has isNotShown = [this](const std::string& each) { return notShown_.contains(each); };
  for (const std::string& path : found.files) {
    OpenFile file = library_.files().open(library_.path(), path).file;
    if (file.state == FileState::Open) {
      take(path.substr(library_.path().size() + 1), std::move(file), belongsToOne(path, isNotShown));
    } else {
      found.failures.push_back({path, "it could not be opened"});
    }
  }
  for (const Failure& failure : found.failures) takeFailure(failure);
}

}  // namespace moxtel
