#include "library/facts/FactFaces.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"
#include "library/facts/FactNames.h"
#include "library/facts/FactQueries.h"
#include "library/facts/PictureShape.h"

namespace moxtel {

namespace {

// Some libraries have the table in one database, some in the other, and some have none.
constexpr SqlText kHasInEdited = "SELECT name FROM sqlite_master WHERE name = 'RKVersionFaceContent'";

// The box around all four corners, whose names follow the face. They count from the bottom left.
std::optional<FactRectangle> boxOfCorners(const Query& row) {
  constexpr int kFirstX = 4, kFirstY = 8;
  double left = std::numeric_limits<double>::max(), right = std::numeric_limits<double>::lowest();
  double lower = left, upper = right;
  for (int corner = 0; corner < 4; ++corner) {
    const auto x = realOf(row, kFirstX + corner), y = realOf(row, kFirstY + corner);
    if (!x || !y) return std::nullopt;
    left = std::min(left, *x);
    right = std::max(right, *x);
    lower = std::min(lower, *y);
    upper = std::max(upper, *y);
  }
  return insidePicture({left, 1 - upper, right - left, upper - lower});
}

// A square whose side is a share of the longer side of the displayed picture.
std::optional<FactRectangle> boxOfSquare(const Query& row, const PhotoFacts& photo) {
  const auto x = realOf(row, 2), y = realOf(row, 3), size = realOf(row, 4);
  if (!x || !y || !size || photo.width <= 0 || photo.height <= 0) return std::nullopt;
  const double longer = std::max(photo.width, photo.height);
  const double width = *size * longer / photo.width, height = *size * longer / photo.height;
  return insidePicture({*x - width / 2, 1 - *y - height / 2, width, height});
}

class FaceReading final {
 public:
  FaceReading(LibraryDatabases& databases, FactNames& names)
      : databases_(databases), names_(names), kind_(databases.layout().kind) {}

  bool readEdited(std::int64_t first, std::int64_t last);
  bool readFaces(PhotoFacts& photo);

 private:
  FaceFact faceOf(const Query& row);
  void addRectangles(const Query& row, const PhotoFacts& photo, FaceFact& face);
  Query facesOf(const PhotoFacts& photo);

  LibraryDatabases& databases_;
  FactNames& names_;
  const LibraryKind kind_;
  // By version and face. Of several rows the first one counts.
  std::map<std::pair<std::int64_t, std::int64_t>, FactRectangle> inEdited_;
};

bool FaceReading::readEdited(std::int64_t first, std::int64_t last) {
  if (kind_ != LibraryKind::IPhoto && kind_ != LibraryKind::AlbumDataOnly) return true;
  const auto hasTable = [this](DatabaseFile file) {
    return databases_.runUnlogged(file, kHasInEdited, {}).step();
  };
  const auto file = hasTable(DatabaseFile::Library) ? DatabaseFile::Library : DatabaseFile::Faces;
  if (!hasTable(file)) return true;
  Query row = databases_.runUnlogged(file, fact_query::kInEdited, {first, last});
  while (row.step()) {
    const auto left = realOf(row, 2), lower = realOf(row, 3), width = realOf(row, 4), height = realOf(row, 5);
    if (!left || !lower || !width || !height) continue;
    const auto box = insidePicture({*left, 1 - *lower - *height, *width, *height});
    if (box) inEdited_.try_emplace({row.integer64Column(0), row.integer64Column(1)}, *box);
  }
  return !row.failed();
}

FaceFact FaceReading::faceOf(const Query& row) {
  FaceFact face;
  face.faceKey = row.integer64Column(0);
  face.index = row.integer64Column(1);
  if (const FactNames::Person* person = names_.person(face.faceKey)) {
    face.name = person->name;
    face.person = person->modelId;
  }
  return face;
}

Query FaceReading::facesOf(const PhotoFacts& photo) {
  const auto run = [&](SqlText sql) {
    return databases_.runUnlogged(DatabaseFile::Faces, sql, {photo.masterUuid});
  };
  switch (kind_) {
    case LibraryKind::Photos4:
    case LibraryKind::Photos5:
      return run(fact_query::kSquares);
    case LibraryKind::AlbumDataOnly:
      return run(fact_query::kKeys);
    default:
      return run(fact_query::kCorners);
  }
}

void FaceReading::addRectangles(const Query& row, const PhotoFacts& photo, FaceFact& face) {
  const auto edited = inEdited_.find({photo.modelId, face.faceKey});
  switch (kind_) {
    case LibraryKind::Photos4:
    case LibraryKind::Photos5:
      face.displayed = boxOfSquare(row, photo);
      return;
    case LibraryKind::AlbumDataOnly:
      if (edited != inEdited_.end()) face.displayed = edited->second;
      return;
    default:
      face.stored = boxOfCorners(row);
      if (photo.isCropped) {
        if (edited != inEdited_.end()) face.displayed = edited->second;
      } else if (face.stored) {
        face.displayed = turned(*face.stored, photo.rotation);
      }
  }
}

bool FaceReading::readFaces(PhotoFacts& photo) {
  if (photo.masterUuid.empty()) return true;
  const bool isIPhoto = kind_ == LibraryKind::IPhoto;
  Query row = facesOf(photo);
  while (photo.faces.size() < kMostFactsOfAPhoto && row.step()) {
    if (isIPhoto && (row.integerColumn(2) != 0 || row.integerColumn(3) != 0)) continue;
    FaceFact face = faceOf(row);
    addRectangles(row, photo, face);
    photo.faces.push_back(std::move(face));
  }
  std::stable_sort(photo.faces.begin(), photo.faces.end(),
                   [](const FaceFact& a, const FaceFact& b) { return a.index < b.index; });
  return !row.failed() || photo.faces.size() >= kMostFactsOfAPhoto;
}

}  // namespace

bool addFaces(LibraryDatabases& databases, FactNames& names, std::int64_t first, std::int64_t last,
              std::vector<PhotoFacts>& photos) {
  FaceReading reading(databases, names);
  bool complete = reading.readEdited(first, last);
  for (PhotoFacts& photo : photos) complete = reading.readFaces(photo) && complete;
  return complete;
}

}  // namespace moxtel
