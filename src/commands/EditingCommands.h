// The commands that act on the photo application: reveal a photo or album in it, set and clear a photo's
// position. Each queues a script and replies at once. Core thread.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "commands/CommandHandler.h"
#include "library/PhotoApplicationFlags.h"

namespace moxtel {

class LibraryLocation;
class LoadedLibrary;
class Messages;
class PhotoRecords;
class ScriptQueue;
class UserDefaults;

class EditingCommands final {
 public:
  // Borrows everything. Sets iPhotoWasEdited when it queues a script that changes a position.
  EditingCommands(const LibraryLocation& location, PhotoRecords& photos, ScriptQueue& scripts,
                  Messages& messages, const UserDefaults& defaults, const LoadedLibrary& library,
                  const PhotoApplicationFlags& flags, std::atomic<bool>& iPhotoWasEdited);

  // Adds the handlers of the five editing commands, which borrow this object.
  void addTo(CommandHandler& handler);

  // Whether the library belongs to iPhoto '08, which scripts cannot change. Nothing detects that: it stays
  // false.
  bool legacyIPhoto = false;

 private:
  void revealPhoto(const CommandRequest& request, ReplyChannel& reply);
  void revealContainer(const CommandRequest& request, ReplyChannel& reply);
  void setGPS(const CommandRequest& request, ReplyChannel& reply);
  void clearGPS(const CommandRequest& request, ReplyChannel& reply);

  bool mayReveal() const;
  // Queues a script, or reports to the user that a text in the request was refused.
  void queue(std::optional<std::string> script, const Value& refused);
  void reportUnchanged(const Value& key);

  const LibraryLocation& location_;
  PhotoRecords& photos_;
  ScriptQueue& scripts_;
  Messages& messages_;
  const UserDefaults& defaults_;
  const LoadedLibrary& library_;
  const PhotoApplicationFlags& flags_;
  std::atomic<bool>& iPhotoWasEdited_;
};

}  // namespace moxtel
