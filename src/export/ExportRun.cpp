#include "export/ExportRun.h"

#include <algorithm>
#include <filesystem>

#include "export/ExportProgress.h"
#include "export/ExportText.h"
#include "export/FileWriter.h"
#include "export/LibraryCopy.h"
#include "export/NameAllotment.h"
#include "export/Sha256.h"
#include "export/TargetChecks.h"
#include "library/LibrarySearch.h"
#include "library/LibrarySummary.h"
#include "library/answers/OpenLibrary.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/PhotoFactsReader.h"
#include "library/kinds/AlbumDataDatabase.h"
#include "library/kinds/LibraryKind.h"
#include "pictures/properties/ImageProperties.h"
#include "platform/files/Files.h"
#include "platform/files/LegalNames.h"
#include "platform/process/ChildProcess.h"
#include "support/Localization.h"
#include "support/SystemErrors.h"
#include "value/Format.h"

namespace moxtel {

namespace {

constexpr const char* kWorkFolder = ".moxtel-export";
constexpr const char* kStateFile = "state.db";
constexpr const char* kChecksums = "SHA256SUMS";
constexpr const char* kPage = "report.html";
// What a target needs besides the files: the state and the sidecars, in bytes.
constexpr std::uint64_t kRoomForMore = 16 << 20;
constexpr std::uint64_t kRoomForSidecar = 8192;
constexpr std::size_t kPart = 1 << 20;
// Photos are read in the order of the database: few pages are needed a second time.
constexpr std::uint64_t kCacheSize = 12 << 20;
constexpr SqlText kPhotoTables[] = {"SELECT count(imagePath) FROM RKMaster",
                                    "SELECT count(fileName) FROM RKVersion"};

std::string kindForPeople(OpenLibrary& library) {
  const std::string name = library.kindName();
  return name.empty() ? "iPhoto or Aperture library" : name;
}

// Damage within the tables of photos loses some of them: AlbumData.xml has all. Reads only these tables.
bool canBeReadWhole(OpenLibrary& library) {
  if (library.state() != OpenLibrary::State::Ready || !library.columns() || library.failed()) return false;
  bool isWhole = true;
  for (const SqlText& each : kPhotoTables) {
    Query rows = library.databases().runUnlogged(DatabaseFile::Library, each, {});
    isWhole = isWhole && rows.step() && !rows.failed();
  }
  library.releaseLocks();
  return isWhole;
}

std::string whyNothingFound(const std::string& folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error))
    return formatRuntime(UserText::tr("there is no folder '%@'"), folder);
  std::filesystem::directory_iterator(folder, error);
  if (error)
    return formatRuntime(UserText::tr("'%@' cannot be read: %@"), folder, systemErrorText(error.value()));
  // Named for what it is, without the period: the failure gets one where it is shown.
  if (kindOfLibrary(folder) == LibraryKind::OlderAperture) {
    std::string why = localizedString(whyUnreadable(folder));
    if (why.ends_with('.')) why.pop_back();
    return formatRuntime(UserText::tr("no photo library in '%@': %@"), folder, why);
  }
  return formatRuntime(UserText::tr("no photo library in '%@' or the folders below it"), folder);
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "'" : ", '") + word + "'";
  return text;
}

}  // namespace

// Shows each message of a library once.
class ExportRun::LibraryMessages final : public Messages {
 public:
  LibraryMessages(ExportProgress& progress, const Seams& seams) : progress_(progress), seams_(seams) {}
  void showTitle(std::string_view, std::string_view info) override {
    if (std::find(shown_.begin(), shown_.end(), info) != shown_.end() || shown_.size() >= kMost) return;
    shown_.emplace_back(info);
    progress_.erase();
    seams_.say(info);
  }

 private:
  static constexpr std::size_t kMost = 200;
  ExportProgress& progress_;
  const Seams& seams_;
  std::vector<std::string> shown_;
};

ExportRun::ExportRun(EventLoop& loop, ExportOptions options, Report& report, ExportProgress& progress,
                     SidecarWriter* sidecars, Seams seams)
    : loop_(loop),
      options_(std::move(options)),
      report_(report),
      progress_(progress),
      sidecars_(options_.sidecars == ExportOptions::Sidecars::Xmp ? sidecars : nullptr),
      seams_(std::move(seams)),
      messages_(std::make_unique<LibraryMessages>(progress_, seams_)) {}

ExportRun::~ExportRun() = default;

ExportResult ExportRun::failed(const std::string& why) {
  report_.failure = why;
  return ExportResult::Failed;
}

ExportResult ExportRun::wrong(const std::string& why) {
  report_.failure = why;
  return ExportResult::WrongUsage;
}

ExportResult ExportRun::run() {
  report_.isDryRun = options_.dryRun;
  report_.isLinked = options_.link == ExportOptions::Link::Symbolic;
  try {
    if (const auto end = prepare()) {
      leaveNothing();
      return *end;
    }
    if (options_.dryRun) {
      describeAll();
    } else {
      copyAll();
    }
  } catch (const ExportCanceled&) {
    report_.isInterrupted = true;
  } catch (const ExportFailure& failure) {
    report_.failure = failure.what();
  } catch (const StateFailure& failure) {
    report_.failure = UserText::tr("the state of the export cannot be kept: ") + failure.what();
  }
  if (report_.isInterrupted || !report_.failure.empty()) {
    writeLastPage();
    return report_.isInterrupted ? ExportResult::Interrupted : ExportResult::Failed;
  }
  return report_.isComplete() ? ExportResult::Complete : ExportResult::Incomplete;
}

std::optional<ExportResult> ExportRun::prepare() {
  if (const auto end = findLibraries()) return end;
  if (const auto end = openTarget()) return end;
  if (const auto end = checkSettings()) return end;
  if (const auto end = planAll()) return end;
  return checkRoom();
}

// A wrong name, or a disk without room, leaves no folder of ours in a target that was empty or not there.
void ExportRun::leaveNothing() {
  if (!isFreshTarget_ || options_.dryRun) return;
  context_.reset();
  state_.reset();
  std::error_code error;
  std::filesystem::remove_all(target_->path() + "/" + kWorkFolder, error);
  // Only if it is empty.
  for (const std::string& folder : newFolders_)
    if (!std::filesystem::remove(folder, error)) break;
}

std::optional<ExportResult> ExportRun::findLibraries() {
  LibrarySearchLimits limits;
  limits.libraries = 1000;
  limits.entries = 5'000'000;
  limits.depth = 12;
  limits.seconds = 600;
  for (const std::string& folder : options_.libraries) {
    const std::vector<std::string> found = librariesFor(folder, limits);
    if (found.empty()) return failed(whyNothingFound(folder));
    for (const std::string& path : found) {
      const bool isKnown = std::any_of(
          libraries_.begin(), libraries_.end(),
          [&](const ExportedLibrary& each) { return isSameFile(stampOf(each.path), stampOf(path)); });
      if (isKnown) continue;
      ExportedLibrary library;
      library.path = path;
      libraries_.push_back(std::move(library));
      if (found.size() > 1) seams_.say("Found " + path);
    }
  }
  return std::nullopt;
}

std::optional<ExportResult> ExportRun::openTarget() {
  for (const ExportedLibrary& library : libraries_) {
    if (const std::string why = whyTargetOverlaps(options_.target, library.path); !why.empty())
      return wrong(why);
  }
  newFolders_ = missingFolders(options_.target);
  target_ = std::make_unique<TargetFolder>(options_.target, kWorkFolder, !options_.dryRun);
  const std::string problem = options_.dryRun ? whyNotWritable(options_.target) : target_->problem();
  if (!problem.empty())
    return failed(formatRuntime(
        *target_ ? UserText::tr("cannot write to '%@': %@") : UserText::tr("cannot use '%@': %@"),
        options_.target, localizedString(problem)));
  report_.target = *target_ ? target_->path() : options_.target;
  std::string path;
  const bool isFresh = !*target_ || target_->names("").empty();
  if (options_.dryRun) {
    path = *target_ ? copiedState(*target_, std::string(kWorkFolder) + "/" + kStateFile, stateCopy_)
                    : std::string();
  } else {
    using Lock = TargetFolder::Lock;
    const Lock lock = target_->lock();
    if (lock == Lock::Busy) return failed(UserText::tr("another export is writing to this folder"));
    if (lock == Lock::Unusable)
      return failed(formatRuntime(UserText::tr("cannot write to '%@': %@"), target_->path(),
                                  localizedString(target_->problem())));
    path = target_->path() + "/" + kWorkFolder + "/" + kStateFile;
    isFreshTarget_ = isFresh;
  }
  state_ = std::make_unique<ExportState>(path);
  state_->begin();
  context_ = std::make_unique<ExportContext>(ExportContext{options_, *target_, *state_, scratch_, report_,
                                                           progress_, sidecars_, seams_.isCanceled, isFresh,
                                                           libraries_.size() > 1});
  return std::nullopt;
}

// A target keeps what decides where its files are.
std::optional<ExportResult> ExportRun::checkSettings() {
  const std::pair<const char*, std::string> settings[] = {
      {"--layout", options_.layout == ExportOptions::Layout::Events ? "events" : "dates"},
      {"--link", options_.link == ExportOptions::Link::Copy ? "copy" : "symbolic"},
      {"--sidecar-name", options_.sidecarName == ExportOptions::SidecarName::Stem ? "x.xmp" : "x.jpg.xmp"}};
  for (const auto& [name, value] : settings) {
    const auto before = state_->setting(name);
    if (before && *before != value)
      return wrong(formatRuntime(
          UserText::tr("this target was begun with %@ %@: use the same, or another target"), name, *before));
    state_->set(name, value);
  }
  return std::nullopt;
}

std::unique_ptr<OpenLibrary> ExportRun::open(ExportedLibrary& library) {
  OpenLibraryOptions options;
  for (const std::string& entry : options_.referenced)
    options.referencedFolders += (options.referencedFolders.empty() ? "" : ":") + entry;
  options.cacheSize = kCacheSize;
  options.readsTrash = true;
  options.isEnding = seams_.isCanceled;
  options.onlyAlbumData = library.fromAlbumData;
  auto opened = std::make_unique<OpenLibrary>(loop_, *messages_, library.path, options);
  opened->beginTask();
  return opened;
}

// By the first photo: the library may be moved, and its path is known, too, if that photo is deleted.
void ExportRun::identify(ExportedLibrary& library, OpenLibrary& opened) {
  std::string identity;
  opened.facts().read(1, opened.facts().lastModelId(), [&](const PhotoFacts& photo) {
    identity = std::to_string(static_cast<int>(opened.kind())) + ":" + photo.uuid;
    return false;
  });
  opened.releaseLocks();
  auto known = state_->libraryAt(library.path);
  if (!known && !identity.empty()) known = state_->library(identity);
  // Two copies of one library in one run.
  for (const ExportedLibrary& other : libraries_)
    if (known && &other != &library && other.id == known->id) known.reset(), identity.clear();
  if (!known) {
    const bool isOnly = libraries_.size() == 1 && !state_->hasLibraries();
    std::string folder;
    const NameParts name = partsOf(std::filesystem::path(library.path).filename().string());
    const std::string legal = legalName(name.stem, 200);
    // A library may have any name.
    for (const char* reserved : {kWorkFolder, kChecksums, kPage}) state_->claim(reserved);
    for (int number = 1; !isOnly; ++number) {
      folder = numbered(legal.empty() ? "Library" : legal, number, 220) + "/";
      const std::string bare = folder.substr(0, folder.size() - 1);
      if (state_->claim(bare)) break;
    }
    known = state_->addLibrary(identity.empty() ? library.path : identity, library.path, folder);
  }
  library.id = known->id;
  library.folder = known->folder;
  library.kind = kindForPeople(opened);
  library.name = std::filesystem::path(library.path).filename().string();
}

std::optional<ExportResult> ExportRun::planAll() {
  std::vector<std::string> unknown;
  for (ExportedLibrary& library : libraries_) {
    std::vector<std::string> here;
    plan(library, here);
    // A name counts as unknown when no library has it.
    if (&library == &libraries_.front()) {
      unknown = here;
    } else {
      std::erase_if(unknown, [&](const std::string& name) {
        return std::find(here.begin(), here.end(), name) == here.end();
      });
    }
  }
  if (!unknown.empty())
    return wrong(UserText::tr("no album, event or person has the name ") + joined(unknown));
  compareLibraries();
  NameAllotment(*context_).run();
  // From here on the names stay, whatever happens.
  if (!options_.dryRun) {
    state_->commit();
    state_->begin();
  }
  return std::nullopt;
}

// Opens a library, or what is left of it.
std::unique_ptr<OpenLibrary> ExportRun::openForPlan(ExportedLibrary& library) {
  auto opened = open(library);
  const auto report = [&](Finding finding, const std::string& why) {
    report_.add(finding, library.path, library.path, why);
  };
  if (opened->kind() == LibraryKind::AlbumDataOnly) {
    std::error_code error;
    // Only libraries of later versions have this folder.
    if (std::filesystem::is_directory(library.path + "/Database", error))
      report(Finding::LibraryDamaged, "its database is missing; AlbumData.xml was used, which knows less");
  } else if (stampOf(library.path + "/AlbumData.xml").isRegular() && !canBeReadWhole(*opened)) {
    library.fromAlbumData = true;
    opened = open(library);
    report(Finding::LibraryDamaged, "its database cannot be read; AlbumData.xml was used, which knows less");
  }
  library.onlyFiles = opened->state() != OpenLibrary::State::Ready || !opened->columns();
  if (library.onlyFiles) {
    const std::string why = whyUnreadable(library.path);
    report(Finding::LibraryUnreadable,
           why + (why.empty() ? "" : " ") + "The files among its originals are copied without their facts.");
  } else if (opened->kind() == LibraryKind::AlbumDataOnly &&
             !readAlbumDataDatabase(library.path + "/AlbumData.xml")->error.empty()) {
    report(Finding::LibraryDamaged, "AlbumData.xml is damaged: only what comes before the damage was used");
  }
  return opened;
}

void ExportRun::plan(ExportedLibrary& library, std::vector<std::string>& unknown) {
  auto opened = openForPlan(library);
  identify(library, *opened);
  if (library.onlyFiles) return;
  report_.libraries.push_back({library.path, library.kind, library.folder});
  scratch_.useLibrary(library.id);
  SystemProcessRunner processes;
  ImagePropertyReader properties(processes);
  LibraryPlan planned(*context_, library, *opened, properties);
  planned.run(unknown);
  work_.files += planned.work().files;
  work_.bytes += planned.work().bytes;
  work_.sidecars += planned.work().sidecars;
}

// Says which library was made of which, before both are copied.
void ExportRun::compareLibraries() {
  for (const ExportedLibrary& a : libraries_) {
    for (const ExportedLibrary& b : libraries_) {
      if (&a == &b || a.id == 0 || b.id == 0) continue;
      const std::int64_t own = scratch_.photosOf(a.id), others = scratch_.photosOf(b.id);
      if (own == 0 || own > others || (own == others && a.id < b.id)) continue;
      const std::int64_t common = scratch_.commonPhotos(a.id, b.id);
      if (common * 10 < own * 8) continue;
      const std::string text = groupedNumber(common) + " of its " + groupedNumber(own) + " photos are in '" +
                               b.path + "', too: one of the two was probably made of the other";
      report_.add(Finding::MigratedCopy, a.name, a.path, text);
      progress_.erase();
      seams_.say("'" + a.path + "': " + text + ". Both are exported.");
    }
  }
}

std::optional<ExportResult> ExportRun::checkRoom() {
  const std::uint64_t free = *target_ ? seams_.freeBytes(*target_) : freeBytesFor(options_.target);
  progress_.planIsReady(work_.files, work_.bytes, work_.sidecars, free);
  if (options_.link == ExportOptions::Link::Symbolic) return std::nullopt;
  const std::uint64_t needed =
      work_.bytes + work_.sidecars * kRoomForSidecar + (work_.files > 0 ? kRoomForMore : 0);
  if (free >= needed || free == 0) return std::nullopt;
  return failed(
      formatRuntime(UserText::tr("the target needs %@, and has %@ free"), sizeText(needed), sizeText(free)));
}

void ExportRun::copyAll() {
  FileWriter writer(*context_);
  isCopying_ = true;
  progress_.begin(work_.files, work_.bytes);
  try {
    for (ExportedLibrary& library : libraries_) copyOne(library, writer, false);
    if (scratch_.takeRetries())
      for (ExportedLibrary& library : libraries_) copyOne(library, writer, true);
  } catch (const ExportCanceled&) {
    writer.finishBatch();
    throw;
  } catch (const ExportFailure&) {
    // What is on the disk is recorded, if the state can still be written.
    writer.finishBatch();
    throw;
  }
  writer.finishBatch();
  finish(writer);
}

void ExportRun::copyOne(ExportedLibrary& library, FileWriter& writer, bool isLast) {
  const bool hasWork = scratch_.nextTodo(library.id, 0).has_value();
  if (library.id == 0 || (isLast && !hasWork)) return;
  auto opened = open(library);
  // Its disk may have been detached since the plan.
  if (opened->state() != OpenLibrary::State::Ready && !library.onlyFiles)
    return report_.add(Finding::LibraryUnreadable, library.path, library.path, whyUnreadable(library.path));
  scratch_.useLibrary(library.id);
  SystemProcessRunner processes;
  ImagePropertyReader properties(processes);
  const ExportFolders folders(*context_, library, opened->lists().containers());
  bool isWhole = library.onlyFiles || !opened->failed();
  LibraryCopy copy(*context_, writer, library, *opened, properties, folders);
  const bool takesAll = !options_.isPartial();
  if (!library.onlyFiles) {
    copy.copyPhotos(isLast);
    opened->beginTask();
    copy.writeAlbums();
    if (takesAll) copy.writeNotes();
  }
  if (takesAll && !isLast) copy.copyUnknownFiles();
  isWhole = isWhole && (library.onlyFiles || !opened->failed());
  if (!isWhole)
    report_.add(Finding::FactsNotRead, library.name, library.path, "a database could not be read to its end");
}

void ExportRun::describeAll() {
  report_.counts.copied += work_.files;
  report_.counts.copiedBytes += work_.bytes;
  FileWriter writer(*context_);
  for (ExportedLibrary& library : libraries_) {
    if (library.id == 0) continue;
    auto opened = open(library);
    scratch_.useLibrary(library.id);
    SystemProcessRunner processes;
    ImagePropertyReader properties(processes);
    const ExportFolders folders(*context_, library, opened->lists().containers());
    LibraryCopy copy(*context_, writer, library, *opened, properties, folders);
    if (options_.json) copy.describePhotos(seams_.describe);
    if (!options_.isPartial()) copy.copyUnknownFiles();
  }
}

void ExportRun::finish(FileWriter& writer) {
  progress_.beginStep(ExportProgress::Step::Finishing);
  writer.reportTimes();
  state_->forEachIdentical([&](std::string_view path, bool isFirst) {
    report_.add(Finding::Identical, {}, path, isFirst ? "" : "the same as the one before");
  });
  state_->forEachRemark([&](FileRole role, std::string_view path, std::string_view text) {
    report_.add(isSidecar(role) ? Finding::SidecarLacks : Finding::NotEmbedded, {}, path, text);
  });
  if (options_.checksums && options_.link == ExportOptions::Link::Copy) writeChecksums();
  if (options_.verify) verify();
  if (seams_.page) writePage();
  writer.finishBatch();
}

void ExportRun::writeChecksums() {
  if (target_->look(kChecksums).isFile() && report_.counts.copied == 0) return;
  TargetFile file(*target_);
  TargetEntry entry;
  std::string part;
  WriteProblem problem;
  const auto write = [&] {
    if (!problem) problem = file.write(part);
    part.clear();
  };
  state_->forEachPicture([&](const StateFile& each) {
    if (!each.sha256.empty()) part += each.sha256 + "  " + each.path + "\n";
    if (part.size() >= kPart) write();
  });
  write();
  if (!problem) problem = file.publish(kChecksums, std::nullopt, entry);
  if (problem) report_.add(Finding::NotWritten, {}, kChecksums, problem.reason);
}

void ExportRun::writePage() {
  TargetFile file(*target_);
  TargetEntry entry;
  std::string part;
  WriteProblem problem;
  const auto write = [&] {
    if (!problem) problem = file.write(part);
    part.clear();
  };
  seams_.page(report_, [&](std::string_view text) {
    part += text;
    if (part.size() >= kPart) write();
  });
  write();
  if (!problem) problem = file.publish(kPage, std::nullopt, entry);
  if (problem)
    report_.add(Finding::NotWritten, {}, kPage, problem.reason);
  else
    report_.page = target_->path() + "/" + std::string(kPage);
}

// While it was planning, nothing changed in the target: an earlier report stays.
void ExportRun::writeLastPage() {
  if (!isCopying_ || !seams_.page) return;
  try {
    writePage();
  } catch (const StateFailure&) {
    // The findings are in a temporary file: its disk may be the one that is full.
  }
}

void ExportRun::verify() {
  std::uint64_t bytes = 0;
  state_->forEachPicture([&](const StateFile& file) { bytes += file.size; });
  progress_.beginStep(ExportProgress::Step::Verifying, bytes);
  state_->forEachPicture([&](const StateFile& file) {
    context_->checkCanceled();
    if (file.sha256.empty()) return;
    const OpenFile opened = target_->open(file.path);
    if (opened.state != FileState::Open) {
      report_.add(Finding::Damaged, {}, file.path, "it is missing, or cannot be opened");
    } else if (checksumOf(opened, [&](std::uint64_t count) { progress_.addBytes(count); }) != file.sha256) {
      report_.add(Finding::Damaged, {}, file.path, "its contents changed since they were written");
    }
    ++report_.counts.verified;
  });
}

}  // namespace moxtel
