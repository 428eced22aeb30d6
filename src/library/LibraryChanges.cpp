#include "library/LibraryChanges.h"

#include <utility>

#include "library/LibraryLocation.h"
#include "library/LoadedLibrary.h"
#include "library/PathNames.h"
#include "library/albumdata/AlbumData.h"

namespace moxtel {

LibraryChanges::LibraryChanges(const LibraryLocation& location, LibraryDatabases& databases,
                               LoadedLibrary& library, AlbumData& albumData, Now now)
    : location_(location),
      databases_(databases),
      library_(library),
      albumData_(albumData),
      now_(std::move(now)) {}

void LibraryChanges::remember() {
  seen_ = stamps();
  isMissing_ = !seen_.hasLibrary();
  updated_ = fingerprint();
}

void LibraryChanges::checkBeforeListing() {
  if (databases_.takeOutdated()) isOutdated_ = true;
  if (isMissing_ || isOutdated_ || now_() - checked_ >= kBetweenListings) check();
}

void LibraryChanges::check() {
  Stamps now = stamps();
  isMissing_ = !now.hasLibrary();
  if (isMissing_) return;
  // A library that came after the start was never loaded.
  if (!library_.usingDB()) library_.loadDatabase();
  const bool readsAlbumData = readsAlbumDataAgain(now);
  if (databases_.takeOutdated()) isOutdated_ = true;
  if (now == seen_ && !readsAlbumData && !isOutdated_) return;
  seen_ = now;
  if (std::exchange(isOutdated_, false)) ++*outdated_;
  // The logs lie beside the files that links lead to, and a link may have changed.
  libraryPath_.reset();
  if (readsAlbumData) albumData_.reloadAlbumData();
  dropLists_();
}

bool LibraryChanges::update() {
  check();
  const std::uint64_t before = std::exchange(updated_, fingerprint());
  return updated_ != before;
}

// FNV-1a over what identifies the state of each file. A device may have another number at its next mount.
std::uint64_t LibraryChanges::fingerprint() const {
  constexpr std::uint64_t kPrime = 1099511628211U;
  std::uint64_t hash = 14695981039346656037U;
  const auto add = [&hash](std::uint64_t number) {
    for (int shift = 0; shift < 64; shift += 8) hash = (hash ^ ((number >> shift) & 0xff)) * kPrime;
  };
  const auto addFile = [&add](const FileStamp& stamp) {
    add(static_cast<std::uint64_t>(stamp.kind));
    add(stamp.inode);
    add(stamp.size);
    add(static_cast<std::uint64_t>(stamp.modified));
  };
  add(isMissing_ ? 1 : 0);
  add(*outdated_);
  for (std::size_t i = 0; i < kDatabases; ++i) {
    addFile(seen_.databases[i]);
    addFile(seen_.logs[i]);
  }
  addFile(seen_.albumData);
  addFile(seen_.otherAlbumData);
  return hash;
}

bool LibraryChanges::readsAlbumDataAgain(const Stamps& now) const {
  if (now.albumData != seen_.albumData) return true;
  // It may be readable again although nothing else about it changed.
  return albumData_.failedToRead() && now.albumData.isRegular() && isReadable(albumDataFile_);
}

LibraryChanges::Stamps LibraryChanges::stamps() {
  checked_ = now_();
  if (location_.libraryPath() != libraryPath_ || databases_.pathOf(DatabaseFile::Library) != files_.front())
    findFiles();
  Stamps stamps;
  if (!libraryPath_) return stamps;
  for (std::size_t i = 0; i < kDatabases; ++i) {
    stamps.databases[i] = stampOf(files_[i]);
    stamps.logs[i] = stampOf(logs_[i]);
  }
  stamps.albumData = stampOf(albumDataFile_);
  stamps.otherAlbumData = stampOf(otherAlbumDataFile_);
  return stamps;
}

void LibraryChanges::findFiles() {
  libraryPath_ = location_.libraryPath();
  if (!libraryPath_) return;
  for (std::size_t i = 0; i < kDatabases; ++i) {
    files_[i] = databases_.pathOf(static_cast<DatabaseFile>(i)).value_or("");
    logs_[i] = resolvedPath(files_[i]) + "-wal";
  }
  albumDataFile_ = appendingPathComponent(*libraryPath_, AlbumData::kFileName);
  otherAlbumDataFile_ = appendingPathComponent(*libraryPath_, AlbumData::kOtherFileName);
}

}  // namespace moxtel
