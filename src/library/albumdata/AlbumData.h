// The legacy album file "AlbumData.xml" of older iPhoto libraries: album and roll entries by their key, and
// the faces. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "library/albumdata/AlbumDataFile.h"
#include "library/albumdata/AlbumEntries.h"
#include "platform/loop/Clock.h"
#include "value/Value.h"

namespace moxtel {

class LibraryFiles;
class LibraryLocation;
class Messages;

class AlbumData final : public AlbumEntries {
 public:
  // Borrows everything.
  AlbumData(LibraryLocation& location, LibraryFiles& files, Messages& messages,
            const Clock& clock = systemClock());

  static constexpr const char* kFileName = "AlbumData.xml";
  // Has lists of the members of albums, too. Not read here.
  static constexpr const char* kOtherFileName = "iLifeShared/AlbumData2.xml";

  void loadAlbumData();
  // The same for a file that changed: reads it whatever its date is. Does not repeat its last message.
  void reloadAlbumData();

  const Value& containerDict(std::string_view key) const override;
  // Whether the last load found a file that could not be read, or not to its end: its entries are missing.
  bool couldNotBeRead() const { return couldNotBeRead_; }
  // Whether reading it failed, and not its contents: another try may succeed.
  bool failedToRead() const { return failedToRead_; }
  const std::unordered_map<std::string, Value>& containerDicts() const { return containerDicts_; }
  // As the file has it: a list in some files, a dictionary in others. Nil before the first read.
  const Value& faceDicts() const { return faceDicts_; }

  // The saved photos of albums and rolls; several may have one uuid.
  const std::vector<SavedPhotoList>& photoLists() const { return photoLists_; }
  // Changes whenever the above do.
  std::uint64_t generation() const { return generation_; }

  // Lists of the legacy kind. Nothing fills them: they are nil, which is not an empty list.
  Value events() const { return {}; }
  Value albums() const { return {}; }

  const std::optional<std::string>& albumDataFilename() const { return albumDataFilename_; }
  std::optional<Date> albumDataReadDate() const { return albumDataReadDate_; }
  void setAlbumDataReadDate(Date moment) { albumDataReadDate_ = moment; }
  // Clears the tables and the date, for another library.
  void clear();

 private:
  void load();
  void read();
  void showOnce(std::string_view title, std::string text);
  void storeEntries(const Value& list, std::string_view keyName);

  LibraryLocation& location_;
  LibraryFiles& files_;
  Messages& messages_;
  const Clock& clock_;
  std::optional<std::string> albumDataFilename_;
  std::optional<Date> albumDataReadDate_;
  std::unordered_map<std::string, Value> containerDicts_;
  Value faceDicts_;
  std::vector<SavedPhotoList> photoLists_;
  std::uint64_t generation_ = 0;
  bool couldNotBeRead_ = false;
  bool failedToRead_ = false;
  std::string lastMessage_;
};

}  // namespace moxtel
