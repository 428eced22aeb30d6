#include "commands/ListingCommands.h"

#include <string_view>

#include "library/PhotoRecords.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

// The first dictionary in the list whose `field` reads as the number; null if there is none. Nil counts as an
// empty list.
const Value* firstWithNumber(const Value& list, std::string_view field, std::int32_t number) {
  for (const Value& entry : list.array()) {
    if (entry[field].intValue() == number) return &entry;
  }
  return nullptr;
}

// For albums and events: the text says "album" for both, and clients expect it.
void sendAlbumNotFound(std::int32_t number, ReplyChannel& reply) {
  NSLog("did not found album with ID '%d'", number);
  reply.sendToClientSerializedObject(Dictionary{{"error", "Album not found"}});
}

// The table of master images is not read, so a photo of a legacy event has only its key.
Value legacyPhoto(const Value& key) {
  Dictionary photo = mutableDictionary({{"PhotoKey", key}});
  PhotoRecords::repairCoordinatesOf(photo);
  return photo;
}

}  // namespace

void ListingCommands::addTo(CommandHandler& handler) {
  const auto add = [this, &handler](std::string_view name, auto answer) {
    handler.add(name, [this, answer](const CommandRequest& request, ReplyChannel& reply) {
      source_.beginListing();
      answer(request, reply);
    });
  };
  add("Get Albums", [this](const CommandRequest&, ReplyChannel& reply) {
    reply.sendToClientResultObject(source_.getTopLevelAlbums());
  });
  add("Get Events", [this](const CommandRequest&, ReplyChannel& reply) {
    reply.sendToClientResultObject(source_.getTopLevelProjects());
  });
  add("Get Faces", [this](const CommandRequest&, ReplyChannel& reply) {
    reply.sendToClientResultObject(source_.facesAlbums());
  });
  add("Photos of Album", [this](const CommandRequest& request, ReplyChannel& reply) {
    reply.sendToClientResultObject(source_.photosInContainer(request.uuid()));
  });
  add("Folders of Album",
      [this](const CommandRequest& request, ReplyChannel& reply) { foldersOfAlbum(request, reply); });
  add("Photos of Event",
      [this](const CommandRequest& request, ReplyChannel& reply) { photosOfEvent(request, reply); });
  add("Photos of Face", [this](const CommandRequest& request, ReplyChannel& reply) {
    reply.sendToClientResultObject(source_.photosForFaceID(request.uuid()));
  });
}

void ListingCommands::foldersOfAlbum(const CommandRequest& request, ReplyChannel& reply) {
  if (source_.usingDB()) {
    reply.sendToClientResultObject(source_.containersInParentUuid(request.uuid()));
  } else {
    legacyFoldersOfAlbum(request.number(), reply);
  }
}

void ListingCommands::legacyFoldersOfAlbum(std::int32_t number, ReplyChannel& reply) {
  const Value albums = source_.albums();
  const Value* album = firstWithNumber(albums, "AlbumId", number);
  if (!album) {
    sendAlbumNotFound(number, reply);
    return;
  }
  const Value& children = (*album)["children"];
  reply.sendToClientResultObject(children.isNil() ? Value(Array()) : children);
}

void ListingCommands::photosOfEvent(const CommandRequest& request, ReplyChannel& reply) {
  const std::string_view field = source_.iPhotoMajorVersion() > 8 ? "AlbumId" : "RollID";
  const Value events = source_.events();
  const Value* event = firstWithNumber(events, field, request.number());
  if (!event) {
    sendAlbumNotFound(request.number(), reply);
    return;
  }
  Array photos = mutableArray();
  for (const Value& key : (*event)["KeyList"].array()) photos.append(legacyPhoto(key));
  NSLog("photos: %lu", photos.size());
  reply.sendToClientResultObject(std::move(photos));
}

}  // namespace moxtel
