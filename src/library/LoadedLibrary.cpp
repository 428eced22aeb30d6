#include "library/LoadedLibrary.h"

#include <cerrno>
#include <system_error>

#include "library/LibraryLocation.h"
#include "library/Messages.h"
#include "library/database/LibraryDatabases.h"
#include "platform/files/Files.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

Value orNil(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

}  // namespace

void LoadedLibrary::loadDatabase() {
  NSLog("\n\n--------------------------------- RELOAD DATABASE --------------------\n\n");
  location_.readPhotoAppDefaults();
  databases_.useLibrary(location_.libraryPath());
  NSLog("databaseFilename: '%@', proxiesDBFilename: '%@'", orNil(databaseFilename()),
        orNil(databases_.pathOf(DatabaseFile::ImageProxies)));
  readAttributes();
  if (location_.libraryPath()) explainPathOutsideUtf8(*location_.libraryPath(), messages_);
}

std::optional<std::string> LoadedLibrary::databaseFilename() const {
  return databases_.pathOf(DatabaseFile::Library);
}

bool LoadedLibrary::hasPhotoApplication() const { return databases_.layout().hasPhotoApplication; }

void LoadedLibrary::readAttributes() {
  const auto path = databaseFilename();
  const FileStamp stamp = path ? stampOf(*path) : FileStamp{.error = ENOENT};
  if (stamp.kind == FileStamp::Kind::Missing) {
    const std::string why = std::error_code(stamp.error, std::generic_category()).message();
    // The advice would be wrong for a library whose kind is known: its name comes with the start's lines.
    if (databases_.layout().kind != LibraryKind::OlderAperture)
      messages_.showTitle("Error",
                          unreadableDataMessage(kPhotoApplicationData,
                                                path ? *path + ": " + why : std::string(kNoLibraryPath)));
    runStandalone_ = true;
    return;
  }
  usingDB_ = true;
  rememberRead(Date{stamp.modifiedDate()}, stamp.size);
  NSLog("done");
}

void LoadedLibrary::rememberRead(Date modified, std::uint64_t size) {
  databaseReadDate_ = modified;
  databaseReadSize_ = size;
}

}  // namespace moxtel
