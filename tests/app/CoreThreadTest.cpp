#include "app/CoreThread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <future>

#include "app/ServerProgram.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

// What the windows' thread would be told. Waiting ends by a failure, never by a pause.
class Told final : public ConsoleView {
 public:
  void appendLine(const ConsoleLine& line) override {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line.title + ": " + line.text);
    changed_.notify_all();
  }
  void take(const ServerStatus& status) {
    const std::lock_guard lock(mutex_);
    statuses_.push_back(status);
    changed_.notify_all();
  }
  template <class Question>
  bool eventually(Question question) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return question(statuses_, lines_); });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ServerStatus> statuses_;
  std::vector<std::string> lines_;
};

class CoreThreadTest : public testing::Test {
 protected:
  CoreThreadTest() {
    defaults.setString("LibraryPath", library.path());
    defaults.setString("Port", "0");
  }
  std::unique_ptr<CoreThread> started() {
    return std::make_unique<CoreThread>(defaults, told,
                                        [this](const ServerStatus& status) { told.take(status); });
  }
  bool isTold(const std::function<bool(const ServerStatus&)>& question) {
    return told.eventually(
        [&](const auto& statuses, const auto&) { return !statuses.empty() && question(statuses.back()); });
  }

  test::TestLibrary library;
  UserDefaults defaults;
  Told told;
};

TEST_F(CoreThreadTest, servesAndTellsTheStatus) {
  const auto core = started();
  EXPECT_TRUE(isTold([&](const ServerStatus& status) {
    return status.port != 0 && status.libraryPath == library.path() && status.libraryProblem.empty();
  }));
}

TEST_F(CoreThreadTest, runsActionsOnAThreadOfItsOwn) {
  const auto core = started();
  std::promise<std::thread::id> ran;
  core->post([&](ServerProgram&) { ran.set_value(std::this_thread::get_id()); });
  EXPECT_NE(ran.get_future().get(), std::this_thread::get_id());
}

TEST_F(CoreThreadTest, tellsTheNewStatusAfterAnAction) {
  const auto core = started();
  core->post([](ServerProgram& program) { program.delegate().changedRevealPhoto(false); });
  EXPECT_TRUE(isTold([](const ServerStatus& status) { return !status.revealPhoto; }));
}

TEST_F(CoreThreadTest, isNotHeldUpByAnActionThatTakesLong) {
  auto core = started();
  std::promise<void> goOn;
  std::shared_future<void> gone = goOn.get_future().share();
  std::promise<void> later;
  core->post([gone](ServerProgram&) { gone.wait(); });
  core->post([&](ServerProgram&) { later.set_value(); });
  // Both calls came back although the first action still runs.
  goOn.set_value();
  later.get_future().get();
}

TEST_F(CoreThreadTest, showsTheConsoleFromItsBannerOn) {
  const auto core = started();
  EXPECT_TRUE(told.eventually([](const auto&, const auto& lines) {
    return !lines.empty() && lines.front() == "Info: MoxtelServer 1.4 (402) started";
  }));
}

TEST_F(CoreThreadTest, endsWithItsObjectEvenBeforeItHasServed) { started().reset(); }

}  // namespace
}  // namespace moxtel
