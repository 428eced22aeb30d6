// A photo application that records the questions and answers from tables.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "library/PhotoApplicationQueries.h"
#include "value/Description.h"
#include "value/Format.h"

namespace moxtel::test {

class RecordingPhotoApplication final : public PhotoApplicationQueries {
 public:
  // Answers by uuid; nothing, 0 or an empty list for others.
  std::map<std::string, std::int32_t> photoCounts;
  std::map<std::string, Value> keyPhotosInDatabase;
  std::map<std::string, Value> keyPhotosByScript;
  std::map<std::string, std::vector<Text>> images;
  std::uint64_t doubtful = 0;
  // Called at every question.
  std::function<void()> onQuestion = [] {};

  // "count album UUID 7", "key of album UUID by script", "images of album UUID 7", …
  std::vector<std::string> questions;

  Value keyPhotoOfProject(const Dictionary& container, bool byAppleScript) override {
    return keyPhoto("project", container, byAppleScript);
  }
  Value keyPhotoOfAlbum(const Dictionary& container, bool byAppleScript) override {
    return keyPhoto("album", container, byAppleScript);
  }
  std::int32_t photoCountOf(std::string_view kind, const Value& uuid, std::int32_t modelId) override {
    note(format("count %@ %@ %d", kind, uuid, modelId));
    return photoCounts[describe(uuid)];
  }
  std::vector<Text> imageUuidsOf(std::string_view kind, const Value& uuid, std::int32_t modelId) override {
    note(format("images of %@ %@ %d", kind, uuid, modelId));
    return images[describe(uuid)];
  }
  std::uint64_t doubtfulAnswers() const override { return doubtful; }

 private:
  Value keyPhoto(std::string_view kind, const Dictionary& container, bool byAppleScript) {
    const Value& uuid = container["AlbumId"];
    note(format("key of %@ %@ by %s", kind, uuid, byAppleScript ? "script" : "database"));
    return (byAppleScript ? keyPhotosByScript : keyPhotosInDatabase)[describe(uuid)];
  }
  void note(std::string question) {
    questions.push_back(std::move(question));
    onQuestion();
  }
};

}  // namespace moxtel::test
