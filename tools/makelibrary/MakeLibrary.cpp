#include "makelibrary/MakeLibrary.h"

#include <future>
#include <vector>

#include "makelibrary/AlbumDataWriter.h"
#include "makelibrary/LibraryFolder.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "makelibrary/PictureWriter.h"
#include "makelibrary/SampleDatabases.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/StrangeDatabases.h"

namespace moxtel::makelibrary {

namespace {

// The last time the photo application wrote its files: 2016-07-12 09:05:03 UTC.
constexpr double kLastWritten = 490007103;

void writeSampleDatabases(const SamplePlan& plan, const LibraryFolder& folder) {
  using Writer = void (*)(const SamplePlan&, const std::filesystem::path&);
  static constexpr std::pair<const char*, Writer> kWriters[] = {
      {"Library.apdb", writeLibraryDatabase},
      {"ImageProxies.apdb", writeImageProxiesDatabase},
      {"Properties.apdb", writePropertiesDatabase},
      {"Faces.db", writeFacesDatabase},
  };
  std::vector<std::future<void>> writers;
  for (const auto& [name, writer] : kWriters)
    writers.push_back(std::async(std::launch::async, writer, std::cref(plan), folder.database(name)));
  for (auto& writer : writers) writer.get();
}

void writeAlbumFiles(const SamplePlan& plan, const LibraryFolder& folder) {
  const bool lists = plan.options().savedLists != SavedLists::None;
  if (!lists && !plan.options().albumData) return;
  writeAlbumData(plan, folder.albumData());
  LibraryFolder::setModified(folder.albumData(), kLastWritten);
  if (!lists) return;
  std::filesystem::create_directories(folder.albumListings().parent_path());
  writeAlbumListings(plan, folder.albumListings());
  LibraryFolder::setModified(folder.albumListings(), kLastWritten);
}

}  // namespace

void makeLibrary(const MakeLibraryOptions& options) {
  const LibraryFolder folder(options.folder);
  if (options.strange) {
    writeStrangeDatabases(options.seed, options.photos, folder);
  } else {
    const SamplePlan plan(options);
    writeSampleDatabases(plan, folder);
    if (options.images != Images::None) writePictures(plan, folder);
    writeAlbumFiles(plan, folder);
  }
  for (const char* name : {"Library.apdb", "ImageProxies.apdb", "Properties.apdb", "Faces.db"})
    LibraryFolder::setModified(folder.database(name), kLastWritten);
}

}  // namespace moxtel::makelibrary
