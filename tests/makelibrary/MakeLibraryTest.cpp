#include "makelibrary/MakeLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "makelibrary/LibraryFolder.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/SqliteWriter.h"
#include "support/SampleLibrary.h"

using namespace moxtel::makelibrary;
namespace fs = std::filesystem;

namespace {

std::string contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// Every file of a folder: its content, and its date, by its path.
std::map<std::string, std::pair<std::string, std::int64_t>> filesIn(const fs::path& folder) {
  std::map<std::string, std::pair<std::string, std::int64_t>> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    if (entry.is_regular_file() && !entry.is_symlink())
      files[entry.path().lexically_relative(folder).string()] = {
          contentOf(entry.path()), entry.last_write_time().time_since_epoch().count()};
  return files;
}

class MakeLibrary : public testing::Test {
 protected:
  MakeLibrary() {
    char name[] = "/tmp/MakeLibraryTest.XXXXXX";
    folder_ = mkdtemp(name);
  }
  ~MakeLibrary() override { fs::remove_all(folder_); }

  fs::path make(const std::string& name, MakeLibraryOptions options = {}) {
    options.folder = folder_ / name;
    makeLibrary(options);
    return options.folder;
  }
  static MakeLibraryOptions small(std::size_t photos = 40) {
    MakeLibraryOptions options;
    options.photos = photos;
    options.images = Images::None;
    return options;
  }
  static std::vector<std::string> select(const fs::path& library, const std::string& file,
                                         const std::string& sql) {
    return selectFrom(library / "Database/apdb" / file, sql);
  }
  static std::vector<std::string> selectFrom(const fs::path& file, const std::string& sql) {
    std::vector<std::string> rows;
    sqlite3* database = nullptr;
    // Immutable: nothing is created beside a file with write-ahead logging.
    const std::string uri = "file:" + file.string() + "?immutable=1";
    EXPECT_EQ(sqlite3_open_v2(uri.c_str(), &database, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr),
              SQLITE_OK);
    sqlite3_exec(
        database, sql.c_str(),
        [](void* to, int, char** values, char**) {
          static_cast<std::vector<std::string>*>(to)->emplace_back(values[0] ? values[0] : "NULL");
          return 0;
        },
        &rows, nullptr);
    sqlite3_close(database);
    return rows;
  }
  static std::string one(const fs::path& library, const std::string& file, const std::string& sql) {
    const auto rows = select(library, file, sql);
    return rows.size() == 1 ? rows[0] : "(" + std::to_string(rows.size()) + " rows)";
  }

  fs::path folder_;
};

constexpr const char* kDatabases[][2] = {{"Library.apdb", "Library.sql"},
                                         {"ImageProxies.apdb", "ImageProxies.sql"},
                                         {"Properties.apdb", "Properties.sql"},
                                         {"Faces.db", "Faces.sql"}};

}  // namespace

TEST_F(MakeLibrary, makesTheSameLibraryFromTheSameSeed) {
  MakeLibraryOptions options = small(12);
  options.images = Images::Small;
  options.albumData = true;
  const auto first = filesIn(make("a", options));
  EXPECT_EQ(first, filesIn(make("b", options)));
  EXPECT_GT(first.size(), 12U * 3);
  options.seed = 2;
  EXPECT_NE(first.at("Database/apdb/Library.apdb"),
            filesIn(make("c", options)).at("Database/apdb/Library.apdb"));
}

namespace {

struct Kind {
  LibraryKind kind;
  const char* database;
  const char* schema;
};
constexpr Kind kLaterKinds[] = {{LibraryKind::Photos4, "photos.db", "Photos4.sql"},
                                {LibraryKind::Photos5, "Photos.sqlite", "Photos5.sql"},
                                {LibraryKind::Photos8, "Photos.sqlite", "Photos8.sql"},
                                {LibraryKind::Photos11, "Photos.sqlite", "Photos11.sql"}};

}  // namespace

TEST_F(MakeLibrary, writesLibrariesOfPhotosWithTheirTables) {
  for (const Kind& kind : kLaterKinds) {
    MakeLibraryOptions options = small(50);
    options.kind = kind.kind;
    const fs::path library = make(kind.schema, options);
    const auto again = make(std::string("again") + kind.schema, options);
    const fs::path database = library / "database" / kind.database;
    EXPECT_EQ(contentOf(database), contentOf(again / "database" / kind.database));
    EXPECT_EQ(selectFrom(database, "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
    EXPECT_EQ(contentOf(database).substr(18, 2), "\2\2") << "write-ahead logging";
    EXPECT_FALSE(fs::exists(database.string() + "-wal"));
    EXPECT_FALSE(fs::exists(library / "Database"));
    std::multiset<std::string> expected;
    std::istringstream lines(contentOf(fs::path(MOXTEL_SCHEMA_FOLDER) / kind.schema));
    for (std::string line; std::getline(lines, line);)
      if (line.starts_with("CREATE")) expected.insert(line.substr(0, line.rfind(';')));
    const auto rows = selectFrom(
        database, "SELECT sql FROM sqlite_master WHERE sql NOT NULL AND name != 'sqlite_sequence'");
    EXPECT_EQ(std::multiset<std::string>(rows.begin(), rows.end()), expected) << kind.schema;
  }
}

TEST_F(MakeLibrary, hasTheOriginalsThatPhotosNames) {
  MakeLibraryOptions options = small(80);
  options.images = Images::Small;
  options.kind = LibraryKind::Photos8;
  const fs::path library = make("a", options);
  const auto files = selectFrom(library / "database/Photos.sqlite",
                                "SELECT 'originals/' || ZDIRECTORY || '/' || ZFILENAME FROM ZASSET WHERE "
                                "ZCLOUDLOCALSTATE = 0");
  EXPECT_GT(files.size(), 70U);
  for (const std::string& file : files) EXPECT_TRUE(fs::exists(library / file)) << file;
  const auto inTheCloud =
      selectFrom(library / "database/Photos.sqlite",
                 "SELECT 'originals/' || ZDIRECTORY || '/' || ZFILENAME FROM ZASSET WHERE "
                 "ZCLOUDLOCALSTATE = 1");
  EXPECT_FALSE(inTheCloud.empty());
  for (const std::string& file : inTheCloud) EXPECT_FALSE(fs::exists(library / file)) << file;
}

TEST_F(MakeLibrary, writesOnlyTheAlbumFileOfAnOldLibrary) {
  MakeLibraryOptions options = small(12);
  options.images = Images::Small;
  options.kind = LibraryKind::AlbumDataOnly;
  const fs::path library = make("a", options);
  EXPECT_FALSE(fs::exists(library / "Database"));
  const std::string data = contentOf(library / "AlbumData.xml");
  EXPECT_NE(data.find("<key>Archive Path</key><string>/Users/"), std::string::npos);
  EXPECT_NE(data.find("<key>List of Rolls</key>"), std::string::npos);
}

TEST_F(MakeLibrary, makesTheSameStrangeLibraryFromTheSameSeed) {
  MakeLibraryOptions options = small();
  options.strange = true;
  const auto first = filesIn(make("a", options));
  EXPECT_EQ(first, filesIn(make("b", options)));
  options.seed = 2;
  EXPECT_NE(first, filesIn(make("c", options)));
}

TEST_F(MakeLibrary, hasExactlyTheTablesAndIndexesOfTheSchema) {
  MakeLibraryOptions strange = small();
  strange.strange = true;
  for (const fs::path& library : {make("a", small()), make("s", strange)})
    for (const auto& [file, schema] : kDatabases) {
      std::multiset<std::string> expected;
      std::istringstream lines(contentOf(fs::path(MOXTEL_SCHEMA_FOLDER) / schema));
      for (std::string line; std::getline(lines, line);)
        if (line.starts_with("CREATE")) expected.insert(line.substr(0, line.rfind(';')));
      const auto rows = select(library, file, "SELECT sql FROM sqlite_master");
      EXPECT_EQ(std::multiset<std::string>(rows.begin(), rows.end()), expected) << file;
    }
}

TEST_F(MakeLibrary, keepsTheDatabasesAsThePhotoApplicationDoes) {
  const fs::path library = make("a", small());
  for (const auto& [file, schema] : kDatabases) {
    EXPECT_EQ(one(library, file, "PRAGMA page_size"), "16384");
    EXPECT_EQ(one(library, file, "PRAGMA encoding"), "UTF-8");
    EXPECT_EQ(one(library, file, "PRAGMA journal_mode"), "delete");
    EXPECT_EQ(one(library, file, "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(fs::read_symlink(library / "Database" / file), fs::path("apdb") / file);
  }
  for (const char* part : {"Masters", "Thumbnails", "Previews"})
    EXPECT_TRUE(fs::is_directory(library / part));
}

TEST_F(MakeLibrary, givesEveryMasterAHiddenOriginalAndAVisibleVersion) {
  const fs::path library = make("a", small(200));
  EXPECT_EQ(one(library, "Library.apdb", "SELECT count(*) FROM RKMaster"), "200");
  for (const char* number : {"0", "1"})
    EXPECT_EQ(
        one(library, "Library.apdb",
            std::string("SELECT count(*) FROM RKMaster m JOIN RKVersion v ON v.masterUuid = m.uuid WHERE "
                        "versionNumber = ") +
                number + " AND showInLibrary = " + number),
        "200");
  EXPECT_NE(one(library, "Library.apdb", "SELECT count(*) FROM RKVersion WHERE versionNumber = 2"), "0");
  EXPECT_EQ(one(library, "Library.apdb", "SELECT count(DISTINCT uuid) = count(*) FROM RKVersion"), "1");
  EXPECT_EQ(one(library, "Library.apdb", "SELECT count(*) FROM RKVersion WHERE length(uuid) != 22"), "0");
}

TEST_F(MakeLibrary, servesRawMastersFromTheirPreview) {
  const fs::path library = make("a", small(300));
  EXPECT_EQ(one(library, "Library.apdb",
                "SELECT min(hasAdjustments) FROM RKVersion v JOIN RKMaster m ON m.uuid = v.masterUuid WHERE "
                "m.fileName LIKE '%.DNG'"),
            "1");
  EXPECT_EQ(
      one(library, "ImageProxies.apdb",
          "SELECT sum((fullSizePreviewPath IS NOT NULL) != fullSizePreviewUpToDate) FROM RKImageProxyState"),
      "0");
}

TEST_F(MakeLibrary, containsTheTwoFoldersKnownByName) {
  const fs::path library = make("a", small());
  EXPECT_EQ(one(library, "Library.apdb",
                std::string("SELECT name FROM RKFolder WHERE parentFolderUuid = '") +
                    moxtel::SampleLibrary::kFolderInProjectsUuid + "'"),
            "1 Project in FolderInProjects");
  EXPECT_EQ(
      one(library, "Library.apdb",
          std::string("SELECT name FROM RKFolder WHERE uuid = '") + moxtel::SampleLibrary::kFolderUuid + "'"),
      "Folder");
}

TEST_F(MakeLibrary, namesOnlyFilesThatAreThere) {
  MakeLibraryOptions options = small(30);
  options.images = Images::Small;
  const fs::path library = make("a", options);
  const auto expectFiles = [&](const char* folder, const char* file, const std::string& sql,
                               std::size_t least) {
    const auto paths = select(library, file, sql);
    EXPECT_GE(paths.size(), least) << sql;
    for (const std::string& path : paths) EXPECT_TRUE(fs::exists(library / folder / path)) << path;
  };
  expectFiles("Masters", "Library.apdb", "SELECT imagePath FROM RKMaster", 30);
  for (const char* column : {"thumbnailPath", "miniThumbnailPath"})
    expectFiles("Thumbnails", "ImageProxies.apdb",
                std::string("SELECT ") + column + " FROM RKImageProxyState", 30);
  expectFiles("Thumbnails", "ImageProxies.apdb",
              "SELECT faceTilePath || '_face0.jpg' FROM RKImageProxyState WHERE faceTilePath NOT NULL", 3);
  expectFiles("Previews", "ImageProxies.apdb",
              "SELECT fullSizePreviewPath FROM RKImageProxyState WHERE fullSizePreviewPath NOT NULL", 1);
}

TEST_F(MakeLibrary, describesMoviesInTheProperties) {
  const fs::path library = make("a", small(300));
  const std::string movies =
      one(library, "Library.apdb",
          "SELECT count(*) FROM RKVersion WHERE versionNumber = 1 AND videoPosterFramePoint NOT NULL");
  EXPECT_NE(movies, "0");
  for (const char* key : {"FPS", "DataRate", "MovieDuration"})
    EXPECT_EQ(one(library, "Properties.apdb",
                  std::string("SELECT count(*) FROM RKExifNumberProperty WHERE propertyKey = '") + key + "'"),
              movies);
  EXPECT_EQ(one(library, "Properties.apdb",
                "SELECT count(*) FROM RKOtherProperty WHERE propertyKey = 'MediaCodecName'"),
            movies);
}

TEST_F(MakeLibrary, putsEveryPhotoOutsideTheTrashIntoTheBigAlbum) {
  MakeLibraryOptions options = small(200);
  options.bigAlbum = true;
  const fs::path library = make("a", options);
  EXPECT_EQ(
      one(library, "Library.apdb",
          std::string("SELECT count(*) FROM RKAlbumVersion WHERE albumId = (SELECT modelId FROM RKAlbum "
                      "WHERE uuid = '") +
              moxtel::SampleLibrary::kBigAlbumUuid + "')"),
      one(library, "Library.apdb",
          "SELECT count(*) FROM RKVersion WHERE versionNumber = 1 AND isInTrash = 0"));
}

TEST_F(MakeLibrary, canBeEmpty) {
  const fs::path library = make("a", small(0));
  EXPECT_EQ(one(library, "Library.apdb", "SELECT count(*) FROM RKVersion"), "0");
  EXPECT_EQ(one(library, "Library.apdb", "SELECT count(*) FROM RKFolder WHERE uuid = 'TopLevelAlbums'"), "1");
}

TEST_F(MakeLibrary, rejectsAFolderThatIsNotEmptyAndLeavesItUnchanged) {
  std::ofstream(folder_ / "mine") << "text";
  MakeLibraryOptions options = small();
  options.folder = folder_;
  EXPECT_THROW(makeLibrary(options), WriteError);
  EXPECT_EQ(filesIn(folder_).size(), 1U);
  options.folder = folder_ / "mine";
  EXPECT_THROW(makeLibrary(options), WriteError);
}

TEST(CivilDate, knowsLeapYearsAndTheTimeBeforeTheReferenceDate) {
  const CivilDate leap = civilDate(478483199);  // 2016-02-29 23:59:59, after date(1)
  EXPECT_EQ(std::tuple(leap.year, leap.month, leap.day, leap.hour, leap.second),
            std::tuple(2016, 2, 29, 23, 59));
  const CivilDate before = civilDate(-1);
  EXPECT_EQ(std::tuple(before.year, before.month, before.day, before.hour), std::tuple(2000, 12, 31, 23));
}
