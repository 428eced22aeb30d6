// The commands that let the client browse: top-level albums, events and faces, the folders and photos of a
// container. Core thread.
#pragma once

#include <cstdint>

#include "commands/CommandHandler.h"
#include "value/Value.h"

namespace moxtel {

// What the listing commands ask of the library. Nil is "no list" and gets no reply, an empty array is a list.
class ListingSource {
 public:
  virtual ~ListingSource() = default;
  virtual Value getTopLevelAlbums() = 0;
  virtual Value getTopLevelProjects() = 0;
  virtual Value facesAlbums() = 0;
  // A uuid is what the client sent: any value.
  virtual Value photosInContainer(const Value& uuid) = 0;
  virtual Value containersInParentUuid(const Value& parentUuid) = 0;
  virtual Value photosForFaceID(const Value& faceUuid) = 0;
  // Whether the library is read from its databases.
  virtual bool usingDB() const = 0;
  // Major version of the installed photo application, 0 while unknown.
  virtual std::int32_t iPhotoMajorVersion() const = 0;
  // Lists of the legacy kind, nil where there are none: dictionaries with "AlbumId", "RollID", "children" and
  // "KeyList".
  virtual Value albums() const = 0;
  virtual Value events() const = 0;

 protected:
  ListingSource() = default;
  ListingSource(const ListingSource&) = default;
  ListingSource& operator=(const ListingSource&) = default;
};

class ListingCommands final {
 public:
  // Borrows it.
  explicit ListingCommands(ListingSource& source) : source_(source) {}

  // Gives the seven listing commands their handlers, which borrow this.
  void addTo(CommandHandler& handler);

 private:
  void foldersOfAlbum(const CommandRequest& request, ReplyChannel& reply);
  void legacyFoldersOfAlbum(std::int32_t number, ReplyChannel& reply);
  void photosOfEvent(const CommandRequest& request, ReplyChannel& reply);

  ListingSource& source_;
};

}  // namespace moxtel
