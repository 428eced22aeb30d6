#include "export/LibraryPlan.h"

#include <algorithm>
#include <utility>

#include "export/ExportProgress.h"
#include "export/FactsText.h"
#include "export/NameAllotment.h"
#include "export/Sha256.h"
#include "export/SidecarWriter.h"
#include "library/FileNameForms.h"
#include "library/answers/AlbumMembership.h"
#include "library/answers/OpenLibrary.h"
#include "library/answers/SmartAlbums.h"
#include "library/facts/PhotoFactsReader.h"
#include "platform/files/LegalNames.h"

namespace moxtel {

namespace {

std::string joinedNames(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : "/") + name;
  return text;
}

}  // namespace

std::vector<std::vector<std::string>> albumsOf(ExportContext& context, const ExportFolders& folders,
                                               std::int64_t modelId) {
  std::vector<std::vector<std::string>> albums;
  if (!context.options.albumTags) return albums;
  for (const std::int64_t album : context.scratch.albumsOf(modelId))
    albums.push_back(folders.albumNames(static_cast<std::size_t>(album)));
  return albums;
}

std::string hashOfFacts(const ExportContext& context, const PhotoFacts& photo,
                        const std::vector<std::vector<std::string>>& albums) {
  const std::string version = context.sidecars ? std::string(context.sidecars->version()) : std::string();
  return sha256Of(version + "\n" + factsAsJson(photo, albums)).substr(0, 32);
}

std::string leaveSharedOriginal(ExportContext& context, const ExportedLibrary& exported,
                                const PhotoFacts& photo, PhotoSources& sources) {
  if (photo.masterUuid.empty()) return photo.uuid;
  std::string owner = context.scratch.ownerOf(exported.id, photo.masterUuid, photo.uuid);
  if (owner != photo.uuid)
    std::erase_if(sources.files, [](const SourceFile& file) { return file.role != FileRole::Edited; });
  return owner;
}

LibraryPlan::LibraryPlan(ExportContext& context, const ExportedLibrary& exported, OpenLibrary& library,
                         ImagePropertyReader& properties)
    : context_(context),
      exported_(exported),
      library_(library),
      sources_(context, exported, library, properties),
      folders_(context, exported, library.lists().containers()),
      limit_(context.target.largestFile()) {}

void LibraryPlan::run(std::vector<std::string>& unknown) {
  readAlbums();
  select(unknown);
  library_.releaseLocks();
  // Its columns have 40 bytes a photo.
  library_.membership().dropCaches();
  const bool isWhole = readPhotos() && !library_.failed();
  library_.releaseLocks();
  if (!isWhole) report(Finding::FactsNotRead, exported_.path, "a database could not be read to its end");
}

bool LibraryPlan::readPhotos() {
  PhotoFactsReader& facts = library_.facts();
  const std::int64_t last = facts.lastModelId();
  bool isWhole = (last > 0 || !library_.failed()) && facts.read(1, last, [this](const PhotoFacts& photo) {
    context_.checkCanceled();
    takePhoto(photo);
    return true;
  });
  const std::vector<std::int64_t> again = std::exchange(again_, {});
  for (const std::int64_t id : again) {
    isWhole = facts.read(id, id, [this](const PhotoFacts& photo) {
      planPhoto(photo, sources_.find(photo));
      return true;
    }) && isWhole;
  }
  return isWhole;
}

void LibraryPlan::report(Finding finding, const std::string& file, const std::string& reason) {
  context_.report.add(finding, exported_.name, file, reason);
}

void LibraryPlan::readAlbums() {
  const auto& containers = library_.lists().containers();
  for (std::size_t i = 0; i < containers.size(); ++i) {
    context_.checkCanceled();
    if (folders_.isAlbum(i)) readMembers(i);
  }
}

void LibraryPlan::readMembers(std::size_t container) {
  const LibraryContainer& album = library_.lists().containers()[container];
  const std::string name = joinedNames(folders_.albumNames(container));
  const auto members = library_.membership().membersOf(album.list(), HiddenMembers::Included);
  // With --only, what is wrong with other albums does not matter.
  const bool isAsked = context_.options.only.empty() || isNamed(album.name, album.uuid);
  if (isAsked) ++context_.report.counts.albums;
  if (album.kind == LibraryContainer::Kind::SmartAlbum && isAsked) {
    const SmartAlbumMembers* known = library_.smartAlbums().membersOf(Value(album.uuid));
    using Source = SmartAlbumMembers::Source;
    if (!known && (!members || members->empty()))
      return report(Finding::UnknownMembers, name, "a smart album without a known rule");
    if (known && known->source == Source::CertainPart)
      report(Finding::SomeMembers, name, "not understood: " + joinedNames(known->notUnderstood));
    if (known && known->source == Source::OldSavedList)
      report(Finding::SomeMembers, name, "from a list that the photo application saved earlier");
  }
  if (!members && isAsked) report(Finding::UnknownMembers, name);
  if (!members) return;
  std::int64_t position = 0;
  for (const std::int64_t photo : *members)
    context_.scratch.addMember(static_cast<std::int64_t>(container), position++, photo);
}

bool LibraryPlan::isNamed(const std::string& name, const std::string& uuid) const {
  const auto& only = context_.options.only;
  return std::any_of(only.begin(), only.end(), [&](const std::string& each) {
    return each == uuid || foldedFileName(each) == foldedFileName(name);
  });
}

void LibraryPlan::select(std::vector<std::string>& unknown) {
  for (const std::string& name : context_.options.only)
    if (!selectByName(name)) unknown.push_back(name);
}

bool LibraryPlan::selectByName(const std::string& name) {
  const std::string folded = foldedFileName(name);
  bool isFound = false;
  const auto take = [&](const PhotoList& list, const std::string& uuid, const std::string& itsName) {
    if (uuid != name && foldedFileName(itsName) != folded) return;
    isFound = true;
    if (const auto members = library_.membership().membersOf(list, HiddenMembers::Included))
      for (const std::int64_t photo : *members) context_.scratch.select(photo);
  };
  for (const LibraryContainer& each : library_.lists().containers()) take(each.list(), each.uuid, each.name);
  for (const LibraryPerson& each : library_.lists().people())
    take({PhotoList::Kind::Person, each.modelId}, each.uuid, each.name);
  return isFound;
}

// Counts the photos, too.
bool LibraryPlan::isWanted(const PhotoFacts& photo) {
  ReportCounts& counts = context_.report.counts;
  const ExportOptions& options = context_.options;
  if (!options.only.empty() && !context_.scratch.isSelected(photo.modelId)) return false;
  if (options.since && (!photo.wallClock || *photo.wallClock < *options.since)) return false;
  if (photo.isInTrash) {
    ++(options.trash ? counts.inTrash : counts.trashLeft);
    if (!options.trash) return false;
  } else if (photo.isHidden) {
    const bool isLeft = options.hidden == ExportOptions::Hidden::Leave;
    ++(isLeft ? counts.hiddenLeft : counts.hidden);
    if (isLeft) return false;
  }
  ++counts.photos;
  if (photo.isMovie) ++counts.movies;
  return true;
}

void LibraryPlan::takePhoto(const PhotoFacts& photo) {
  for (const std::string& path : photo.originalPaths) context_.scratch.addKnown(path);
  if (photo.alternate)
    for (const std::string& path : photo.alternate->paths) context_.scratch.addKnown(path);
  if (!photo.livePath.empty()) context_.scratch.addKnown(photo.livePath);
  if (!isWanted(photo)) {
    if (context_.options.isPartial()) noteOther(photo);
    return;
  }
  PhotoSources sources = sources_.find(photo);
  // A disk may fail once: these follow at the end.
  if (sources.hadReadError) {
    again_.push_back(photo.modelId);
  } else {
    planPhoto(photo, std::move(sources));
  }
}

void LibraryPlan::planPhoto(const PhotoFacts& photo, PhotoSources sources) {
  for (const SourceProblem& problem : sources.problems) report(problem.finding, problem.file, problem.reason);
  if (!photo.wallClock) report(Finding::NoDate, originalName(photo));
  const bool hadFiles = !sources.files.empty();
  if (context_.isOneOfSeveral && hadFiles && sources.files.front().role == FileRole::Original)
    context_.scratch.addTwin(exported_.id, originalName(photo), sources.files.front().file.size,
                             photo.imageDate.value_or(0));
  const std::string owner = leaveSharedOriginal(context_, exported_, photo, sources);
  if (hadFiles && sources.files.empty())
    report(Finding::SharedOriginal, originalName(photo),
           photo.versionName.empty() || photo.versionName == originalName(photo)
               ? std::string()
               : "a duplicate without edits of its own: '" + photo.versionName + "'");
  context_.scratch.addPhoto(exported_.id, photo.modelId, photo.uuid, owner);
  planFiles(photo, sources);
  context_.progress.planned(context_.report.counts.photos);
}

// What an earlier run exported stays in the lists of albums.
void LibraryPlan::noteOther(const PhotoFacts& photo) {
  const bool hasOriginal = context_.state.find({exported_.id, photo.uuid, FileRole::Original}).has_value();
  std::string owner;
  if (!photo.masterUuid.empty())
    owner = context_.scratch.ownerOf(exported_.id, photo.masterUuid, hasOriginal ? photo.uuid : "");
  context_.scratch.addPhoto(exported_.id, photo.modelId, photo.uuid, owner.empty() ? photo.uuid : owner,
                            false);
}

void LibraryPlan::planFiles(const PhotoFacts& photo, PhotoSources& sources) {
  bool isPending = false;
  bool needsSidecars = false;
  std::int64_t roles = 0;  // to copy
  std::string hash;
  std::erase_if(sources.files, [&](const SourceFile& file) {
    const bool isLarge =
        limit_ && file.file.size > *limit_ && context_.options.link == ExportOptions::Link::Copy;
    if (isLarge) report(Finding::TooLarge, file.file.path);
    return isLarge;
  });
  for (const SourceFile& file : sources.files) {
    ++context_.report.counts.files;
    const auto row = context_.state.find({exported_.id, photo.uuid, file.role});
    if (row) reportRenamed(context_.report, originalName(photo), row->path);
    isPending = isPending || !row;
    if (planFile(photo, file, row.value_or(StateFile()))) roles |= bitOf(file.role);
    if (!hasSidecar(file.role, context_.options) || !context_.sidecars) continue;
    if (hash.empty()) hash = hashOfFacts(context_, photo, albumsOf(context_, folders_, photo.modelId));
    const auto sidecar = context_.state.find({exported_.id, photo.uuid, sidecarOf(file.role)});
    needsSidecars = planSidecar(sidecar, hash) || needsSidecars;
    isPending = isPending || !sidecar;
  }
  if (isPending) notePending(context_, exported_, photo, folders_.folderOf(photo), sources);
  if (roles != 0 || needsSidecars) context_.scratch.addTodo(exported_.id, photo.modelId, roles);
}

// Whether the file has to be copied.
bool LibraryPlan::planFile(const PhotoFacts&, const SourceFile& file, const StateFile& row) {
  const auto add = [&] {
    ++work_.files;
    work_.bytes += file.file.size;
    return true;
  };
  if (!row.isDone) return add();
  const TargetEntry entry = context_.target.look(row.path);
  if (entry.kind == TargetEntry::Kind::Missing) return add();
  const bool isLink = context_.options.link == ExportOptions::Link::Symbolic;
  const bool isOurs = isLink || (entry.isFile() && entry.size == row.size);
  const bool isSame = row.sourceSize == file.file.size && row.sourceModified == file.modified;
  if (!isOurs) report(Finding::FileKept, row.path, isSame ? "" : "the library has another one now");
  if (isSame || !isOurs || isLink) {
    ++context_.report.counts.unchanged;
    return false;
  }
  return add();
}

bool LibraryPlan::planSidecar(const std::optional<StateFile>& row, const std::string& hash) {
  const bool isCurrent = row && row->isDone && row->facts == hash &&
                         context_.target.look(row->path).kind != TargetEntry::Kind::Missing;
  if (!isCurrent) ++work_.sidecars;
  return !isCurrent;
}

}  // namespace moxtel
