#include "web/files/PhotoFiles.h"

#include <algorithm>

#include "library/ImageFiles.h"
#include "library/LibraryFiles.h"
#include "library/PathNames.h"
#include "library/answers/OpenLibrary.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/PhotoFactsReader.h"
#include "value/Format.h"

namespace moxtel {
namespace {

bool isOne(Query query) { return query.step() && query.integerColumn(0) != 0; }

bool isOpen(const PlacedFile& found) { return found.file.state == FileState::Open; }

}  // namespace

OpenFile openAgain(LibraryFileFinder& finder, const FilePlace& place) {
  return std::move(
      (place.isOutside ? finder.openBelow(place.folder, place.path) : finder.open(place.folder, place.path))
          .file);
}

bool PhotoFiles::isShown(std::int64_t modelId) {
  const bool is = isShownPhoto(modelId);
  if (!is) library_.endReading();
  return is;
}

bool PhotoFiles::isShownPhoto(std::int64_t modelId) {
  LibraryDatabases& databases = library_.databases();
  Value master, project;
  {
    Query row = databases.runUnlogged(
        DatabaseFile::Library,
        "SELECT isHidden,isInTrash,masterUuid,projectUuid FROM RKVersion WHERE modelId = %lld AND "
        "+versionNumber IS NOT 0 AND +showInLibrary = 1",
        {modelId});
    if (!row.step() || row.integerColumn(0) != 0 || row.integerColumn(1) != 0) return false;
    master = row.stringColumn(2);
    project = row.stringColumn(3);
  }
  if (isOne(databases.runUnlogged(DatabaseFile::Library, "SELECT isInTrash FROM RKMaster WHERE uuid = '%@'",
                                  {master})))
    return false;
  return project.isNil() ||
         !isOne(databases.runUnlogged(DatabaseFile::Library,
                                      "SELECT isInTrash FROM RKFolder WHERE uuid = '%@'", {project}));
}

std::optional<PhotoFacts> PhotoFiles::shown(std::int64_t modelId) {
  auto photo = library_.facts().photo(modelId);
  library_.endReading();
  if (!photo || photo->isHidden || photo->isInTrash) return std::nullopt;
  return photo;
}

OpenFile PhotoFiles::thumbnail(std::int64_t modelId, bool mini) {
  ImageFiles& images = library_.images();
  const auto path = images.thumbnailPathWithUuid(Value(std::to_string(modelId)), mini, false);
  library_.endReading();
  return images.open(path);
}

OpenFile PhotoFiles::faceTile(std::int64_t modelId, std::int64_t index) {
  Value tile;
  {
    Query row = library_.databases().runUnlogged(
        DatabaseFile::ImageProxies, "SELECT faceTilePath FROM RKImageProxyState WHERE versionId = %lld",
        {modelId});
    while (row.step()) tile = row.stringColumn(0);
  }
  library_.endReading();
  const auto base = library_.images().thumbnailPathBase();
  if (tile.string().empty() || !base || library_.databases().layout().hasPathCandidates) return {};
  const std::string name = std::string(tile.string()) + "_face" + std::to_string(index) + ".jpg";
  return library_.images().open(appendingPathComponent(*base, name));
}

PlacedFile PhotoFiles::firstOf(const std::vector<std::string>& paths) {
  PlacedFile last;
  for (const std::string& path : paths) {
    last.file = std::move(library_.files().open(library_.path(), path).file);
    last.place = {library_.path(), path, false};
    if (isOpen(last)) break;
  }
  return last;
}

PlacedFile PhotoFiles::referenced(const ReferencedFile& reference) {
  PlacedFile last;
  for (const std::string& folder : library_.files().allowed().foldersOf(reference.volume)) {
    last.file = std::move(library_.files().openBelow(folder, reference.path).file);
    last.place = {folder, reference.path, true};
    if (isOpen(last)) break;
  }
  return last;
}

PlacedFile PhotoFiles::original(const PhotoFacts& photo) {
  library_.endReading();
  PlacedFile found = firstOf(photo.originalPaths);
  return isOpen(found) || !photo.referenced ? std::move(found) : referenced(*photo.referenced);
}

PlacedFile PhotoFiles::edited(const PhotoFacts& photo) {
  library_.endReading();
  return firstOf(photo.editedPaths);
}

PlacedFile PhotoFiles::live(const PhotoFacts& photo) {
  library_.endReading();
  return photo.livePath.empty() ? PlacedFile() : firstOf({photo.livePath});
}

PictureFile PhotoFiles::best(const PhotoFacts& photo) {
  if (!photo.isMovie && (photo.isAdjusted || photo.isRaw || photo.editedIsUpToDate)) {
    PlacedFile found = edited(photo);
    if (isOpen(found)) return {std::move(found.file), 0};
  }
  // Without the full-size picture, the thumbnail alone shows the edits. A RAW file counts as edited.
  if (!photo.isMovie && (!photo.isAdjusted || photo.isRaw)) {
    PlacedFile found = original(photo);
    if (isOpen(found)) return {std::move(found.file), photo.rotation};
  }
  if (PlacedFile found = firstOf(photo.smallPaths); isOpen(found)) return {std::move(found.file), 0};
  OpenFile thumb = thumbnail(photo.modelId, false);
  if (thumb.state == FileState::Open || photo.isMovie) return {std::move(thumb), 0};
  return {std::move(original(photo).file), photo.rotation};
}

std::optional<SquareInPicture> squareAround(const PhotoFacts& photo, std::int64_t index) {
  constexpr double kSurroundings = 1.6;  // of the face's longer side
  const auto face = std::find_if(photo.faces.begin(), photo.faces.end(),
                                 [&](const FaceFact& one) { return one.index == index; });
  if (face == photo.faces.end() || !face->displayed || photo.width <= 0 || photo.height <= 0)
    return std::nullopt;
  const FactRectangle& place = *face->displayed;
  const double side = std::max(place.width * photo.width, place.height * photo.height) * kSurroundings;
  return SquareInPicture{place.x + place.width / 2, 1 - place.y - place.height / 2,
                         side / std::max(photo.width, photo.height)};
}

}  // namespace moxtel
