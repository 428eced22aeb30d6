#include "library/kinds/AlbumDataDatabase.h"

#include <functional>
#include <new>
#include <optional>

#include "library/albumdata/AlbumDataFile.h"
#include "library/albumdata/LenientPropertyList.h"
#include "library/kinds/AlbumDataTables.h"
#include "library/kinds/EntrySink.h"

namespace moxtel {

namespace {

// An album of a million photos takes 64 MB.
constexpr PropertyListLimits kOneEntry{.depth = 64, .bytes = 256 << 20};
constexpr std::size_t kMostBinaryBytes = 1 << 30;

// read: from the file into a sink.
std::shared_ptr<const AlbumDataDatabase> madeBy(
    const std::function<LenientReading(const FreshSink& freshSink)>& read) {
  auto made = std::make_shared<AlbumDataDatabase>();
  try {
    std::optional<AlbumDataTables> tables;
    std::optional<EntrySink> sink;
    const auto freshSink = [&]() -> PropertyListSink& {
      tables.emplace();
      return sink.emplace(std::vector{kArchivePath, kMasterImageList, kListOfAlbums, kListOfRolls,
                                      kListOfFaces, kListOfKeywords},
                          kOneEntry,
                          [&tables](const std::string& list, const std::string& key, const Value& entry) {
                            tables->take(list, key, entry);
                          });
    };
    LenientReading reading = read(freshSink);
    made->error = std::move(reading.error);
    made->mended = std::move(reading.mended);
    if (reading.wasRead) {
      made->bytes = tables->finish();
      made->photos = tables->photos();
    }
  } catch (const std::bad_alloc&) {
    made->error = "there is not enough memory for it";
    made->bytes.clear();
  }
  return made;
}

}  // namespace

std::shared_ptr<const AlbumDataDatabase> readAlbumDataDatabase(const std::string& albumDataPath) {
  return madeBy([&](const FreshSink& freshSink) {
    return readLenientPropertyListFile(albumDataPath, kMostBinaryBytes, freshSink);
  });
}

std::shared_ptr<const AlbumDataDatabase> readAlbumDataDatabase(std::istream& file, std::uint64_t size) {
  return madeBy([&](const FreshSink& freshSink) {
    return readLenientPropertyList(file, size, kMostBinaryBytes, freshSink);
  });
}

AdaptedSchema adaptAlbumData() {
  AdaptedSchema schema;
  schema.views = {
      "CREATE TEMP VIEW RKVersion AS SELECT rowid,*,hasAdjustments AS hasEnabledAdjustments FROM "
      "main.RKVersion",
      "CREATE TEMP VIEW RKMaster AS SELECT rowid,*,fileName AS originalFileName,NULL AS type,0 AS "
      "isTrulyRaw,0 "
      "AS isMissing,0 AS isInTrash,NULL AS duration,NULL AS alternateMasterUuid FROM main.RKMaster",
      "CREATE TEMP VIEW RKImageProxyState AS SELECT rowid,*,NULL AS fullSizePreviewUpToDate FROM "
      "main.RKImageProxyState"};
  return schema;
}

}  // namespace moxtel
