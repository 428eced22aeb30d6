// The command handler with a fake library and a channel that records the replies.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands/CommandHandler.h"
#include "commands/ListingCommands.h"
#include "platform/system/SystemLog.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/fakes/RecordingReplyChannel.h"

namespace moxtel {

// Returns what the test sets, and records the calls.
class FakeListingSource : public ListingSource {
 public:
  void beginListing() override { ++listings; }
  Value getTopLevelAlbums() override { return asked("albums", {}, topLevelAlbums); }
  Value getTopLevelProjects() override { return asked("projects", {}, topLevelProjects); }
  Value facesAlbums() override { return asked("faces", {}, faces); }
  Value photosInContainer(const Value& uuid) override { return asked("photos", uuid, photos); }
  Value containersInParentUuid(const Value& uuid) override { return asked("containers", uuid, containers); }
  Value photosForFaceID(const Value& uuid) override { return asked("face photos", uuid, facePhotos); }
  bool usingDB() const override { return database; }
  std::int32_t iPhotoMajorVersion() const override { return majorVersion; }
  Value albums() const override { return legacyAlbums; }
  Value events() const override { return legacyEvents; }

  Value topLevelAlbums = Array();
  Value topLevelProjects = Array();
  Value faces = Array();
  Value photos = Array();
  Value containers = Array();
  Value facePhotos = Array();
  bool database = true;
  std::int32_t majorVersion = 0;
  Value legacyAlbums;
  Value legacyEvents;
  int listings = 0;
  std::vector<std::pair<std::string, Value>> questions;

 private:
  Value asked(const char* what, const Value& uuid, const Value& answer) {
    questions.emplace_back(what, uuid);
    return answer;
  }
};

// Records its calls in a list that it shares with the reply channel.
class FakeScope : public CommandScope {
 public:
  explicit FakeScope(std::vector<std::string>& calls) : calls_(calls) {}
  void beginCommand() override { calls_.emplace_back("begin"); }
  void releaseLocks() override { calls_.emplace_back("release"); }

 private:
  std::vector<std::string>& calls_;
};

class NotingChannel : public RecordingReplyChannel {
 public:
  explicit NotingChannel(std::vector<std::string>& calls) : calls_(calls) {}
  bool sendToClientSerializedObject(Value object) override {
    calls_.emplace_back("reply");
    return RecordingReplyChannel::sendToClientSerializedObject(std::move(object));
  }

 private:
  std::vector<std::string>& calls_;
};

class CommandFixture : public testing::Test {
 protected:
  CommandFixture() { listing.addTo(handler); }

  static Notification chunk(Bytes bytes) {
    return {"GotData", nullptr, Dictionary{{"data", std::move(bytes)}}};
  }
  // Passes the request's bytes to the handler and returns the replies that it sent.
  std::vector<Value> replies(const Value& request) {
    channel.envelopes.clear();
    handler.gotDataFromServer(chunk(archivedData(request)));
    return channel.envelopes;
  }
  // The only reply; nil unless there is exactly one.
  Value reply(const Value& request) {
    const auto all = replies(request);
    return all.size() == 1 ? all[0] : Value();
  }
  static Value result(Value value) { return Dictionary{{"result", std::move(value)}}; }
  static Value error(const char* text) { return Dictionary{{"error", text}}; }
  std::size_t linesBeginning(std::string_view beginning) const {
    std::size_t count = 0;
    for (const std::string& line : log.lines()) count += line.starts_with(beginning) ? 1 : 0;
    return count;
  }

  SystemLogCapture log;
  std::vector<std::string> calls;
  FakeEventLoop loop;
  NotingChannel channel{calls};
  FakeScope scope{calls};
  FakeListingSource source;
  CommandHandler handler{loop, channel, scope, {1, 4}};
  ListingCommands listing{source};
};

}  // namespace moxtel
