// The bytes of one request: decoding, dispatch, and the listing commands of a small scripted library. At most
// one reply is sent, it can be archived, and the library is released before the reply and at the end.
#include <cstdint>
#include <cstdlib>

#include "commands/CommandHandler.h"
#include "commands/ListingCommands.h"
#include "platform/system/SystemLog.h"
#include "plist/KeyedArchive.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/fakes/RecordingReplyChannel.h"

namespace {

using namespace moxtel;

void require(bool condition) {
  if (!condition) std::abort();
}

// A database's lists for ids that it knows, and legacy lists beside them.
class SmallSource : public ListingSource {
 public:
  Value getTopLevelAlbums() override { return containers_; }
  Value getTopLevelProjects() override { return containers_; }
  Value facesAlbums() override { return {}; }
  Value photosInContainer(const Value& uuid) override { return known(uuid); }
  Value containersInParentUuid(const Value& uuid) override { return known(uuid); }
  Value photosForFaceID(const Value& uuid) override { return known(uuid); }
  bool usingDB() const override { return usingDB_; }
  std::int32_t iPhotoMajorVersion() const override { return 0; }
  Value albums() const override { return containers_; }
  Value events() const override { return containers_; }
  void setUsingDB(bool usingDB) { usingDB_ = usingDB; }

 private:
  Value known(const Value& uuid) const { return uuid.isNil() ? Value() : containers_; }

  bool usingDB_ = true;
  Value containers_ =
      mutableArray({mutableDictionary({{"AlbumId", 1}, {"RollID", 1}, {"KeyList", Array{{"key", "+%"}}}}),
                    mutableDictionary({{"AlbumId", "2"}, {"RollID", "2"}, {"children", Array()}})});
};

class CountingScope : public CommandScope {
 public:
  void beginCommand() override { held = true; }
  void releaseLocks() override { held = false; }
  bool held = false;
};

// Every reply must be a value that can be archived.
class CheckingChannel : public RecordingReplyChannel {
 public:
  explicit CheckingChannel(const CountingScope& scope) : scope_(scope) {}
  bool sendToClientSerializedObject(Value object) override {
    require(!scope_.held);
    require(archivedPieces(object).size() > 0);
    return RecordingReplyChannel::sendToClientSerializedObject(std::move(object));
  }

 private:
  const CountingScope& scope_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setSystemLogSink([](std::string_view) {});
  if (size > 4096) return 0;
  FakeEventLoop loop;
  CountingScope scope;
  CheckingChannel channel(scope);
  SmallSource source;
  CommandHandler handler(loop, channel, scope, {1, 4});
  ListingCommands listing(source);
  listing.addTo(handler);
  handler.add("Infos of Photo", [](const CommandRequest& request, ReplyChannel& reply) {
    reply.sendToClientResultObject(request.key());
  });
  for (const bool usingDB : {true, false}) {
    source.setUsingDB(usingDB);
    channel.envelopes.clear();
    handler.gotDataFromServer({"GotData", nullptr, Dictionary{{"data", Bytes(data, data + size)}}});
    require(channel.envelopes.size() <= 1);
    require(!scope.held);
  }
  return 0;
}
