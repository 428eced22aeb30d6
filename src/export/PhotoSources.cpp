#include "export/PhotoSources.h"

#include <algorithm>
#include <array>

#include "library/FileNameForms.h"
#include "library/LibraryFiles.h"
#include "library/answers/OpenLibrary.h"
#include "pictures/properties/ImageProperties.h"
#include "platform/files/Files.h"
#include "platform/files/LegalNames.h"

namespace moxtel {

namespace {

// "_edited", ".xmp", " (99999)" and an extension.
constexpr std::size_t kReserved = 7 + 4 + 8 + 16;
// An edited picture that is smaller by more than rounding.
constexpr double kSmaller = 0.98;

std::string_view lastName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

std::string extensionOf(std::string_view path) { return partsOf(legalName(lastName(path))).extension; }

bool isMovieExtension(std::string_view extension) {
  static constexpr std::array<std::string_view, 8> kMovies{".mov", ".mp4", ".m4v", ".avi",
                                                           ".3gp", ".mpg", ".mts", ".qt"};
  return std::find(kMovies.begin(), kMovies.end(), foldedFileName(extension)) != kMovies.end();
}

SourceFile sourceOf(FileRole role, OpenFile file) {
  SourceFile source;
  source.role = role;
  source.modified = stampOf(file.descriptor.get()).modified;
  source.extension = extensionOf(file.path);
  source.file = std::move(file);
  return source;
}

std::int64_t numberAt(const Dictionary& properties, std::string_view key) {
  const Value* value = properties.find(key);
  return value && value->isNumber() ? value->integerValue() : 0;
}

}  // namespace

std::string originalName(const PhotoFacts& photo) {
  std::string path;
  if (!photo.originalPaths.empty()) path = photo.originalPaths.front();
  if (photo.referenced) path = photo.referenced->path;
  if (photo.fileName.empty()) return std::string(lastName(path));
  if (!partsOf(photo.fileName).extension.empty()) return photo.fileName;
  return photo.fileName + partsOf(lastName(path)).extension;
}

PhotoSources PhotoSourceFinder::find(const PhotoFacts& photo) {
  PhotoSources found;
  hadReadError_ = false;
  addAll(photo, found);
  found.hadReadError = hadReadError_;
  return found;
}

void PhotoSourceFinder::addAll(const PhotoFacts& photo, PhotoSources& found) {
  const NameParts name = legalParts(originalName(photo), kReserved);
  found.stem = name.stem;
  OpenFile original = openOriginal(photo);
  const bool hasOriginal = original.state == FileState::Open;
  const bool wantsEdited =
      options_.versions != ExportOptions::Versions::Original && isEdited(photo, original);
  OpenFile edited = wantsEdited || !hasOriginal ? openFirst(photo.editedPaths) : OpenFile();
  if (edited.state == FileState::Open && photo.isMovie && !isMovieExtension(extensionOf(edited.path)))
    edited = OpenFile();  // the movie's poster
  const bool hasEdited = edited.state == FileState::Open;
  if (wantsEdited && !hasEdited && hasOriginal && !photo.isMovie)
    found.problems.push_back({Finding::MissingEdited, originalName(photo), "the original was taken"});
  if (!hasOriginal) {
    addInPlaceOfOriginal(photo, std::move(edited), original, found);
    return;
  }
  if (options_.versions != ExportOptions::Versions::Edited || !hasEdited) {
    SourceFile file = sourceOf(FileRole::Original, std::move(original));
    if (!name.extension.empty()) file.extension = name.extension;
    file.width = photo.storedWidth;
    file.height = photo.storedHeight;
    found.files.push_back(std::move(file));
    addCompanions(photo, found);
  }
  if (hasEdited) addEdited(photo, std::move(edited), found);
}

OpenFile PhotoSourceFinder::unreadable(FoundFile found, const std::string& path) {
  hadReadError_ = hadReadError_ || !found.refused;
  found.file.path = found.refused.value_or(path);
  return std::move(found.file);
}

OpenFile PhotoSourceFinder::openFirst(const std::vector<std::string>& paths) {
  OpenFile last;
  for (const std::string& path : paths) {
    FoundFile found = library_.files().open(library_.path(), path);
    if (found.file.state == FileState::Open) return std::move(found.file);
    if (found.file.state != FileState::Missing) last = unreadable(std::move(found), path);
  }
  return last;
}

OpenFile PhotoSourceFinder::openOriginal(const PhotoFacts& photo) {
  if (!photo.referenced) return openFirst(photo.originalPaths);
  OpenFile last;
  for (const std::string& folder : library_.files().allowed().foldersOf(photo.referenced->volume)) {
    FoundFile found = library_.files().openBelow(folder, photo.referenced->path);
    if (found.file.state == FileState::Open) return std::move(found.file);
    if (found.file.state != FileState::Missing)
      last = unreadable(std::move(found), folder + "/" + photo.referenced->path);
  }
  return last;
}

ExportState::Picture PhotoSourceFinder::pictureOf(const PhotoFacts& photo, FileRole role,
                                                  const OpenFile& file) {
  const FileKey key{exported_.id, photo.uuid, role};
  const std::int64_t modified = stampOf(file.descriptor.get()).modified;
  if (const auto known = context_.state.picture(key, file.size, modified)) return *known;
  ExportState::Picture picture;
  if (const auto properties = properties_.propertiesOf(file))
    picture = {numberAt(*properties, "PixelWidth"), numberAt(*properties, "PixelHeight"),
               numberAt(*properties, "Orientation")};
  context_.state.setPicture(key, file.size, modified, picture);
  return picture;
}

bool PhotoSourceFinder::isEdited(const PhotoFacts& photo, const OpenFile& original) {
  if (photo.isAdjusted || !photo.mayBeTurned || original.state != FileState::Open)
    return moxtel::isEdited(photo, std::nullopt);
  const std::int64_t orientation = pictureOf(photo, FileRole::Original, original).orientation;
  return moxtel::isEdited(photo, orientation > 0 ? static_cast<int>(orientation) : 1);
}

void PhotoSourceFinder::addEdited(const PhotoFacts& photo, OpenFile edited, PhotoSources& found) {
  SourceFile file = sourceOf(FileRole::Edited, std::move(edited));
  if (!photo.isMovie) {
    const ExportState::Picture picture = pictureOf(photo, FileRole::Edited, file.file);
    file.width = static_cast<std::int32_t>(picture.width);
    file.height = static_cast<std::int32_t>(picture.height);
  }
  const bool isSmall =
      file.width > 0 && file.width < kSmaller * photo.width && file.height < kSmaller * photo.height;
  if (isSmall)
    found.problems.push_back({Finding::SmallEdited, originalName(photo),
                              std::to_string(file.width) + " × " + std::to_string(file.height) + " of " +
                                  std::to_string(photo.width) + " × " + std::to_string(photo.height) +
                                  " pixels"});
  if (!photo.editedIsUpToDate) found.problems.push_back({Finding::OldEdited, originalName(photo), {}});
  found.files.push_back(std::move(file));
}

SourceProblem PhotoSourceFinder::problemOf(const PhotoFacts& photo, const OpenFile& original) {
  const std::string name = originalName(photo);
  if (original.state != FileState::Missing)
    return {Finding::Unreadable, original.path,
            hadReadError_ ? "a read error, or no regular file" : "no permission to read it"};
  if (photo.referenced) return {Finding::AbsentDisk, name, photo.referenced->volume};
  const LibraryKind kind = library_.kind();
  const bool hasCloud = kind == LibraryKind::Photos4 || kind == LibraryKind::Photos5;
  if (hasCloud && !photo.smallPaths.empty()) return {Finding::OnlyInCloud, name, {}};
  std::string reason;
  if (!photo.originalPaths.empty()) {
    std::string_view path = photo.originalPaths.front();
    if (path.starts_with(library_.path() + "/")) path.remove_prefix(library_.path().size() + 1);
    reason = "the library has no file '" + std::string(path) + "'";
  }
  return {Finding::MissingOriginal, name, reason};
}

// A picture is better than none.
void PhotoSourceFinder::addInPlaceOfOriginal(const PhotoFacts& photo, OpenFile edited,
                                             const OpenFile& original, PhotoSources& found) {
  SourceProblem problem = problemOf(photo, original);
  const bool isFull = edited.state == FileState::Open;
  if (!isFull && !photo.isMovie) edited = openFirst(photo.smallPaths);
  if (edited.state == FileState::Open) {
    if (problem.finding != Finding::AbsentDisk && problem.finding != Finding::Unreadable)
      problem.reason = isFull ? "the library's full-size picture was taken" : "a smaller picture was taken";
    addEdited(photo, std::move(edited), found);
  }
  found.problems.insert(found.problems.begin(), std::move(problem));
}

void PhotoSourceFinder::addCompanions(const PhotoFacts& photo, PhotoSources& found) {
  const std::string first = foldedFileName(found.files.front().extension);
  if (photo.alternate) {
    OpenFile file = openFirst(photo.alternate->paths);
    // Where it is no master of its own, its path is only where it would be.
    const bool isKnown = !photo.alternate->masterUuid.empty();
    if (file.state != FileState::Open && isKnown) {
      found.problems.push_back(
          {Finding::MissingOriginal, photo.alternate->fileName, "the other half of a pair of RAW and JPEG"});
    } else if (file.state == FileState::Open) {
      SourceFile source = sourceOf(FileRole::Alternate, std::move(file));
      if (foldedFileName(source.extension) == first) source.extension = "_other" + source.extension;
      found.files.push_back(std::move(source));
    }
  }
  if (photo.livePath.empty()) return;
  OpenFile movie = openFirst({photo.livePath});
  if (movie.state == FileState::Open) {
    found.files.push_back(sourceOf(FileRole::LiveMovie, std::move(movie)));
  } else {
    found.problems.push_back({Finding::MissingOriginal, originalName(photo), "the movie of a live photo"});
  }
}

}  // namespace moxtel
