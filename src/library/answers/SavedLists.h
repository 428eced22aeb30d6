// The members of albums as the photo application last saved them: in AlbumData.xml, or in
// iLifeShared/AlbumData2.xml where the former has no lists. Core thread.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "library/albumdata/AlbumData.h"
#include "library/answers/LibraryStamp.h"
#include "platform/files/Files.h"

namespace moxtel {

class LibraryFiles;
class LibraryLocation;

class SavedLists final {
 public:
  // Borrows everything.
  SavedLists(LibraryDatabases& databases, const AlbumData& albumData, LibraryFiles& files,
             const LibraryLocation& location)
      : databases_(databases), albumData_(albumData), files_(files), location_(location) {}

  // Reads what has changed. Call before the others; cheap when nothing has.
  void refresh();

  // The list of an album; null without. Valid until refresh().
  const SavedPhotoList* listOf(std::string_view uuid) const;
  // Whether the lists are those of the databases as they are now: that of all photos, those of the regular
  // albums and those of the events. Hidden photos do not count: whether they are listed is not known.
  // Compares once for each state of the files.
  bool isInStep();
  // "AlbumData.xml", for messages.
  const char* fileName() const { return usesOtherFile_ ? AlbumData::kOtherFileName : AlbumData::kFileName; }
  // Changes whenever a list does.
  std::uint64_t generation() const { return generation_; }

 private:
  void readOtherFile();
  void indexLists(const std::vector<SavedPhotoList>& lists);
  bool compare();

  LibraryDatabases& databases_;
  const AlbumData& albumData_;
  LibraryFiles& files_;
  const LibraryLocation& location_;
  std::optional<std::uint64_t> albumDataGeneration_;
  FileStamp otherStamp_;
  std::vector<SavedPhotoList> otherLists_;
  bool usesOtherFile_ = false;
  std::unordered_map<std::string_view, const SavedPhotoList*> byUuid_;
  std::uint64_t generation_ = 0;

  struct Compared {
    LibraryStamp stamp;
    std::uint64_t generation = 0;
    bool inStep = false;
  };
  std::optional<Compared> compared_;
};

}  // namespace moxtel
