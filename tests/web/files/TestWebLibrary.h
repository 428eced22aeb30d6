// An open library with a thread of its own, for the tests of handlers.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include "library/answers/OpenLibrary.h"
#include "platform/loop/CoreLoop.h"
#include "tests/fakes/RecordingMessages.h"
#include "web/WebLibrary.h"
#include "web/lists/ListedPhotos.h"

namespace moxtel {

class TestWebLibrary final : public WebLibrary {
 public:
  explicit TestWebLibrary(std::string path, const std::string& referencedFolders = {})
      : path_(std::move(path)) {
    loop_.post([this, referencedFolders] {
      OpenLibraryOptions options;
      options.referencedFolders = referencedFolders;
      open_ = std::make_unique<OpenLibrary>(loop_, messages_, path_, options);
    });
    thread_ = std::thread([this] {
      loop_.run();
      open_.reset();
    });
  }
  ~TestWebLibrary() override {
    loop_.quit();
    thread_.join();
  }

  const std::string& id() const override { return id_; }
  const std::string& path() const override { return path_; }
  std::string version() const override { return "9f3c"; }
  std::optional<std::string> recentVersion() const override { return recent; }
  State state() const override { return State::Ready; }
  bool post(Task task) override {
    if (isBusy) return false;
    loop_.post([this, task = std::move(task)] {
      open_->beginTask();
      task(*open_);
    });
    return true;
  }
  bool postLong(Task task) override { return post(std::move(task)); }
  // Knows the list "all" alone.
  ListOrReply listFor(OpenLibrary& library, std::string_view list, const HttpRequest& request) override {
    const auto filters = parseListFilters(request);
    if (list != "all" || !filters) return errorReply(404, "unknown");
    const auto order = std::make_shared<DateOrder>(library.columns());
    std::vector<std::uint32_t> photos;
    for (std::size_t i = 0; i < copies; ++i)
      photos.insert(photos.end(), order->all().begin(), order->all().end());
    return std::make_shared<const ListedPhotos>(order, std::move(photos), false, *filters,
                                                ListedPhotos::Name{"all", "Sommer: 2009", "9f3c"});
  }

  // Waits until the tasks so far have ended, which hold the library: its last owner must not be its own
  // thread.
  void finish() {
    EXPECT_TRUE(loop_.performAndWait([] {}));
  }

  bool isBusy = false;
  std::optional<std::string> recent;  // the version after a look
  std::size_t copies = 1;             // of each photo in the list

 private:
  const std::string id_ = "k3jd82ha";
  const std::string path_;
  test::RecordingMessages messages_;
  CoreLoop loop_;
  std::unique_ptr<OpenLibrary> open_;
  std::thread thread_;
};

}  // namespace moxtel
