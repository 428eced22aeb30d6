#include "library/FolderAdvice.h"

#include <cerrno>
#include <filesystem>
#include <string_view>

#include "library/LibrarySearch.h"
#include "library/PathNames.h"
#include "library/kinds/LibraryKind.h"
#include "platform/files/Files.h"
#include "platform/settings/ArgumentAdvice.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

namespace fs = std::filesystem;

// The first user of a Mac.
constexpr std::uint32_t kMacUser = 501;

std::string chapter(std::string_view name) {
  return formatRuntime(
      UserText::tr("see the chapter \"%@\" of mac-disk.md (in /usr/share/doc/moxtelserver-headless)."), name);
}

bool isPermitted(const fs::path& folder) {
  return isReadable(folder.string()) && isEnterable(folder.string());
}

bool isLinkedByTimeMachine(const fs::path& folder) {
  std::error_code failure;
  for (const char* name : {"Masters", "Database", "database", "originals", "Originals"}) {
    const fs::path inner = folder / name;
    if (fs::is_regular_file(inner, failure) && fs::file_size(inner, failure) == 0) return true;
  }
  return false;
}

// The outermost folder of the path that this process may not enter; empty if there is none.
fs::path firstClosedFolder(const fs::path& folder) {
  fs::path closed;
  for (fs::path part = folder; part != part.parent_path(); part = part.parent_path()) {
    if (stampOf(part.string()).kind == FileStamp::Kind::Other && !isEnterable(part.string())) closed = part;
  }
  return closed;
}

// Whether the path is that of a library that may not be read, as far as it can be seen.
bool mayBeClosedLibrary(const fs::path& folder) {
  const FileStamp stamp = stampOf(folder.string());
  if (stamp.kind == FileStamp::Kind::Missing) return stamp.error == EACCES;
  return stamp.kind == FileStamp::Kind::Other &&
         (!isPermitted(folder) || layoutOfLibrary(folder.string()).isServed());
}

// A folder below that may have the library that the user meant; empty where there is none.
std::string closedBelow(const fs::path& folder) {
  if (!folder.is_absolute() || !isPermitted(folder) || layoutOfLibrary(folder.string()).isServed()) return {};
  LibrarySearchResult result = searchForLibraries(folder.string());
  return result.libraries.empty() ? std::move(result.closed) : std::string();
}

std::string quotedForShell(const fs::path& path) { return optionWithValue("", path.string()); }

std::string_view chapterOf(MacPartition::Kind kind) {
  switch (kind) {
    case MacPartition::Kind::HfsPlus:
      return "HFS+";
    case MacPartition::Kind::Apfs:
      return "APFS";
    case MacPartition::Kind::CoreStorage:
      break;
  }
  return "FileVault";
}

std::string adviceAboutDisks(const std::vector<MacPartition>& unmounted) {
  std::string text;
  for (const MacPartition& each : unmounted) {
    text += formatRuntime(UserText::tr(" %@ is a Mac's disk and is not mounted: %@"), each.device,
                          chapter(chapterOf(each.kind)));
  }
  return text;
}

}  // namespace

std::string commandThatPermits(const std::string& library, const std::string& user) {
  const fs::path folder = fs::path(library).lexically_normal();
  std::string closed;
  bool isBelowClosed = false;
  fs::path above;
  for (const fs::path& name : folder.parent_path()) {
    above /= name;
    isBelowClosed = isBelowClosed || !isEnterable(above.string());
    if (isBelowClosed) closed += quotedForShell(above);
  }
  if (closed.empty() && isPermitted(folder)) {
    const fs::path database = appendingPathComponent(library, layoutOfLibrary(library).databaseFiles[0]);
    if (isReadable(database.string())) return {};
  }
  const std::string forFolders = "setfacl -m u:" + user + ":x" + closed;
  return (closed.empty() ? "" : forFolders + " && ") + "setfacl -R -m u:" + user + ":rX" +
         quotedForShell(folder);
}

std::string adviceAboutFolder(const std::string& folder, const std::vector<MacPartition>& unmounted) {
  if (isLinkedByTimeMachine(folder)) {
    return UserText::tr(" A Time Machine disk links whole folders: ") + chapter("Time Machine");
  }
  for (fs::path part = folder; part != part.parent_path(); part = part.parent_path()) {
    if (ownerOf(part.string()) == kMacUser && !isReadable(part.string())) {
      return UserText::tr(" Its owner is the first user of a Mac: ") + chapter("Owners");
    }
  }
  if (stampOf(folder).kind == FileStamp::Kind::Missing && firstClosedFolder(folder).empty()) {
    return adviceAboutDisks(unmounted);
  }
  if (const std::string closed = closedBelow(folder); !closed.empty()) {
    return formatRuntime(UserText::tr(" This user is not permitted to read '%@'.%@"), closed,
                         adviceAboutFolder(closed, unmounted));
  }
  if (!folder.starts_with('/') || !mayBeClosedLibrary(folder)) return {};
  const std::string command = commandThatPermits(folder, userName());
  if (command.empty()) return {};
  return UserText::tr(" To permit it, run as root (setfacl is in the package acl): ") + command;
}

}  // namespace moxtel
