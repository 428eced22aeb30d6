#include "makelibrary/StrangeDatabases.h"

#include <functional>
#include <map>
#include <string_view>

#include "makelibrary/LibraryFolder.h"
#include "makelibrary/LibrarySchema.h"
#include "makelibrary/StrangeValues.h"
#include "support/SampleLibrary.h"

namespace moxtel::makelibrary {

namespace {

using Row = std::size_t;
using Rule = std::function<Cell(Random&, Row)>;
// By "Table.column"; columns without a rule get random values for their type.
using Rules = std::map<std::string, Rule, std::less<>>;

// Mostly this number, else any value.
Rule mostly(std::int64_t value, std::size_t oneOtherIn) {
  return [value, oneOtherIn](Random& random, Row) {
    return random.oneIn(oneOtherIn) ? strangeInteger(random) : Cell(value);
  };
}

template <std::size_t N>
Rule oneOf(const std::array<const char*, N>& texts) {
  return [texts](Random& random, Row) -> Cell {
    if (random.oneIn(12)) return strangeTextCell(random);
    return std::string(random.pick(texts));
  };
}

// Record r has the pool's uuid r; some have the uuid of another, or none.
Rule own(const UuidPool& pool) {
  return [&pool](Random& random, Row row) -> Cell {
    return random.oneIn(8) ? pool.any(random) : Cell(pool.at(row));
  };
}

Rule anyOf(const UuidPool& pool) {
  return [&pool](Random& random, Row) { return pool.any(random); };
}

// Row numbers in another table, mostly existing ones.
Rule idBelow(std::size_t count) {
  return [count](Random& random, Row) -> Cell {
    if (random.oneIn(10)) return strangeInteger(random);
    return static_cast<std::int64_t>(random.below(count) + 1);
  };
}

// The row's number; some are huge, negative or 0. Rows with a duplicate number are skipped.
Cell modelId(Random& random, Row row) {
  static constexpr std::array<std::int64_t, 6> kOdd{0,        -7, 0x100000000LL, 0x100000003LL, 0x7FFFFFFFLL,
                                                    1LL << 62};
  if (random.oneIn(15)) return random.pick(kOdd);
  return static_cast<std::int64_t>(row + 1);
}

Cell photoDate(Random& random, Row) {
  if (random.oneIn(4)) return strangeReal(random);
  return random.oneIn(5) ? Cell(std::int64_t{0}) : Cell(static_cast<std::int64_t>(random.below(500'000'000)));
}

class StrangeLibrary final {
 public:
  StrangeLibrary(std::uint64_t seed, std::size_t rows)
      : random_(randomFor(seed, Subject::Strange, 0)),
        rows_(rows),
        folders_(random_, rows / 3,
                 {"TopLevelAlbums", "AllProjectsItem", "LibraryFolder", SampleLibrary::kFolderUuid,
                  SampleLibrary::kFolderInProjectsUuid}),
        albums_(random_, rows / 2,
                {"allPhotosAlbum", "trashAlbum", "lastImportAlbum", "flaggedAlbum", "Faces", "peopleAlbum"}),
        versions_(random_, rows, {}),
        masters_(random_, rows / 2, {}),
        persons_(random_, rows / 6 + 2, {}) {
    makeFolderRules();
    makeAlbumRules();
    makePhotoRules();
    makeFaceRules();
    makePropertyRules();
  }

  void write(const LibraryFolder& folder) {
    SqliteWriter library(folder.database("Library.apdb"), kLibrarySchema);
    fill(library, {{"RKFolder", folders_.size()},
                   {"RKAlbum", albums_.size()},
                   {"RKVersion", rows_},
                   {"RKAlbumVersion", rows_ * 2},
                   {"RKMaster", rows_ / 2},
                   {"RKNote", rows_ / 2},
                   {"RKCustomSortOrder", rows_}});
    SqliteWriter proxies(folder.database("ImageProxies.apdb"), kImageProxiesSchema);
    fill(proxies, {{"RKImageProxyState", rows_}});
    SqliteWriter properties(folder.database("Properties.apdb"), kPropertiesSchema);
    fill(properties, {{"RKUniqueString", rows_ / 2},
                      {"RKIptcProperty", rows_},
                      {"RKExifStringProperty", rows_},
                      {"RKExifNumberProperty", rows_},
                      {"RKOtherProperty", rows_}});
    SqliteWriter faces(folder.database("Faces.db"), kFacesSchema);
    fill(faces, {{"RKFaceName", persons_.size()}, {"RKDetectedFace", rows_}});
  }

 private:
  // A parent that mostly makes a tree under the two roots.
  Rule parent() {
    return [this](Random& random, Row) -> Cell {
      if (random.oneIn(3)) return folders_.any(random);
      return std::string(random.oneIn(2) ? "TopLevelAlbums" : "AllProjectsItem");
    };
  }
  void makeFolderRules() {
    rules_["RKFolder.uuid"] = own(folders_);
    rules_["RKFolder.parentFolderUuid"] = parent();
    rules_["RKFolder.folderType"] = [](Random& random, Row) -> Cell {
      if (random.oneIn(8)) return strangeInteger(random);
      return static_cast<std::int64_t>(1 + random.below(2));
    };
    rules_["RKFolder.posterVersionUuid"] = anyOf(versions_);
    rules_["RKFolder.isHiddenWhenEmpty"] = mostly(0, 6);
    rules_["RKFolder.minImageDate"] = rules_["RKFolder.maxImageDate"] = photoDate;
  }
  void makeAlbumRules() {
    rules_["RKAlbum.uuid"] = own(albums_);
    rules_["RKAlbum.folderUuid"] = parent();
    rules_["RKAlbum.albumType"] = mostly(1, 8);
    rules_["RKAlbum.albumSubclass"] = [](Random& random, Row) -> Cell {
      if (random.oneIn(8)) return strangeInteger(random);
      return static_cast<std::int64_t>(random.oneIn(4) ? 2 : 3);
    };
    rules_["RKAlbum.posterVersionUuid"] = [this](Random& random, Row) {
      return random.oneIn(2) ? Cell() : versions_.any(random);
    };
    rules_["RKAlbumVersion.albumId"] = idBelow(albums_.size());
    rules_["RKAlbumVersion.versionId"] = idBelow(rows_);
    rules_["RKNote.attachedToUuid"] = [this](Random& random, Row row) {
      return row % 2 ? folders_.any(random) : albums_.any(random);
    };
    rules_["RKCustomSortOrder.containerUuid"] = parent();
    rules_["RKCustomSortOrder.objectUuid"] = rules_["RKNote.attachedToUuid"];
  }
  void makePhotoRules() {
    rules_["RKVersion.uuid"] = own(versions_);
    rules_["RKVersion.masterUuid"] = anyOf(masters_);
    rules_["RKVersion.projectUuid"] = anyOf(folders_);
    rules_["RKVersion.versionNumber"] = [](Random& random, Row) -> Cell {
      if (random.oneIn(10)) return strangeInteger(random);
      return static_cast<std::int64_t>(random.oneIn(4) ? random.below(3) : 1);
    };
    rules_["RKMaster.uuid"] = own(masters_);
    rules_["RKImageProxyState.versionUuid"] = anyOf(versions_);
    rules_["RKImageProxyState.versionId"] = idBelow(rows_);
  }
  void makeFaceRules() {
    rules_["RKFaceName.uuid"] = own(persons_);
    rules_["RKFaceName.keyVersionUuid"] = anyOf(versions_);
    rules_["RKFaceName.faceKey"] = idBelow(persons_.size());
    rules_["RKDetectedFace.faceKey"] = idBelow(persons_.size());
    rules_["RKDetectedFace.masterUuid"] = anyOf(masters_);
  }
  void makePropertyRules() {
    static constexpr std::array kIptc{"Caption/Abstract", "Caption/Abstract", "ObjectName"};
    static constexpr std::array kExif{"ImageDescription", "ImageDescription", "Model"};
    static constexpr std::array kNumbers{"DataRate", "FPS", "MovieDuration", "ISOSpeedRating"};
    static constexpr std::array kOthers{"MediaCodecName", "AudioTrackSampleRate", "AspectRatio", "PixelSize",
                                        "X"};
    rules_["RKIptcProperty.propertyKey"] = oneOf(kIptc);
    rules_["RKExifStringProperty.propertyKey"] = oneOf(kExif);
    rules_["RKExifNumberProperty.propertyKey"] = oneOf(kNumbers);
    rules_["RKOtherProperty.propertyKey"] = oneOf(kOthers);
    for (const char* table :
         {"RKIptcProperty", "RKExifStringProperty", "RKExifNumberProperty", "RKOtherProperty"}) {
      rules_[std::string(table) + ".versionId"] = idBelow(rows_);
      rules_[std::string(table) + ".stringId"] = idBelow(rows_ / 2);
    }
  }

  void fill(SqliteWriter& writer, const std::vector<std::pair<std::string, std::size_t>>& tables) {
    writer.createIndexes();
    for (const auto& [table, count] : tables) fillTable(writer, table, count);
    writer.finish();
  }
  void fillTable(SqliteWriter& writer, const std::string& table, std::size_t count) {
    const auto columns = writer.columnsOf(table);
    std::string names;
    for (const auto& [name, type] : columns) names += (names.empty() ? "" : ",") + name;
    Inserter inserter = writer.into(table, names);
    for (Row row = 0; row < count; ++row) {
      std::vector<Cell> cells;
      cells.reserve(columns.size());
      for (const auto& [name, type] : columns) cells.push_back(cellFor(table, name, type, row));
      inserter.rowOf(cells);
    }
  }
  Cell cellFor(const std::string& table, const std::string& column, const std::string& type, Row row) {
    if (column == "modelId") return modelId(random_, row);
    if (column == "isInTrash") return mostly(0, 10)(random_, row);
    if (const auto rule = rules_.find(table + "." + column); rule != rules_.end())
      return rule->second(random_, row);
    if (type == "integer") return strangeInteger(random_);
    if (type == "varchar") return strangeTextCell(random_);
    if (type == "blob") return random_.oneIn(2) ? Cell() : Cell(Blob{"\x01\x02"});
    return strangeReal(random_);
  }

  Random random_;
  std::size_t rows_;
  UuidPool folders_, albums_, versions_, masters_, persons_;
  Rules rules_;
};

}  // namespace

void writeStrangeDatabases(std::uint64_t seed, std::size_t rows, const LibraryFolder& folder) {
  StrangeLibrary(seed, rows).write(folder);
}

}  // namespace moxtel::makelibrary
