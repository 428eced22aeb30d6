#include "library/LibraryFiles.h"

#include "library/Messages.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

FoundFile LibraryFiles::open(std::string_view libraryPath, std::string_view path) {
  return reported(finder_.open(libraryPath, path));
}

FoundFile LibraryFiles::openBelow(const std::string& folder, std::string_view path) {
  return reported(finder_.openBelow(folder, path));
}

bool LibraryFiles::exists(std::string_view libraryPath, std::string_view path) {
  return finder_.find(libraryPath, path).file.state == FileState::Open;
}

bool LibraryFiles::permits(std::string_view libraryPath, std::string_view path) {
  return !reported(finder_.find(libraryPath, path)).linkOut;
}

// A library can have any number of links, and the console is for reading.
FoundFile LibraryFiles::reported(FoundFile found) {
  constexpr std::size_t kMostReports = 10;
  if (!found.linkOut || reported_.size() >= kMostReports) return found;
  const auto& [link, folder] = *found.linkOut;
  if (!reported_.insert(folder).second) return found;
  messages_.showTitle(
      "Info",
      formatRuntime(
          UserText::tr(
              "'%@' is a link that leads out of the library, to '%@', so it is treated as missing. To "
              "allow it, start MoxtelServer with -ReferencedFolders '%@', or add this folder to the "
              "folders there, separated by a colon."),
          link, folder, folder));
  return found;
}

}  // namespace moxtel
