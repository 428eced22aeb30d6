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

void writeDatabases(const SamplePlan& plan, const LibraryFolder& folder) {
  switch (plan.options().kind) {
    case LibraryKind::IPhoto:
      return writeSampleDatabases(plan, folder);
    case LibraryKind::AlbumDataOnly:
      return;
    case LibraryKind::Photos4:
      return writePhotos4Database(plan, folder.photosDatabase("photos.db"));
    default:
      writePhotosDatabase(plan, folder.photosDatabase("Photos.sqlite"));
      writePhotosStub(folder.photosDatabase("photos.db"));
  }
}

std::vector<std::filesystem::path> databasesOf(const LibraryFolder& folder, LibraryKind kind) {
  std::vector<std::filesystem::path> files;
  if (kind == LibraryKind::IPhoto)
    for (const char* name : {"Library.apdb", "ImageProxies.apdb", "Properties.apdb", "Faces.db"})
      files.push_back(folder.database(name));
  else if (kind != LibraryKind::AlbumDataOnly)
    files.push_back(folder.photosDatabase("photos.db"));
  if (kind != LibraryKind::IPhoto && kind != LibraryKind::AlbumDataOnly && kind != LibraryKind::Photos4)
    files.push_back(folder.photosDatabase("Photos.sqlite"));
  return files;
}

void writeAlbumFiles(const SamplePlan& plan, const LibraryFolder& folder) {
  const bool lists = plan.options().savedLists != SavedLists::None;
  if (!lists && !plan.options().albumData && plan.options().kind != LibraryKind::AlbumDataOnly) return;
  writeAlbumData(plan, folder.albumData());
  LibraryFolder::setModified(folder.albumData(), kLastWritten);
  if (!lists) return;
  std::filesystem::create_directories(folder.albumListings().parent_path());
  writeAlbumListings(plan, folder.albumListings());
  LibraryFolder::setModified(folder.albumListings(), kLastWritten);
}

}  // namespace

void makeLibrary(MakeLibraryOptions options) {
  // Its lists are all that such a library has.
  if (options.kind == LibraryKind::AlbumDataOnly) options.savedLists = SavedLists::InStep;
  const LibraryFolder folder(options.folder, options.kind);
  if (options.strange) {
    writeStrangeDatabases(options.seed, options.photos, folder);
  } else {
    const SamplePlan plan(options);
    writeDatabases(plan, folder);
    if (options.images != Images::None) writePictures(plan, folder);
    writeAlbumFiles(plan, folder);
  }
  for (const auto& file : databasesOf(folder, options.kind)) LibraryFolder::setModified(file, kLastWritten);
}

}  // namespace moxtel::makelibrary
