// Asks the running photo application by AppleScript for key photos, photo counts and the photos of an album.
// A value in the legacy album data always has precedence. Where there is no interpreter, and where a script
// fails, the library's files answer. Core thread; each call blocks until the script ends.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "library/PhotoApplicationFlags.h"
#include "library/PhotoApplicationQueries.h"
#include "platform/applications/ScriptRunner.h"

namespace moxtel {

class AlbumData;
class LibraryDatabases;
class LibraryLocation;
class Messages;

class ScriptQueries final : public PhotoApplicationQueries {
 public:
  // Borrows everything.
  ScriptQueries(const LibraryLocation& location, LibraryDatabases& databases, const AlbumData& albumData,
                ScriptRunner& runner, Messages& messages, const PhotoApplicationFlags& flags,
                PhotoApplicationQueries& files);

  Value keyPhotoOfProject(const Dictionary& container, bool byAppleScript) override;
  Value keyPhotoOfAlbum(const Dictionary& container, bool byAppleScript) override;
  std::int32_t photoCountOf(std::string_view kind, const Value& uuid, std::int32_t modelId) override;
  std::vector<Text> imageUuidsOf(std::string_view kind, const Value& uuid, std::int32_t modelId) override;
  // No interpreter at all leaves no doubt but that of the files.
  std::uint64_t doubtfulAnswers() const override { return doubtfulAnswers_ + files_.doubtfulAnswers(); }

 private:
  // The album file's entry of a container; nil without.
  const Value& entryOf(const Value& uuid);
  Value keyPhotoFromDatabase(const Value& uuid);
  // Runs a script. A failure is logged, after logFailure. Without a source, the text to be filled in was
  // refused. Without an interpreter nothing is tried and nothing logged.
  ScriptOutcome ask(const std::optional<std::string>& source, const Value& refused,
                    const std::function<void()>& logFailure = {});
  std::vector<Text> versionUuidsOf(const std::vector<Text>& photoIds);

  const LibraryLocation& location_;
  LibraryDatabases& databases_;
  const AlbumData& albumData_;
  ScriptRunner& runner_;
  Messages& messages_;
  const PhotoApplicationFlags& flags_;
  PhotoApplicationQueries& files_;
  std::uint64_t doubtfulAnswers_ = 0;
};

}  // namespace moxtel
