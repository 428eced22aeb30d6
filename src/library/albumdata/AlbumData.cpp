#include "library/albumdata/AlbumData.h"

#include <cerrno>

#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/Messages.h"
#include "library/PathNames.h"
#include "platform/files/Files.h"
#include "platform/system/SystemLog.h"
#include "value/Description.h"

namespace moxtel {

namespace {

std::size_t countOf(const Value& list) {
  return list.isDictionary() ? list.dictionary().size() : list.array().size();
}

// The text of an entry's key; nothing for an entry without, or that is no dictionary.
std::optional<std::string> keyOf(const Value& entry, std::string_view name) {
  const Value& key = entry[name];
  if (key.isString()) return std::string(key.string());
  return key.isNumber() ? std::optional(describe(key)) : std::nullopt;
}

}  // namespace

AlbumData::AlbumData(LibraryLocation& location, LibraryFiles& files, Messages& messages, const Clock& clock)
    : location_(location), files_(files), messages_(messages), clock_(clock) {}

void AlbumData::loadAlbumData() {
  lastMessage_.clear();
  load();
}

void AlbumData::reloadAlbumData() {
  albumDataReadDate_.reset();
  load();
}

void AlbumData::load() {
  location_.readPhotoAppDefaults();
  const auto& library = location_.libraryPath();
  NSLog("use album data path '%@'", library ? Value(*library) : Value());
  albumDataFilename_.reset();
  if (!library) return;
  albumDataFilename_ = appendingPathComponent(*library, kFileName);
  const FileStamp stamp = stampOf(*albumDataFilename_);
  const bool leadsOut =
      stamp.kind != FileStamp::Kind::Missing && !files_.permits(*library, *albumDataFilename_);
  if (stamp.kind == FileStamp::Kind::Missing || leadsOut) {
    couldNotBeRead_ = !leadsOut && stamp.error != ENOENT && stamp.error != ENOTDIR;
    failedToRead_ = false;
    return;
  }
  if (albumDataReadDate_ && stamp.modifiedDate() < albumDataReadDate_->seconds) return;
  read();
}

void AlbumData::read() {
  AlbumDataContents contents = readAlbumDataFile(*albumDataFilename_);
  couldNotBeRead_ = !contents.error.empty();
  failedToRead_ = !contents.wasRead;
  if (!contents.error.empty()) {
    showOnce("Error", unreadableDataMessage("iPhoto data", *albumDataFilename_ + ": " + contents.error));
  } else if (!contents.mended.empty()) {
    showOnce("Info", *albumDataFilename_ + ": " + contents.mended);
  }
  if (contents.wasRead) albumDataReadDate_ = clock_.now();
  containerDicts_.clear();
  storeEntries(contents.lists[kListOfAlbums], "GUID");
  NSLog("Found %lu albums", containerDicts_.size());
  NSLog("Found %lu rolls", contents.lists[kListOfRolls].array().size());
  storeEntries(contents.lists[kListOfRolls], "ProjectUuid");
  const Value& faces = contents.lists[kListOfFaces];
  photoLists_ = std::move(contents.photoLists);
  ++generation_;
  faceDicts_ = faces.isNil() ? Value(mutableArray()) : faces;
  NSLog("Found %ld faces", countOf(faceDicts_));
}

void AlbumData::showOnce(std::string_view title, std::string text) {
  if (text == lastMessage_) return;
  messages_.showTitle(title, text);
  lastMessage_ = std::move(text);
}

// Albums and rolls share the one table; the message is the same for both.
void AlbumData::storeEntries(const Value& list, std::string_view keyName) {
  for (const Value& entry : list.array()) {
    if (auto key = keyOf(entry, keyName)) {
      containerDicts_.insert_or_assign(std::move(*key), entry);
    } else {
      writeSystemLog(format("no guid in .... %@", entry));
    }
  }
}

const Value& AlbumData::containerDict(std::string_view key) const {
  static const Value kNil;
  const auto found = containerDicts_.find(std::string(key));
  return found == containerDicts_.end() ? kNil : found->second;
}

void AlbumData::clear() {
  albumDataReadDate_.reset();
  containerDicts_.clear();
  faceDicts_ = {};
  photoLists_.clear();
  ++generation_;
  couldNotBeRead_ = false;
  failedToRead_ = false;
}

}  // namespace moxtel
