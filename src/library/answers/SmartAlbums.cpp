#include "library/answers/SmartAlbums.h"

#include <utility>

#include "library/FolderPhotos.h"
#include "library/Messages.h"
#include "library/answers/RuleDates.h"
#include "platform/settings/UserDefaults.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

// Of all cached lists together. A uuid takes about 60 bytes; lists of one library share none.
constexpr std::size_t kMostKeptPhotos = 2'000'000;
constexpr std::size_t kMostReports = 1000;

constexpr SqlText kLivePhoto =
    "SELECT uuid,isHidden,projectUuid FROM RKVersion WHERE modelId = %lld AND +showInLibrary = 1 AND "
    "+isInTrash = 0";

std::vector<Text> uuidsOf(const std::vector<SortedPhoto>& photos) {
  std::vector<Text> uuids;
  uuids.reserve(photos.size());
  for (const SortedPhoto& photo : photos) uuids.push_back(photo.uuid);
  return uuids;
}

std::string joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : "; ") + part;
  return text;
}

}  // namespace

bool SmartAlbums::hidesHidden() const { return defaults_.boolForKey("HideHidden"); }

bool SmartAlbums::isCurrent(const Kept& kept, const LibraryStamp& stamp) const {
  return kept.stamp == stamp && kept.listGeneration == savedLists_.generation() &&
         kept.hidesHidden == hidesHidden() && (!kept.day || kept.day == dayNumber(clock_.now()));
}

const SmartAlbumMembers* SmartAlbums::membersOf(const Value& uuid) {
  if (!uuid.isString()) return nullptr;
  if (!deferring_) savedLists_.refresh();
  LibraryStamp stamp = stampOf(databases_);
  auto found = kept_.find(uuid.string());
  if (found != kept_.end() && isCurrent(found->second, stamp)) return &found->second.members;
  const auto album = readSmartAlbum(databases_, uuid);
  if (!album) return nullptr;
  if (deferring_) {
    ++doubtfulAnswers_;
    return nullptr;
  }
  if (keptPhotos_ > kMostKeptPhotos) {
    kept_.clear();
    keptPhotos_ = 0;
    found = kept_.end();
  }
  if (found == kept_.end()) found = kept_.try_emplace(std::string(uuid.string())).first;
  Kept& kept = found->second;
  keptPhotos_ -= kept.members.photos.size();
  kept = Kept{std::move(stamp), savedLists_.generation(), {}, hidesHidden(), find(*album)};
  keptPhotos_ += kept.members.photos.size();
  if (kept.members.followsTheDay) kept.day = dayNumber(clock_.now());
  // What could not be read is tried again by the next command.
  if (databases_.sawFailure()) kept.stamp = {};
  report(*album, kept.members);
  return &kept.members;
}

SmartAlbumMembers SmartAlbums::find(const SmartAlbum& album) {
  using Source = SmartAlbumMembers::Source;
  const SavedPhotoList* list = savedLists_.listOf(album.uuid.string());
  if (list && savedLists_.isInStep()) return {Source::SavedList, livePhotosOf(*list), 0, {}, false};
  RuleMembers rule = evaluate(album);
  if (rule.areComplete()) return {Source::Rule, uuidsOf(rule.certain), 0, {}, rule.followsTheDay};
  SmartAlbumMembers members{list ? Source::OldSavedList : Source::CertainPart,
                            list ? livePhotosOf(*list) : uuidsOf(rule.certain), rule.perhaps.size(),
                            std::move(rule.notUnderstood), rule.followsTheDay};
  return members;
}

RuleMembers SmartAlbums::evaluate(const SmartAlbum& album) const {
  return evaluateRule(databases_, album, clock_.now(), hidesHidden());
}

std::vector<Text> SmartAlbums::livePhotosOf(const SavedPhotoList& list) const {
  const auto trashed = foldersInTrash(databases_);
  std::vector<Text> uuids;
  uuids.reserve(list.photos.size());
  for (const std::int64_t id : list.photos) {
    Query photo = databases_.runUnlogged(DatabaseFile::Library, kLivePhoto, {id});
    if (!photo.step() || (hidesHidden() && photo.integerColumn(1) != 0)) continue;
    if (!trashed.empty() && trashed.contains(std::string(photo.stringColumn(2).string()))) continue;
    const Value uuid = photo.stringColumn(0);
    if (!uuid.string().empty()) uuids.push_back(uuid.text());
  }
  return uuids;
}

// Once for each album and reason.
void SmartAlbums::report(const SmartAlbum& album, const SmartAlbumMembers& members) {
  if (members.notUnderstood.empty()) return;
  const bool isOld = members.source == SmartAlbumMembers::Source::OldSavedList;
  std::string text = formatRuntime(
      isOld ? UserText::tr("The smart album '%@' is as the photo application last saved it. Not understood "
                           "in its rule: %@")
            : UserText::tr("The smart album '%@' may lack photos. Not understood in its rule: %@"),
      album.name, joined(members.notUnderstood));
  if (reported_.size() >= kMostReports) return;
  std::string& last = reported_[std::string(album.uuid.string())];
  if (last == text) return;
  last = std::move(text);
  messages_.showTitle("Info", last);
}

}  // namespace moxtel
