// The members of smart albums. Core thread.
//
// They come from the list that the photo application saved, if the saved lists are those of the databases;
// else from the album's rule; and where the rule depends on clauses that are not understood, from the old
// saved list, or else they are the photos that are certain. Then the console says once what is not
// understood.
//
// What was found is cached until a database or a saved list changes, and where the rule has a relative date,
// until the day does.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "library/answers/LibraryStamp.h"
#include "library/answers/SavedLists.h"
#include "library/answers/SmartAlbum.h"
#include "platform/loop/Clock.h"

namespace moxtel {

class Messages;
class UserDefaults;

struct SmartAlbumMembers {
  enum class Source : std::uint8_t { SavedList, Rule, OldSavedList, CertainPart };
  Source source = Source::Rule;
  std::vector<Text> photos;  // version uuids in the photo application's order
  std::size_t perhaps = 0;   // with Rule 0: how many more may be members
  std::vector<std::string> notUnderstood;
  bool followsTheDay = false;
};

class SmartAlbums final {
 public:
  // Borrows everything.
  SmartAlbums(LibraryDatabases& databases, SavedLists& savedLists, Messages& messages,
              const UserDefaults& defaults, const Clock& clock)
      : databases_(databases),
        savedLists_(savedLists),
        messages_(messages),
        defaults_(defaults),
        clock_(clock) {}

  // Null for what is no smart album with a rule, and while deferring for members that are not cached. Valid
  // until the next call.
  const SmartAlbumMembers* membersOf(const Value& uuid);
  // Of an album that was read, without the cache and without a message.
  SmartAlbumMembers find(const SmartAlbum& album);
  // The rule alone, as find() evaluates it.
  RuleMembers evaluate(const SmartAlbum& album) const;
  // The photos of a list that are shown in the library, as version uuids in the list's order.
  std::vector<Text> livePhotosOf(const SavedPhotoList& list) const;

  // Whether the user leaves out hidden photos.
  bool hidesHidden() const;

  // While deferring, nothing is read that takes long, and doubtfulAnswers() counts what was left out.
  void setDeferring(bool deferring) { deferring_ = deferring; }
  std::uint64_t doubtfulAnswers() const { return doubtfulAnswers_; }

 private:
  struct Kept {
    LibraryStamp stamp;
    std::uint64_t listGeneration = 0;
    std::optional<std::int64_t> day;  // of a rule with a relative date
    bool hidesHidden = false;
    SmartAlbumMembers members;
  };
  bool isCurrent(const Kept& kept, const LibraryStamp& stamp) const;
  void report(const SmartAlbum& album, const SmartAlbumMembers& members);

  LibraryDatabases& databases_;
  SavedLists& savedLists_;
  Messages& messages_;
  const UserDefaults& defaults_;
  const Clock& clock_;
  std::map<std::string, Kept, std::less<>> kept_;  // by the album's uuid
  std::size_t keptPhotos_ = 0;
  std::map<std::string, std::string> reported_;  // the last message about each album
  bool deferring_ = false;
  std::uint64_t doubtfulAnswers_ = 0;
};

}  // namespace moxtel
