// Several requests in a row to a whole server without its socket: every command, with ids of the library and
// with any other value as the id, and with arbitrary answers of the photo application. Each request gets at
// most two replies, which can be archived and read again; a text of a request never ends a quoted text of a
// script; and afterwards the lists are the same as before.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>

#include "app/ServerRoles.h"
#include "fuzz/FuzzInput.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "platform/applications/ScriptRunner.h"
#include "platform/system/SystemLog.h"
#include "plist/KeyedArchive.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/fakes/RecordingReplyChannel.h"

namespace {

using namespace moxtel;
using fuzz::Input;
using fuzz::require;

// No helper program can be started: they have their own fuzz targets.
class NoProcesses final : public ProcessRunner {
 public:
  ProcessResult run(const ProcessRequest&) override { return {}; }
};

class ChosenApplications final : public RunningApplications {
 public:
  std::vector<std::string> names() override { return running; }
  std::vector<std::string> running;
};

class ChosenAnswers final : public ScriptRunner {
 public:
  ScriptOutcome run(std::string_view source) override {
    require(hasWholeTexts(source));
    switch (input != nullptr ? input->below(6) : 0) {
      case 0:
        return ScriptOutcome::failed(-1728, input != nullptr ? input->text(input->below(20)) : "");
      case 1:
        return ScriptOutcome::success(Value());
      case 2:
        return ScriptOutcome::success(input->text(input->below(40)));
      case 3:
        return ScriptOutcome::success(static_cast<std::int64_t>(input->word()));
      case 4:
        return ScriptOutcome::success(Array{input->text(8), input->text(8), 17});
      default:
        return ScriptOutcome::success(input->real());
    }
  }
  std::string command() const override { return "chosen answers"; }
  Input* input = nullptr;

 private:
  // In the scripts, quoted texts begin and end on the same line.
  static bool hasWholeTexts(std::string_view source) {
    bool inText = false;
    for (const char c : source) {
      if (c == '"') inText = !inText;
      if (c == '\\' || c == '\0' || (inText && (c == '\n' || c == '\r'))) return false;
    }
    return !inText;
  }
};

class CheckingChannel final : public RecordingReplyChannel {
 public:
  bool sendToClientSerializedObject(Value object) override {
    require(std::holds_alternative<Value>(unarchivedObject(archivedData(object))));
    return RecordingReplyChannel::sendToClientSerializedObject(object);
  }
};

std::string madeLibrary(const TemporaryFolder& folder) {
  makelibrary::MakeLibraryOptions options;
  options.folder = folder.path() / "Fuzz Library";
  options.photos = 12;
  options.seed = 5;  // with a movie
  options.images = makelibrary::Images::Small;
  options.albumData = true;
  makelibrary::makeLibrary(options);
  return options.folder.string();
}

bool hasMovie(const Array& photos) {
  return std::any_of(photos.begin(), photos.end(),
                     [](const Value& photo) { return photo["MediaType"] == Value("Movie"); });
}

class Server final {
 public:
  Server() {
    defaults_.setString("LibraryPath", madeLibrary(folder_));
    MXPAppDelegate::initialize(defaults_);
    roles_.emplace(
        ServerEnvironment{loop_, defaults_, notifications_, processes_, applications_, scripts_, console_},
        flags_, iPhotoWasEdited_);
    roles_->connectTo(loop_, channel_);
    roles_->databases.beginCommand();
    roles_->library.loadDatabase();
    roles_->albumData.loadAlbumData();
    roles_->databases.releaseLocks();
    for (const char* list : {"Get Albums", "Get Events", "Get Faces"}) {
      lists_.push_back(reply(Dictionary{{"command", list}}));
      collectIds(lists_.back());
    }
    const Value photos = reply(Dictionary{{"command", "Photos of Album"}, {"id", "allPhotosAlbum"}});
    collectIds(photos);
    require(hasMovie(photos["result"].array()) && ids_.size() > 12);
  }

  void serve(Input& input) {
    scripts_.input = &input;
    applications_.running.clear();
    const std::uint8_t running = input.byte();
    if ((running & 1) != 0) applications_.running.emplace_back("iPhoto");
    if ((running & 2) != 0) applications_.running.emplace_back("Aperture");
    roles_->monitor.checkForApplicationStatus();
    for (int i = 0; i < 6 && !input.empty(); ++i) {
      reply(request(input));
      loop_.runPosted();
    }
    scripts_.input = nullptr;
    applications_.running.clear();
    roles_->monitor.checkForApplicationStatus();
    std::size_t next = 0;
    for (const char* list : {"Get Albums", "Get Events", "Get Faces"}) {
      require(reply(Dictionary{{"command", list}}) == lists_[next++]);
    }
  }

 private:
  Value reply(const Value& request) {
    channel_.envelopes.clear();
    roles_->handler->gotDataFromServer({"GotData", nullptr, Dictionary{{"data", archivedData(request)}}});
    require(channel_.envelopes.size() <= 2);
    return channel_.envelopes.empty() ? Value() : channel_.envelopes[0];
  }

  // Every text that could be an id, at any depth.
  void collectIds(const Value& value) {
    if (value.isArray()) {
      for (const Value& element : value.array()) collectIds(element);
    } else if (value.isDictionary()) {
      for (const auto& [key, element] : value.dictionary()) collectIds(element);
    } else if (value.isString()) {
      ids_.emplace_back(value.string());
    }
  }

  Value anything(Input& input) {
    switch (input.below(10)) {
      case 0:
        return Value();
      case 1:
        return static_cast<std::int64_t>(input.word());
      case 2:
        return input.real();
      case 3:
        return input.below(2) == 1;
      case 4:
        return input.text(input.below(64));
      case 5:
        return Bytes{1, 2, 3};
      case 6:
        return Array{input.text(4), 1};
      case 7:
        return Dictionary{{"key", input.text(4)}};
      default:
        return ids_[input.word() % ids_.size()];
    }
  }

  Value request(Input& input) {
    Dictionary request;
    const std::uint64_t command = input.below(kCommandNames.size() + 1);
    if (command < kCommandNames.size()) {
      request.set("command", std::string(kCommandNames[command]));
    } else {
      request.set("command", anything(input));
    }
    const std::uint8_t entries = input.byte();
    const char* names[] = {"id", "key", "latitude", "longitude", "isFace"};
    for (std::size_t i = 0; i < std::size(names); ++i) {
      if ((entries >> i & 1) != 0) request.set(names[i], anything(input));
    }
    return request;
  }

  TemporaryFolder folder_;
  FakeEventLoop loop_;
  UserDefaults defaults_;
  NotificationCenter notifications_;
  NoProcesses processes_;
  ChosenApplications applications_;
  ChosenAnswers scripts_;
  MXSConsole console_{loop_, defaults_};
  PhotoApplicationFlags flags_;
  std::atomic<bool> iPhotoWasEdited_{false};
  CheckingChannel channel_;
  std::optional<ServerRoles> roles_;
  std::vector<Value> lists_;
  std::vector<std::string> ids_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setSystemLogSink([](std::string_view) {});
  static Server server;
  Input input(std::span(data, size));
  server.serve(input);
  return 0;
}
