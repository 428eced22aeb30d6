// The commands that let the client browse: top-level albums, events and faces, the folders and photos of a
// container. Core thread.
#pragma once

#include <cstdint>

#include "commands/CommandHandler.h"
#include "value/Value.h"

namespace moxtel {

// What the listing commands ask the library. A nil list gets no reply; an empty array is a list. An
// interface, because the answers of legacy libraries, which no real library gives any more, can be tested
// only with a fake.
class ListingSource {
 public:
  virtual ~ListingSource() = default;
  // One of the seven commands begins, before anything is asked for it.
  virtual void beginListing() {}
  virtual Value getTopLevelAlbums() = 0;
  virtual Value getTopLevelProjects() = 0;
  virtual Value facesAlbums() = 0;
  // A uuid is whatever value the client sent.
  virtual Value photosInContainer(const Value& uuid) = 0;
  virtual Value containersInParentUuid(const Value& parentUuid) = 0;
  virtual Value photosForFaceID(const Value& faceUuid) = 0;
  // Whether the library is read from its databases.
  virtual bool usingDB() const = 0;
  // Major version of the installed photo application; 0 means unknown.
  virtual std::int32_t iPhotoMajorVersion() const = 0;
  // The legacy lists, of dictionaries with "AlbumId", "RollID", "children" and "KeyList"; nil if there are
  // none.
  virtual Value albums() const = 0;
  virtual Value events() const = 0;

 protected:
  ListingSource() = default;
  ListingSource(const ListingSource&) = default;
  ListingSource& operator=(const ListingSource&) = default;
};

class ListingCommands final {
 public:
  // Borrows the source.
  explicit ListingCommands(ListingSource& source) : source_(source) {}

  // Adds the handlers of the seven listing commands, which borrow this object.
  void addTo(CommandHandler& handler);

 private:
  void foldersOfAlbum(const CommandRequest& request, ReplyChannel& reply);
  void legacyFoldersOfAlbum(std::int32_t number, ReplyChannel& reply);
  void photosOfEvent(const CommandRequest& request, ReplyChannel& reply);

  ListingSource& source_;
};

}  // namespace moxtel
