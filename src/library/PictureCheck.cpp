#include "library/PictureCheck.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/Messages.h"
#include "library/PathNames.h"
#include "library/database/LibraryDatabases.h"
#include "platform/loop/EventLoop.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

constexpr int kVersionsInAStep = 500;
constexpr EventLoop::Duration kPause{1};  // lets requests go first

}  // namespace

PictureCheck::PictureCheck(EventLoop& loop, const LibraryLocation& location, LibraryDatabases& databases,
                           LibraryFiles& files, Messages& messages)
    : loop_(loop), location_(location), databases_(databases), files_(files), messages_(messages) {}

PictureCheck::~PictureCheck() = default;

void PictureCheck::start() {
  isFirst_ = true;
  triedCount_ = refusedCount_ = 0;
  lastVersion_ = editedCount_ = withoutPreview_ = 0;
  firstRefused_.clear();
  filesLeft_ = kMostFiles;
  next_ = loop_.callAfter(kPause, [this] { step(); });
}

void PictureCheck::step() {
  bool goesOn = true;
  if (isFirst_) {
    tryPictures();
    countReferences();
    isFirst_ = false;
  } else {
    goesOn = checkPreviews();
  }
  databases_.releaseLocks();
  if (goesOn) {
    next_ = loop_.callAfter(kPause, [this] { step(); });
    return;
  }
  reportRefused();
  reportPreviews();
}

// The newest photos: these are what users look at first.
void PictureCheck::tryPictures() {
  std::vector<std::pair<std::string_view, Value>> pictures;
  {
    Query masters = databases_.runUnlogged(
        DatabaseFile::Library, "SELECT imagePath FROM RKMaster ORDER BY modelId DESC LIMIT %d", {kTried});
    while (masters.step()) pictures.emplace_back("Masters", masters.stringColumn(0));
    Query proxies = databases_.runUnlogged(
        DatabaseFile::ImageProxies,
        "SELECT thumbnailPath,fullSizePreviewPath FROM RKImageProxyState ORDER BY rowid DESC LIMIT %d",
        {kTried});
    while (proxies.step()) {
      pictures.emplace_back("Thumbnails", proxies.stringColumn(0));
      pictures.emplace_back("Previews", proxies.stringColumn(1));
    }
  }
  for (const auto& [folder, path] : pictures) tryPicture(folder, path);
}

void PictureCheck::tryPicture(std::string_view folder, const Value& path) {
  if (path.isNil()) return;
  ++triedCount_;
  std::string refused;
  static_cast<void>(stateOf(folder, path, &refused));
  if (refused.empty()) return;
  if (++refusedCount_ == 1) firstRefused_ = refused;
}

FileState PictureCheck::stateOf(std::string_view folder, const Value& path, std::string* refused) {
  const auto& library = location_.libraryPath();
  if (!library) return FileState::Missing;
  const bool hasCandidates = databases_.layout().hasPathCandidates;
  const std::string base = hasCandidates ? *library : appendingPathComponent(*library, folder);
  std::string_view candidates = path.string();
  FileState state = FileState::Missing;
  do {
    const std::size_t end =
        hasCandidates ? std::min(candidates.find('\n'), candidates.size()) : candidates.size();
    const FoundFile found = files_.open(*library, appendingPathComponent(base, candidates.substr(0, end)));
    if (refused && found.refused) *refused = *found.refused;
    state = found.file.state;
    candidates.remove_prefix(std::min(end + 1, candidates.size()));
  } while (state == FileState::Missing && !candidates.empty());
  return state;
}

void PictureCheck::reportRefused() {
  if (refusedCount_ == 0) return;
  messages_.showTitle(
      "Error",
      formatRuntime(
          UserText::tr("This user is not permitted to read '%@'; %d of %d pictures that were tried "
                       "cannot be read. Files from a Mac belong to its users: permit the user of "
                       "MoxtelServer to read them (chmod -R a+rX), or add it to the group that may."),
          firstRefused_, refusedCount_, triedCount_));
}

void PictureCheck::countReferences() {
  if (!files_.allowed().empty()) return;
  Query query = databases_.runUnlogged(DatabaseFile::Library,
                                       "SELECT COUNT(*) FROM RKMaster WHERE fileIsReference = 1", {});
  const std::int64_t count = query.step() ? query.integer64Column(0) : 0;
  if (count == 0) return;
  messages_.showTitle(
      "Info", formatRuntime(
                  UserText::tr(
                      "Photos outside the library: %lld. The library only refers to them, so their pictures "
                      "are missing. To serve them, start MoxtelServer with -ReferencedFolders and the folder "
                      "that has the files of their disk."),
                  count));
}

bool PictureCheck::checkPreviews() {
  std::vector<Value> edited;
  std::int64_t looked = 0;
  Query query = databases_.runUnlogged(DatabaseFile::Library,
                                       "SELECT modelId,uuid,hasAdjustments FROM RKVersion WHERE "
                                       "versionNumber != 0 AND isInTrash = 0 AND modelId > "
                                       "%lld ORDER BY modelId LIMIT %d",
                                       {lastVersion_, kVersionsInAStep});
  while (query.step()) {
    ++looked;
    lastVersion_ = query.integer64Column(0);
    if (query.integerColumn(2) != 0) edited.push_back(query.stringColumn(1));
  }
  for (const Value& uuid : edited) checkPreview(uuid);
  return looked == kVersionsInAStep;
}

void PictureCheck::checkPreview(const Value& uuid) {
  ++editedCount_;
  Value path;
  {
    Query query = databases_.runUnlogged(
        DatabaseFile::ImageProxies,
        "SELECT fullSizePreviewPath FROM RKImageProxyState WHERE versionUuid = '%@'", {uuid});
    // Without this database, every picture is missing for another reason.
    if (!query.prepared()) return;
    while (query.step()) path = query.stringColumn(0);
  }
  if (!path.isNil() && filesLeft_-- <= 0) return;
  if (path.isNil() || stateOf("Previews", path) == FileState::Missing) ++withoutPreview_;
}

void PictureCheck::reportPreviews() {
  if (withoutPreview_ == 0) return;
  // Of the photos whose files were not looked for, more may lack theirs.
  const bool isAtLeast = filesLeft_ < 0;
  messages_.showTitle(
      "Info",
      formatRuntime(
          isAtLeast
              ? UserText::tr("At least %lld of %lld edited photos have no preview in the library, so their "
                             "large pictures are missing; thumbnails are served. The photo application "
                             "makes the previews.")
              : UserText::tr("%lld of %lld edited photos have no preview in the library, so their large "
                             "pictures are missing; thumbnails are served. The photo application makes "
                             "the previews."),
          withoutPreview_, editedCount_));
}

}  // namespace moxtel
