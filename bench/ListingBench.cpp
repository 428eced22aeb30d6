// Measures listing photos, containers and faces, next to a floor in the same run: joins that read the same
// data into plain structs, over whole tables if most rows are needed. Both keep their connections open. Makes
// its libraries in the temporary folder.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "library/ContainerTree.h"
#include "library/Faces.h"
#include "library/PhotoRecords.h"
#include "library/albumdata/AlbumEntries.h"
#include "platform/system/SystemLog.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

struct NoAlbumEntries final : AlbumEntries {
  const Value& containerDict(std::string_view) const override {
    static const Value kNothing;
    return kNothing;
  }
};

// Numbers 1 to N as the table n; uuids of 22 characters in no order.
std::string numbers(std::int64_t count) {
  return "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) +
         ") ";
}
std::string uuid(const std::string& letter, const std::string& number) {
  return "printf('" + letter + "%%%08x+%011d', (" + number + " * 2654435761) % 4294967296, " + number + ")";
}

constexpr std::int64_t kSmallAlbum = 1000;

// One project and one album of `photos` photos, each with coordinates, a caption and a comment; two versions
// of each photo, of which the one with the even model id is visible. Larger libraries have another album of
// 1,000 photos from all over the library.
void addPhotos(test::TestLibrary& files, std::int64_t photos) {
  const std::string all = numbers(photos);
  const std::string columns =
      "INSERT INTO RKVersion(modelId,uuid,versionNumber,masterUuid,projectUuid,isInTrash,fileName,rotation,"
      "exifLatitude,exifLongitude) ";
  files.execute(
      DatabaseFile::Library,
      "BEGIN;"
      "INSERT INTO RKFolder(uuid,folderType,isInTrash) VALUES('project',2,0);"
      "INSERT INTO RKAlbum(modelId,uuid,albumType,albumSubclass,isInTrash) VALUES(7,'album',1,3,0);" +
          columns + all + "SELECT 2*i-1," + uuid("o", "i") + ",0," + uuid("m", "i") +
          ",'project',0,printf('IMG_%d.JPG',i),0,48.5,9.25 FROM n;" + columns + all + "SELECT 2*i," +
          uuid("v", "i") + ",1," + uuid("m", "i") +
          ",'project',0,printf('IMG_%d.JPG',i),0,48.5,i * 0.001 FROM n;"
          "INSERT INTO RKAlbumVersion(albumId,versionId) " +
          all + "SELECT 7,2*i FROM n; COMMIT;");
  if (photos > kSmallAlbum) {
    files.execute(
        DatabaseFile::Library,
        "INSERT INTO RKAlbum(modelId,uuid,albumType,albumSubclass,isInTrash) VALUES(8,'small album',1,3,0);"
        "INSERT INTO RKAlbumVersion(albumId,versionId) " +
            numbers(kSmallAlbum) + "SELECT 8,2*i*" + std::to_string(photos / kSmallAlbum) + " FROM n");
  }
  files.execute(DatabaseFile::Properties,
                "BEGIN; INSERT INTO RKUniqueString(modelId,stringProperty) " + all +
                    "SELECT i,printf('What can be seen on picture %d',i) FROM n;"
                    "INSERT INTO RKIptcProperty(versionId,propertyKey,stringId) " +
                    all +
                    "SELECT 2*i,'Caption/Abstract',i FROM n;"
                    "INSERT INTO RKExifStringProperty(versionId,propertyKey,stringId) " +
                    all + "SELECT 2*i,'ImageDescription',i FROM n; COMMIT;");
}

void addProjects(test::TestLibrary& files, std::int64_t projects) {
  files.execute(DatabaseFile::Library,
                "INSERT INTO RKFolder(uuid,name,folderType,parentFolderUuid,isInTrash,isHiddenWhenEmpty,"
                "minImageDate,maxImageDate,posterVersionUuid) " +
                    numbers(projects) + "SELECT " + uuid("p", "i") +
                    ",iif(i % 2,'',printf('Project %d',i)),2,'AllProjectsItem',0,0,i * 90000,i * 90000,'v' "
                    "FROM n;"
                    "INSERT INTO RKVersion(uuid,versionNumber,projectUuid,isInTrash) " +
                    numbers(projects * 10) + "SELECT " + uuid("w", "i") + ",1," +
                    uuid("p", "(i % " + std::to_string(projects) + " + 1)") +
                    ",0 FROM n;"
                    "INSERT INTO RKCustomSortOrder(containerUuid,objectUuid,orderNumber) " +
                    numbers(projects) + "SELECT 'AllProjectsItem'," + uuid("p", "i") + ",-i FROM n;");
}

// Twenty detections of each face.
void addFaces(test::TestLibrary& files, std::int64_t faces) {
  files.execute(DatabaseFile::Faces, "BEGIN; INSERT INTO RKFaceName(uuid,name,faceKey,keyVersionUuid) " +
                                         numbers(faces) + "SELECT " + uuid("f", "i") +
                                         ",printf('Person %d',i),i," + uuid("v", "i") +
                                         " FROM n;"
                                         "INSERT INTO RKDetectedFace(faceKey,masterUuid,faceIndex) " +
                                         numbers(faces * 20) + "SELECT i % " + std::to_string(faces) +
                                         " + 1," + uuid("m", "(i % 20000 + 1)") + ",0 FROM n; COMMIT;");
}

// Library.apdb, with Properties.apdb as "p".
class FloorConnection final {
 public:
  explicit FloorConnection(const test::TestLibrary& files) {
    const std::string attach = "ATTACH '" + files.pathOf(DatabaseFile::Properties) + "' AS p";
    if (sqlite3_open_v2(files.pathOf(DatabaseFile::Library).c_str(), &connection_, SQLITE_OPEN_READONLY,
                        nullptr) != SQLITE_OK ||
        sqlite3_exec(connection_, attach.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK ||
        sqlite3_exec(connection_, "PRAGMA cache_size=-32768; PRAGMA p.cache_size=-32768", nullptr, nullptr,
                     nullptr) != SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(connection_));
  }
  ~FloorConnection() { sqlite3_close(connection_); }
  FloorConnection(const FloorConnection&) = delete;
  FloorConnection& operator=(const FloorConnection&) = delete;
  sqlite3* handle() const { return connection_; }

 private:
  sqlite3* connection_ = nullptr;
};

class FloorQuery final {
 public:
  FloorQuery(const FloorConnection& connection, const char* sql) {
    if (sqlite3_prepare_v2(connection.handle(), sql, -1, &statement_, nullptr) != SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(connection.handle()));
  }
  ~FloorQuery() { sqlite3_finalize(statement_); }
  FloorQuery(const FloorQuery&) = delete;
  FloorQuery& operator=(const FloorQuery&) = delete;
  bool step() { return sqlite3_step(statement_) == SQLITE_ROW; }
  std::int64_t number(int column) { return sqlite3_column_int64(statement_, column); }
  double real(int column) { return sqlite3_column_double(statement_, column); }
  std::string text(int column) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return bytes ? std::string(bytes) : std::string();
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
};

// A library, made once in a run.
struct Sample {
  Sample(std::int64_t photos, std::int64_t projects, std::int64_t faces) {
    addPhotos(files, photos);
    if (projects > 0) addProjects(files, projects);
    if (faces > 0) addFaces(files, faces);
    opened = std::make_unique<test::OpenedLibrary>(files);
    records = std::make_unique<PhotoRecords>(opened->databases, entries, application);
    tree = std::make_unique<ContainerTree>(opened->databases, application, opened->defaults);
    persons = std::make_unique<Faces>(opened->databases);
    floor = std::make_unique<FloorConnection>(files);
  }
  test::TestLibrary files;
  NoAlbumEntries entries;
  NoPhotoApplication application;
  std::unique_ptr<test::OpenedLibrary> opened;
  std::unique_ptr<PhotoRecords> records;
  std::unique_ptr<ContainerTree> tree;
  std::unique_ptr<Faces> persons;
  std::unique_ptr<FloorConnection> floor;
};

Sample& sample(std::int64_t photos, std::int64_t projects = 0, std::int64_t faces = 0) {
  static std::map<std::int64_t, std::unique_ptr<Sample>> samples;
  auto& made = samples[photos * 1'000'000 + projects * 1000 + faces];
  if (!made) made = std::make_unique<Sample>(photos, projects, faces);
  return *made;
}

void photosOf(benchmark::State& state, const char* container, std::int64_t expected) {
  Sample& library = sample(state.range(0));
  for (auto _ : state) {
    library.opened->nextCommand();
    const Value photos = library.records->photosInContainer(container);
    if (photos.array().size() != static_cast<std::size_t>(expected)) state.SkipWithError("photos");
    benchmark::DoNotOptimize(photos);
  }
  state.SetItemsProcessed(state.iterations() * expected);
}

struct PlainPhoto {
  std::string uuid;
  std::int64_t modelId = 0;
  double latitude = 0;
  double longitude = 0;
  bool movie = false;
  std::string caption;
  std::string comment;
};

void addTexts(std::vector<PlainPhoto>& photos, const std::unordered_map<std::int64_t, std::size_t>& positions,
              const FloorConnection& connection, const char* sql, std::string PlainPhoto::*text) {
  FloorQuery query(connection, sql);
  while (query.step()) {
    const auto found = positions.find(query.number(0));
    if (found != positions.end()) photos[found->second].*text = query.text(1);
  }
}

struct FloorSql {
  const char* photos;
  const char* captions = nullptr;
  const char* comments = nullptr;
};

#define CAPTIONS                                                                                        \
  "SELECT i.versionId,s.stringProperty FROM p.RKIptcProperty i JOIN p.RKUniqueString s ON s.modelId = " \
  "i.stringId WHERE i.propertyKey = 'Caption/Abstract'"
#define COMMENTS                                                                                            \
  "SELECT i.versionId,s.stringProperty FROM p.RKExifStringProperty i JOIN p.RKUniqueString s ON s.modelId " \
  "= i.stringId WHERE i.propertyKey = 'ImageDescription'"
#define MEMBERS "SELECT versionId FROM RKAlbumVersion WHERE albumId = "

std::vector<PlainPhoto> plainPhotos(const FloorConnection& connection, const FloorSql& sql) {
  std::vector<PlainPhoto> photos;
  std::unordered_map<std::int64_t, std::size_t> positions;
  FloorQuery query(connection, sql.photos);
  while (query.step()) {
    positions.emplace(query.number(0), photos.size());
    photos.push_back(
        {query.text(1), query.number(0), query.real(2), query.real(3), !query.text(4).empty(), {}, {}});
  }
  if (sql.captions) addTexts(photos, positions, connection, sql.captions, &PlainPhoto::caption);
  if (sql.comments) addTexts(photos, positions, connection, sql.comments, &PlainPhoto::comment);
  return photos;
}

void floorOf(benchmark::State& state, const FloorSql& sql, std::int64_t expected) {
  Sample& library = sample(state.range(0));
  library.opened->nextCommand();
  for (auto _ : state) {
    const auto photos = plainPhotos(*library.floor, sql);
    if (photos.size() != static_cast<std::size_t>(expected)) state.SkipWithError("photos");
    benchmark::DoNotOptimize(photos.data());
  }
  state.SetItemsProcessed(state.iterations() * expected);
}

void PhotosOfAlbum(benchmark::State& state) { photosOf(state, "album", state.range(0)); }
void PhotosOfAlbumFloor(benchmark::State& state) {
  floorOf(
      state,
      {"SELECT v.modelId,v.uuid,v.exifLatitude,v.exifLongitude,v.videoPosterFramePoint FROM RKAlbumVersion "
       "a JOIN RKVersion v ON v.modelId = a.versionId WHERE a.albumId = 7",
       CAPTIONS, COMMENTS},
      state.range(0));
}
void PhotosOfSmallAlbum(benchmark::State& state) { photosOf(state, "small album", kSmallAlbum); }
void PhotosOfSmallAlbumFloor(benchmark::State& state) {
  floorOf(
      state,
      {"SELECT v.modelId,v.uuid,v.exifLatitude,v.exifLongitude,v.videoPosterFramePoint FROM RKAlbumVersion "
       "a JOIN RKVersion v ON v.modelId = a.versionId WHERE a.albumId = 8",
       CAPTIONS " AND i.versionId IN (" MEMBERS "8)", COMMENTS " AND i.versionId IN (" MEMBERS "8)"},
      kSmallAlbum);
}
void PhotosOfProject(benchmark::State& state) { photosOf(state, "project", state.range(0)); }
void PhotosOfProjectFloor(benchmark::State& state) {
  floorOf(state,
          {"SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE "
           "projectUuid = 'project' AND versionNumber != 0 AND isInTrash = 0",
           CAPTIONS, COMMENTS},
          state.range(0));
}
void PhotosOfWholeLibrary(benchmark::State& state) { photosOf(state, "allPhotosAlbum", state.range(0)); }
void PhotosOfWholeLibraryFloor(benchmark::State& state) {
  floorOf(state,
          {"SELECT modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE "
           "isInTrash = 0 AND versionNumber != 0"},
          state.range(0));
}

BENCHMARK(PhotosOfAlbum)->Arg(1000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(PhotosOfAlbumFloor)->Arg(1000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(PhotosOfSmallAlbum)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(PhotosOfSmallAlbumFloor)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(PhotosOfProject)->Arg(1000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(PhotosOfProjectFloor)->Arg(1000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(PhotosOfWholeLibrary)->Arg(1000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(PhotosOfWholeLibraryFloor)->Arg(1000)->Arg(100'000)->Unit(benchmark::kMillisecond);

constexpr std::int64_t kPhotos = 20'000;
constexpr std::int64_t kProjects = 5000;
constexpr std::int64_t kFaces = 1000;

void ProjectsBuilt(benchmark::State& state) {
  Sample& library = sample(kPhotos, kProjects, kFaces);
  for (auto _ : state) {
    library.opened->nextCommand();
    const Value projects = library.tree->containersInParentUuid("AllProjectsItem");
    if (projects.array().size() != kProjects) state.SkipWithError("projects");
  }
}
void ProjectsKept(benchmark::State& state) {
  Sample& library = sample(kPhotos, kProjects, kFaces);
  library.opened->nextCommand();
  if (library.tree->getTopLevelProjects().array().size() != kProjects) state.SkipWithError("projects");
  for (auto _ : state) benchmark::DoNotOptimize(library.tree->getTopLevelProjects());
}
void FacesBuilt(benchmark::State& state) {
  Sample& library = sample(kPhotos, kProjects, kFaces);
  for (auto _ : state) {
    library.persons->dropCaches();
    library.opened->nextCommand();
    const Value faces = library.persons->facesAlbums();
    if (faces.array().size() != kFaces) state.SkipWithError("faces");
    if (faces.array()[0]["PhotoCount"].intValue() != 20) state.SkipWithError("photos of a face");
  }
}
void FacesKept(benchmark::State& state) {
  Sample& library = sample(kPhotos, kProjects, kFaces);
  library.opened->nextCommand();
  for (auto _ : state) benchmark::DoNotOptimize(library.persons->facesAlbums());
}

BENCHMARK(ProjectsBuilt)->Unit(benchmark::kMillisecond);
BENCHMARK(ProjectsKept)->Unit(benchmark::kMillisecond);
BENCHMARK(FacesBuilt)->Unit(benchmark::kMillisecond);
BENCHMARK(FacesKept)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace moxtel

int main(int argc, char** argv) {
  moxtel::setSystemLogSink([](std::string_view) {});
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
