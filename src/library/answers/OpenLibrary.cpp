#include "library/answers/OpenLibrary.h"

#include <utility>

#include "library/ContainerTree.h"
#include "library/Faces.h"
#include "library/ImageFiles.h"
#include "library/LibraryChanges.h"
#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/LoadedLibrary.h"
#include "library/PhotoRecords.h"
#include "library/albumdata/AlbumData.h"
#include "library/answers/AlbumMembership.h"
#include "library/answers/LibraryAnswers.h"
#include "library/answers/LibraryLists.h"
#include "library/answers/RuleDates.h"
#include "library/answers/SmartAlbums.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/PhotoFactsReader.h"
#include "platform/loop/Clock.h"
#include "platform/process/ChildProcess.h"
#include "platform/settings/UserDefaults.h"
#include "platform/system/Shortage.h"

namespace moxtel {

namespace {

// Reads nothing but keeps SQLite from opening a file without looking into it.
constexpr SqlText kAnyPhoto = "SELECT modelId FROM RKVersion LIMIT 1";

LibrarySeams seamsOf(const OpenLibraryOptions& options, LibraryLocation& location, LibraryFiles& files,
                     ProcessRunner& processes) {
  LibrarySeams seams;
  seams.copyLimit = options.privateCopyLimit;
  seams.cacheSize = options.cacheSize;
  seams.listsHiddenPhotos = true;
  seams.readsTrash = options.readsTrash;
  seams.onlyAlbumData = options.onlyAlbumData;
  seams.run = [&processes](const ProcessRequest& request) { return processes.run(request); };
  if (options.isEnding) seams.isEnding = options.isEnding;
  seams.permits = [&location, &files](const std::string& path) {
    return !location.libraryPath() || files.permits(*location.libraryPath(), path);
  };
  return seams;
}

}  // namespace

// In the order of their dependencies.
struct OpenLibrary::Roles {
  Roles(EventLoop& loop, Messages& messages, const std::string& libraryPath,
        const OpenLibraryOptions& options)
      : path(libraryPath),
        clock(options.clock ? *options.clock : systemClock()),
        location(settings, processes, messages, flags),
        files(messages, ReferencedFolders(options.referencedFolders)),
        databases(loop, messages, seamsOf(options, location, files, processes)),
        library(location, databases, messages),
        albumData(location, files, messages),
        changes(location, databases, library, albumData),
        savedLists(databases, albumData, files, location),
        smartAlbums(databases, savedLists, messages, settings, clock),
        answers(databases, smartAlbums),
        membership(databases, smartAlbums, [this] { loadAlbumData(); }),
        lists(databases, membership),
        facts(databases, location),
        tree(databases, answers, settings),
        photoRecords(databases, albumData, answers),
        faces(databases),
        images(location, databases, faces, files) {
    settings.registerDefaults(Dictionary{{"LibraryPath", path}});
    if (options.outdatedCount) changes.shareOutdated(options.outdatedCount);
  }

  // The file may have hundreds of megabytes: only what depends on it waits for it.
  void loadAlbumData() {
    if (!std::exchange(hasAlbumData, true)) albumData.loadAlbumData();
  }

  bool beginsDay() { return std::exchange(day, dayNumber(clock.now())) != day; }

  const std::string path;
  const Clock& clock;
  UserDefaults settings;  // of this library alone; in memory
  SystemProcessRunner processes;
  PhotoApplicationFlags flags;
  LibraryLocation location;
  LibraryFiles files;
  LibraryDatabases databases;
  LoadedLibrary library;
  AlbumData albumData;
  LibraryChanges changes;
  SavedLists savedLists;
  SmartAlbums smartAlbums;
  LibraryAnswers answers;
  AlbumMembership membership;
  LibraryLists lists;
  PhotoFactsReader facts;
  ContainerTree tree;
  PhotoRecords photoRecords;
  Faces faces;
  ImageFiles images;
  bool hasAlbumData = false;
  std::int64_t day = dayNumber(clock.now());
  std::optional<State> state;
  bool isOfPhotos1 = false;  // as far as state says
  ShortageWatch shortages;
};

OpenLibrary::OpenLibrary(EventLoop& loop, Messages& messages, const std::string& path,
                         OpenLibraryOptions options)
    : roles_(std::make_unique<Roles>(loop, messages, path, options)) {
  roles_->library.loadDatabase();
  roles_->changes.remember();
}

OpenLibrary::~OpenLibrary() { roles_->databases.releaseLocks(); }

void OpenLibrary::beginTask() {
  roles_->databases.beginCommand();
  roles_->shortages = ShortageWatch();
}

bool OpenLibrary::failed() const { return roles_->databases.sawFailure(); }
bool OpenLibrary::lacksResources() const { return roles_->shortages.sawOne(); }
void OpenLibrary::releaseLocks() { roles_->databases.releaseLocks(); }

void OpenLibrary::endReading() {
  releaseLocks();
  if (roles_->databases.mustReadAgain()) throw MustReadAgain();
}

void OpenLibrary::beginTaskAgain() {
  roles_->databases.beginCommandAgain();
  roles_->shortages = ShortageWatch();
}

bool OpenLibrary::refresh() {
  roles_->databases.beginCommand();
  if (roles_->beginsDay()) {
    roles_->membership.dropCaches();
    roles_->lists.dropCaches();
  }
  if (!roles_->changes.update()) return false;
  // Another kind of library may have come in its place.
  roles_->databases.useLibrary(roles_->location.libraryPath());
  roles_->state.reset();
  roles_->tree.dropCaches();
  roles_->faces.dropCaches();
  roles_->membership.dropCaches();
  roles_->lists.dropCaches();
  roles_->facts.dropCaches();
  return true;
}

std::uint64_t OpenLibrary::version() const { return roles_->changes.fingerprint(); }

std::int64_t OpenLibrary::day() const { return roles_->day; }

OpenLibrary::State OpenLibrary::state() {
  if (!roles_->state) roles_->state = findState();
  return *roles_->state;
}

OpenLibrary::State OpenLibrary::findState() {
  LibraryDatabases& databases = roles_->databases;
  databases.beginCommand();
  roles_->isOfPhotos1 = false;
  if (roles_->changes.isMissing()) return State::Away;
  if (!databases.layout().isServed()) return State::Unreadable;
  const bool isReadable = databases.runUnlogged(DatabaseFile::Library, kAnyPhoto, {}).prepared();
  databases.releaseLocks();
  using Kind = DatabaseProblem::Kind;
  const Kind problem = databases.problemOf(DatabaseFile::Library).kind;
  roles_->isOfPhotos1 = problem == Kind::NotServed;
  if (!isReadable || problem == Kind::NotServed || problem == Kind::WithoutTables) return State::Unreadable;
  return State::Ready;
}

const std::string& OpenLibrary::path() const { return roles_->path; }
LibraryKind OpenLibrary::kind() const { return roles_->databases.layout().kind; }
bool OpenLibrary::isOfPhotos1() {
  (void)state();
  return roles_->isOfPhotos1;
}
std::string OpenLibrary::kindName() const {
  return nameOfLibrary(kind(), roles_->databases.applicationVersion());
}

LibraryLocation& OpenLibrary::location() { return roles_->location; }
LibraryDatabases& OpenLibrary::databases() { return roles_->databases; }
LibraryFiles& OpenLibrary::files() { return roles_->files; }
ImageFiles& OpenLibrary::images() { return roles_->images; }
Faces& OpenLibrary::faces() { return roles_->faces; }
ContainerTree& OpenLibrary::tree() {
  roles_->loadAlbumData();
  return roles_->tree;
}
PhotoRecords& OpenLibrary::photoRecords() {
  roles_->loadAlbumData();
  return roles_->photoRecords;
}
AlbumData& OpenLibrary::albumEntries() {
  roles_->loadAlbumData();
  return roles_->albumData;
}
LibraryAnswers& OpenLibrary::answers() {
  roles_->loadAlbumData();
  return roles_->answers;
}
SmartAlbums& OpenLibrary::smartAlbums() {
  roles_->loadAlbumData();
  return roles_->smartAlbums;
}
AlbumMembership& OpenLibrary::membership() { return roles_->membership; }
LibraryLists& OpenLibrary::lists() { return roles_->lists; }
PhotoFactsReader& OpenLibrary::facts() { return roles_->facts; }
std::shared_ptr<const PhotoColumns> OpenLibrary::columns() { return roles_->membership.columns(); }

}  // namespace moxtel
