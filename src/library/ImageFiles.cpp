#include "library/ImageFiles.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <algorithm>

#include "library/Faces.h"
#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/PathNames.h"
#include "library/database/LibraryDatabases.h"
#include "pictures/codec/PictureDecoder.h"
#include "platform/system/SystemLog.h"
#include "value/Format.h"

namespace moxtel {
namespace {

bool containsLetter(std::string_view text) {
  const auto points = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())).toUcs4();
  return std::any_of(points.begin(), points.end(),
                     [](char32_t point) { return QChar::isLetter(point) || QChar::isMark(point); });
}

// The numeric id without the offset that iPhoto's scripts add. The offset itself is returned unchanged.
std::int64_t versionIdOf(const Value& identifier) {
  std::int64_t number = identifier.integerValue();
  if (number > IPHOTO_BASE_ID) {
    number -= IPHOTO_BASE_ID;
    NSLog("versionId '%lld' > IPHOTO_BASE_ID, uuid: %@", number, identifier);
  }
  return number;
}

Query proxyQuery(LibraryDatabases& databases, const Value& identifier) {
  if (containsLetter(identifier.string())) {
    return databases.run(DatabaseFile::ImageProxies,
                         "SELECT thumbnailPath,miniThumbnailPath,faceTilePath FROM RKImageProxyState "
                         "WHERE versionUuid = '%@'",
                         {identifier});
  }
  return databases.run(DatabaseFile::ImageProxies,
                       "SELECT thumbnailPath,miniThumbnailPath,faceTilePath FROM RKImageProxyState "
                       "WHERE versionId = %lld",
                       {versionIdOf(identifier)});
}

// Of several rows the last one counts.
Value lastText(Query query) {
  Value last;
  while (query.step()) last = query.stringColumn(0);
  return last;
}

}  // namespace

ImageFiles::ImageFiles(const LibraryLocation& location, LibraryDatabases& databases, Faces& faces,
                       LibraryFiles& files)
    : location_(location), databases_(databases), faces_(faces), files_(files) {}

std::optional<std::string> ImageFiles::base(std::string_view folder) const {
  const auto& library = location_.libraryPath();
  if (!library) return std::nullopt;
  return databases_.layout().hasPathCandidates ? *library : appendingPathComponent(*library, folder);
}

std::optional<std::string> ImageFiles::masterPathBase() const { return base("Masters"); }
std::optional<std::string> ImageFiles::thumbnailPathBase() const { return base("Thumbnails"); }
std::optional<std::string> ImageFiles::previewPathBase() const { return base("Previews"); }

std::optional<std::string> ImageFiles::below(const std::optional<std::string>& base, const Value& relative) {
  reference_.reset();
  part_.reset();
  if (!base || relative.isNil()) return std::nullopt;
  std::string_view candidates = relative.string();
  if (!databases_.layout().hasPathCandidates) return appendingPathComponent(*base, candidates);
  std::optional<std::string> first;
  while (!candidates.empty()) {
    const std::size_t end = std::min(candidates.find('\n'), candidates.size());
    std::string path = appendingPathComponent(*base, candidates.substr(0, end));
    if (files_.exists(*base, path)) return path;
    if (!first) first = std::move(path);
    candidates.remove_prefix(std::min(end + 1, candidates.size()));
  }
  return first;
}

// A library of Photos has a file for the face, or the face's place in the picture.
std::optional<std::string> ImageFiles::facePathOf(const Value& identifier, const Value& thumbnail) {
  const Value albums = faces_.facesAlbums();
  const auto shows = [&](const Value& album) { return album["KeyPhotoKey"] == identifier; };
  const auto person = std::find_if(albums.array().begin(), albums.array().end(), shows);
  if (person == albums.array().end()) return below(thumbnailPathBase(), thumbnail);
  Value tile;
  std::optional<SquareInPicture> part;
  {
    Query query = databases_.runUnlogged(
        DatabaseFile::Faces,
        "SELECT tilePath,centerX,centerY,size FROM RKDetectedFace WHERE faceKey = %d AND masterUuid = '%@'",
        {(*person)["FaceKey"], (*person)["MasterKey"]});
    if (query.step()) {
      tile = query.stringColumn(0);
      part = SquareInPicture{query.realColumn(1), query.realColumn(2), query.realColumn(3)};
    }
  }
  const auto path =
      below(thumbnailPathBase(), tile.isNil() ? thumbnail : Value(format("%@\n%@", tile, thumbnail)));
  if (path && !(!tile.isNil() && path->ends_with(tile.string()))) part_ = part;
  return path;
}

std::optional<std::string> ImageFiles::thumbnailPathWithUuid(const Value& identifier, bool mini, bool face) {
  if (identifier.isNil() || !databases_.openProxiesDB()) return std::nullopt;
  const ProxyPaths paths = proxyPathsOf(identifier, mini);
  databases_.closeProxiesDB();
  if (!face) return below(thumbnailPathBase(), paths.thumbnail);
  if (paths.faceTile.isNil() && databases_.layout().hasPathCandidates) {
    return facePathOf(identifier, proxyPathsOf(identifier, false).thumbnail);
  }
  if (paths.faceTile.isNil()) {
    NSLog("DID NOT found faceTilePath: %@", nullptr);  // kept without a name: logs are searched for it
    return below(thumbnailPathBase(), paths.thumbnail);
  }
  return below(thumbnailPathBase(), Value(format("%@_face%d.jpg", paths.faceTile, faceIndexOf(identifier))));
}

ImageFiles::ProxyPaths ImageFiles::proxyPathsOf(const Value& identifier, bool mini) {
  ProxyPaths paths;
  Query query = proxyQuery(databases_, identifier);
  while (query.step()) paths = {query.stringColumn(mini ? 1 : 0), query.stringColumn(2)};
  return paths;
}

std::int32_t ImageFiles::faceIndexOf(const Value& identifier) {
  const Value albums = faces_.facesAlbums();
  const auto shows = [&](const Value& album) { return album["KeyPhotoKey"] == identifier; };
  const auto found = std::find_if(albums.array().begin(), albums.array().end(), shows);
  return found == albums.array().end() ? 0 : (*found)["FaceIndex"].intValue();
}

std::optional<std::string> ImageFiles::pathNameOfImageWithUuid(const Value& uuid) {
  reference_.reset();
  if (!databases_.openDatabase()) return std::nullopt;
  Value masterUuid;
  std::int32_t hasAdjustments = 0;
  {
    Query query = databases_.run(
        DatabaseFile::Library,
        "SELECT filename,masterUuid,versionNumber,hasAdjustments FROM RKVersion WHERE uuid = '%@'", {uuid});
    while (query.step()) {
      masterUuid = query.stringColumn(1);
      hasAdjustments = query.integerColumn(3);
    }
  }
  if (masterUuid.isNil()) {
    // Not closed on purpose: the count of users stays raised, and later openings answer YES.
    NSLog("did not found masterUuid");
    return std::nullopt;
  }
  if (hasAdjustments != 0) {
    databases_.closeDatabase();
    const auto path = below(previewPathBase(), fullSizePreviewPath(uuid));
    databases_.closeDatabase();
    return path;
  }
  const Value imagePath = masterImagePath(masterUuid);
  const auto path = below(masterPathBase(), imagePath);
  reference_ = referenceOf(masterUuid, imagePath);
  databases_.closeDatabase();
  return path;
}

Value ImageFiles::fullSizePreviewPath(const Value& uuid) {
  // If it does not open, the query finds no rows, and logs that.
  [[maybe_unused]] const bool opened = databases_.openProxiesDB();
  const Value path = lastText(
      databases_.run(DatabaseFile::ImageProxies,
                     "SELECT fullSizePreviewPath FROM RKImageProxyState WHERE versionUuid = '%@'", {uuid}));
  databases_.closeProxiesDB();
  return path;
}

Value ImageFiles::masterImagePath(const Value& masterUuid) {
  return lastText(databases_.run(DatabaseFile::Library, "SELECT imagePath FROM RKMaster WHERE uuid = '%@'",
                                 {masterUuid}));
}

std::int32_t ImageFiles::rotationOfVersionId(const Value& uuid) {
  if (!databases_.openDatabase()) return 0;
  std::int32_t rotation = 0;
  {
    Query query =
        databases_.run(DatabaseFile::Library, "SELECT rotation FROM RKVersion WHERE uuid = '%@'", {uuid});
    if (query.step()) rotation = query.integerColumn(0);
  }
  databases_.closeDatabase();
  NSLog("rotation of '%@': %d", uuid, rotation);
  return rotation;
}

std::optional<ImageFiles::Reference> ImageFiles::referenceOf(const Value& masterUuid,
                                                             const Value& imagePath) {
  if (files_.allowed().empty() || imagePath.isNil()) return std::nullopt;
  Query master = databases_.runUnlogged(
      DatabaseFile::Library, "SELECT fileIsReference,fileVolumeUuid FROM RKMaster WHERE uuid = '%@'",
      {masterUuid});
  if (!master.step() || master.integerColumn(0) == 0) return std::nullopt;
  Query volume = databases_.runUnlogged(DatabaseFile::Library, "SELECT name FROM RKVolume WHERE uuid = '%@'",
                                        {master.stringColumn(1)});
  return Reference{std::string(imagePath.string()),
                   volume.step() ? std::string(volume.stringColumn(0).string()) : std::string()};
}

OpenFile ImageFiles::open(const std::optional<std::string>& path) {
  releaseLocks();
  const auto& library = location_.libraryPath();
  if (!path || !library) return {};
  FoundFile found = files_.open(*library, *path);
  if (found.file.state == FileState::Missing && reference_) return openReference(*reference_);
  return std::move(found.file);
}

OpenFile ImageFiles::openReference(const Reference& reference) {
  OpenFile last;
  for (const std::string& folder : files_.allowed().foldersOf(reference.volume)) {
    FoundFile found = files_.openBelow(folder, reference.path);
    if (found.file.state == FileState::Open) return std::move(found.file);
    if (found.file.state != FileState::Missing) last = std::move(found.file);
  }
  return last;
}

void ImageFiles::releaseLocks() { databases_.releaseLocks(); }

std::optional<PixelBuffer> ImageFiles::pixelsOf(const std::optional<std::string>& path,
                                                PictureDecoder& decoder) {
  const OpenFile file = open(path);
  return file.state == FileState::Open ? decoder.pixelsOf(file) : std::nullopt;
}

std::optional<PixelBuffer> ImageFiles::thumbnailImageWithUuid(const Value& identifier, bool mini,
                                                              PictureDecoder& decoder) {
  return pixelsOf(thumbnailPathWithUuid(identifier, mini, false), decoder);
}

std::optional<PixelBuffer> ImageFiles::imageWithUuid(const Value& uuid, PictureDecoder& decoder) {
  return pixelsOf(pathNameOfImageWithUuid(uuid), decoder);
}

}  // namespace moxtel
