#include "makelibrary/LibraryFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <vector>

#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

namespace fs = std::filesystem;

namespace {

std::vector<const char*> subfoldersOf(LibraryKind kind) {
  switch (kind) {
    case LibraryKind::IPhoto:
      return {"Database/apdb", "Masters", "Thumbnails", "Previews"};
    case LibraryKind::AlbumDataOnly:
      return {"Masters", "Thumbnails", "Previews"};
    case LibraryKind::Photos4:
      return {"database", "Masters", "resources"};
    default:
      return {"database", "originals", "resources"};
  }
}

}  // namespace

LibraryFolder::LibraryFolder(fs::path folder, LibraryKind kind) : folder_(std::move(folder)) {
  std::error_code error;
  if (fs::exists(folder_, error)) {
    if (!fs::is_directory(folder_, error)) throw WriteError("'" + folder_.string() + "' is no folder");
    if (!fs::is_empty(folder_, error) || error)
      throw WriteError("'" + folder_.string() + "' is not empty; nothing was written");
  }
  for (const char* part : subfoldersOf(kind)) {
    fs::create_directories(folder_ / part, error);
    if (error) throw WriteError("cannot create '" + (folder_ / part).string() + "': " + error.message());
  }
  if (kind != LibraryKind::IPhoto) return;
  for (const char* name : {"Library.apdb", "ImageProxies.apdb", "Properties.apdb", "Faces.db"})
    fs::create_symlink(fs::path("apdb") / name, folder_ / "Database" / name, error);
}

void LibraryFolder::writeFile(const fs::path& file, std::string_view bytes, double modified) {
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  std::ofstream out(file, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw WriteError("cannot write '" + file.string() + "': " + std::strerror(errno));
  setModified(file, modified);
}

void LibraryFolder::setModified(const fs::path& file, double modified) {
  timespec times[2] = {};
  times[0].tv_sec = times[1].tv_sec = static_cast<time_t>(std::floor(modified)) + 978307200;
  utimensat(AT_FDCWD, file.c_str(), times, 0);
}

}  // namespace moxtel::makelibrary
