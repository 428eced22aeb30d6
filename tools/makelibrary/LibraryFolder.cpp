#include "makelibrary/LibraryFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>

#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

namespace fs = std::filesystem;

LibraryFolder::LibraryFolder(fs::path folder) : folder_(std::move(folder)) {
  std::error_code error;
  if (fs::exists(folder_, error)) {
    if (!fs::is_directory(folder_, error)) throw WriteError("'" + folder_.string() + "' is no folder");
    if (!fs::is_empty(folder_, error) || error)
      throw WriteError("'" + folder_.string() + "' is not empty; nothing was written");
  }
  for (const char* part : {"Database/apdb", "Masters", "Thumbnails", "Previews"}) {
    fs::create_directories(folder_ / part, error);
    if (error) throw WriteError("cannot create '" + (folder_ / part).string() + "': " + error.message());
  }
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
